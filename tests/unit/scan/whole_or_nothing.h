// Checks that a file is complete or absent, whatever fails while it is written.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "fault/fault_loop.h"
#include "unit/support/test_files.h"

// Lets every call of `write`, which returns 0 or -1, fail in turn; a file that cannot be removed may stay.
inline void ExpectWholeOrNothing(const std::string& path, const std::string& whole, ScopedDoor* door,
                                 const std::function<int()>& write) {
  const auto attempt = [&](const Fault& fault) {
    RemoveFile(path);
    door->Clear();
    door->Fail(fault);
    const bool written = write() == 0;
    EXPECT_EQ(door->OpenHandles(), 0);
    if (fault.call != Call::kRemove && fault.call != Call::kAny) {
      EXPECT_EQ(PathExists(path), written);
    }
    if (written) {
      EXPECT_EQ(ReadFile(path), whole);
    }
    return door->HasStruck();
  };
  EXPECT_GT(TryFaults(attempt), 10);
}
