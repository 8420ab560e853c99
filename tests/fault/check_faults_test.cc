// A check whose every call fails in turn: it changes nothing, ends, and never calls unsafe what it could see was safe,
// nor safe what it could not look at.
#include <gtest/gtest.h>

#include "check/check_run.h"
#include "fault/fault_loop.h"
#include "fault/run_promises.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kPassed[] = "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ===";

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The site is as it was afterwards, or the test fails.
bool PlayCheck(const Site& site, const Fault& fault) {
  FakeClock clock;
  const FakeProcess process(site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  const SiteFiles before = site.Files();
  door.Fail(fault);
  const int status = RunCheckMode(site.config);
  EXPECT_EQ(site.Files(), before);
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_TRUE(clock.pauses.empty());
  const std::vector<std::string> lines = log.Lines();
  if (lines.empty()) {
    ADD_FAILURE() << "not a line";
    return false;
  }
  EXPECT_EQ(status, lines.back() == kPassed ? 0 : 1);
  EXPECT_TRUE(lines.back() == kPassed || HasLine(lines, "=== cvtoss32 -check FAILED: ")) << lines.back();
  // What has to be read to know whether it is safe.
  const bool struck = door.HasStruck();
  for (const char* file : {"CVMCONF.DAT", "CVWHOSON.DAT", "CVMSG01.PTR"}) {
    const bool looks = fault.call == Call::kOpen || fault.call == Call::kReadAt || fault.call == Call::kSize;
    if (struck && looks && !fault.is_short && EndsWith(fault.path_end, file)) {
      EXPECT_EQ(status, 1);
    }
  }
  return struck;
}

void TryCheck(bool locked, const FaultLoop& loop) {
  const Site site;
  site.Base(1).Add({});
  if (locked) WriteFile(site.LockFile(), "owner\n");
  (void)TryFaults([&site](const Fault& fault) { return PlayCheck(site, fault); }, loop);
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
