// A check whose calls fail one after the other: it changes nothing, ends, reports each failure and counts it.
#include <gtest/gtest.h>

#include "check/check_run.h"
#include "fault/alarms.h"
#include "fault/fault_loop.h"
#include "fault/run_promises.h"
#include "fault/run_stage.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kOwner[] = "owner\n";

bool PlayCheck(const StagedSite& staged, bool locked, const Fault& fault) {
  FakeClock clock;
  const FakeProcess process(staged.site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  door.Fail(fault);
  const int status = RunCheckMode(staged.site.config);
  EXPECT_EQ(staged.site.Files(), staged.before);
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_TRUE(clock.pauses.empty());
  std::vector<std::string> expected;
  if (locked) expected = {"ERROR: an CVTOSS.BSY lock already exists*", "=== cvtoss32 -check FAILED: *"};
  EXPECT_EQ(status, ExpectAlarmsOf(staged.map.StepsFrom(0, door), LinesOf(log, staged.site), staged.site, expected));
  return door.HasStruck();
}

void TryCheck(bool locked, const FaultLoop& loop) {
  StagedSite staged;
  staged.site.Base(1).Add({});
  if (locked) WriteFile(staged.site.LockFile(), kOwner);
  staged.before = staged.site.Files();
  (void)TryFaults([&](const Fault& fault) { return PlayCheck(staged, locked, fault); }, loop);
}

}  // namespace

TEST(CheckFaults, OfAnyFile) {
  FaultLoop loop;
  loop.more_than = 60;
  TryCheck(false, loop);
}

TEST(CheckFaults, OfEachFileOnItsOwn) {
  for (const char* path_end : {"CVMCONF.DAT", "CVWHOSON.DAT", "CVMSG01.PTR", "TOSSER.LOG"}) {
    FaultLoop loop;
    loop.path_end = path_end;
    TryCheck(false, loop);
  }
}

TEST(CheckFaults, OfALockThatIsThere) {
  FaultLoop loop;
  loop.path_end = "CVTOSS.BSY";
  TryCheck(true, loop);
}
