// A check whose every call fails in turn: it changes nothing, ends, says of each failure what there is to say, and
// counts it.
#include <gtest/gtest.h>

#include <utility>

#include "check/check_run.h"
#include "fault/fault_loop.h"
#include "fault/run_promises.h"
#include "fault/run_stage.h"
#include "fault/story.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kOwner[] = "owner\n";

// What a check of the site has to say.
class CheckStory : public Story {
 public:
  CheckStory(const Site& site, const SiteFiles& found, std::vector<Step> steps) : Story(site, found, std::move(steps)) {
    Say("=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ===");
    Say("Config dir: <site>/conf   Work dir: <site>/conf/WORK   Message dir: <site>/msg");
    int issues = BadDirectories();
    if (issues == 0) issues += BadConferences();
    issues += Lock();
    if (CheckNodes()) {
      Say("Node status: 1 record(s), all idle");
    } else {
      ++issues;
    }
    Say("Local FTN address: 1:229/426.0");
    Say("Hub FTN address: 1:229/100.0");
    Say("Origin system name: Harbour BBS");
    if (issues == 0) {
      Say("=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ===");
      return;
    }
    Say("=== cvtoss32 -check FAILED: " + std::to_string(issues) + " issue(s) require attention ===");
    Fail();
  }

 private:
  // These return how many issues there are.
  int BadDirectories() {
    int issues = 0;
    for (const char* directive : {"CONFDIR", "WORKDIR", "MSGDIR", "INBOUND", "OUTDIR"}) {
      SetWord("directive", directive);
      if (Tell(TakeOne(Part::kDirectory, Call::kStat), Use::kCheck)) ++issues;
    }
    return issues;
  }

  int BadConferences() {
    if (!LoadConferences()) return 1;
    Say("  conf 1: 'General'  AREA=GENERAL  route=yes  netmail=no  public-only=no");
    Say("  conf 2: 'Fido'  AREA=FIDO  route=yes  netmail=no  public-only=no");
    Say("  conf 3: 'Netmail'  AREA=(none)  route=no  netmail=yes  public-only=no");
    bool sound = true;
    for (const char* counts : {"1 message base: PTR=1 IDX=1 DAT=1", "2 message base: PTR=0 IDX=0 DAT=0",
                               "3 message base: PTR=0 IDX=0 DAT=0"}) {
      if (JudgeBase(LookAtBase())) {
        Say(std::string("  conf ") + counts + " record(s) -- OK");
      } else {
        sound = false;
      }
    }
    return sound ? 0 : 1;
  }

  int Lock() {
    const Step* const seen = TakeOne(Part::kLock, Call::kStat);
    if (Tell(seen, Use::kCheck) || seen == nullptr || seen->Answer() != kOsOk) return 0;
    const FileUse read = TakeFile(Part::kLock);
    (void)Tell(read.failed, Use::kOwner);
    Say(std::string("ERROR: an CVTOSS.BSY lock already exists") + (read.moved != 0 ? ": owner" : ""));
    return 1;
  }
};

bool PlayCheck(const StagedSite& staged, const Fault& fault) {
  FakeClock clock;
  const FakeProcess process(staged.site.ProgramFile());
  const CapturedLog log;
  ScopedDoor door;
  door.Fail(fault);
  const int status = RunCheckMode(staged.site.config);
  EXPECT_EQ(staged.site.Files(), staged.before);
  EXPECT_EQ(door.OpenHandles(), 0);
  EXPECT_TRUE(clock.pauses.empty());
  CheckStory(staged.site, staged.before, staged.map.StepsFrom(0, door)).ExpectToldBy(LinesOf(log, staged.site), status);
  return door.HasStruck();
}

void TryCheck(bool locked, const FaultLoop& loop) {
  StagedSite staged;
  staged.site.Base(1).Add({});
  if (locked) WriteFile(staged.site.LockFile(), kOwner);
  staged.before = staged.site.Files();
  (void)TryFaults([&staged](const Fault& fault) { return PlayCheck(staged, fault); }, loop);
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
