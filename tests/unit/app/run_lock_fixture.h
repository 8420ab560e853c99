// A directory for the run lock of pid 4120 and for locks of other runs.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/run_lock.h"
#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

class RunLockFixture : public testing::Test {
 protected:
  static constexpr char kOwnLine[] = "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n";
  static constexpr char kOther[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000\n";

  // The registered path outlives a test; a release that succeeds clears it.
  ~RunLockFixture() override {
    door_.Clear();
    ReleaseRunLock(&lock_);
  }

  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "CVTOSS.BSY";
  FakeClock clock_;
  FakeProcess process_{directory_ / "cvtoss32"};
  CapturedLog log_;
  ScopedDoor door_;
  RunLock lock_;

  bool Acquire(const char* mode = "-toss") { return AcquireRunLock(directory_.Path().c_str(), mode, &lock_); }

  // Another run's lock, last modified `age` seconds ago.
  void LeaveLock(int64_t age, const std::string& content = kOther) {
    WriteFile(path_, content);
    SetModifiedAt(path_, clock_.now - age);
  }

  void ExpectNotHeld() { EXPECT_EQ(process_.break_file, ""); }
};
