// The fixture of tests on a site: a clock that the test sets, the lines of the log, and calls that can be made to fail.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/run_lock.h"
#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/site.h"
#include "unit/support/test_files.h"

class SiteFixture : public testing::Test {
 protected:
  // Nothing may stay open, whatever failed.
  void TearDown() override { EXPECT_EQ(door_.OpenHandles(), 0); }

  // The lines since the start or the last call of this function.
  Strings TakeLines() {
    Strings lines = log_.Lines();
    log_.Clear();
    return lines;
  }

  Site site_;
  FakeClock clock_;
  FakeProcess process_{site_.ProgramFile()};
  CapturedLog log_;
  ScopedDoor door_;
  RunLock no_lock_;  // of a step that is tried without a run
};
