// A clock that advances only when the program sleeps or the test sets it.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/os.h"

// While it exists, OsNow and OsUptime return `now`, OsSleep advances it and records the pause, and OsLocalTime is UTC
// plus a fixed number of seconds.
class FakeClock {
 public:
  static constexpr int64_t kStart = 1763166684;  // 2025-11-15 00:31:24 UTC

  explicit FakeClock(int64_t now = kStart);
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;
  ~FakeClock();

  int64_t now;
  int64_t local_offset = 0;      // seconds that local time is ahead of UTC
  bool fails = false;            // OsLocalTime and OsUtcTime return -1
  std::vector<uint32_t> pauses;  // milliseconds of each OsSleep

 private:
  OsTable before_;
};
