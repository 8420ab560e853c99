#include "check/check_run.h"

#include "base/fixed_text.h"
#include "unit/support/site_fixture.h"

namespace {

class CheckRuns : public SiteFixture {
 protected:
  CheckRuns() {
    site_.WriteConferences({{"General", "GENERAL"}});
    site_.config.HaveAddress = site_.config.HaveHub = site_.config.HaveSystem = 0;
  }

  // Runs a check that finds so many issues and logs these lines between head and verdict; nothing changes.
  void ExpectCheck(int issues, const Strings& lines) {
    Strings expected = {"=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ===",
                        "Config dir: " + std::string(site_.config.ConfDir) + "   Work dir: " + site_.config.WorkDir +
                            "   Message dir: " + site_.config.MsgDir};
    expected.insert(expected.end(), lines.begin(), lines.end());
    expected.push_back(issues == 0 ? "=== cvtoss32 -check PASSED: configuration and FTN message bases look safe ==="
                                   : "=== cvtoss32 -check FAILED: " + std::to_string(issues) +
                                         " issue(s) require attention ===");
    const auto before = site_.Files();
    EXPECT_EQ(RunCheckMode(site_.config), issues == 0 ? 0 : 1);
    EXPECT_EQ(TakeLines(), expected);
    EXPECT_EQ(site_.Files(), before);
  }

  // The lines of a sound conference stage, then these.
  static Strings Sound(const Strings& rest) {
    Strings lines = {kLoaded, kListed, kSound};
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
  }

  static constexpr char kLoaded[] = "Loaded 1 conference(s) from CVMCONF.DAT";
  static constexpr char kListed[] = "  conf 1: 'General'  AREA=GENERAL  route=yes  netmail=no  public-only=no";
  static constexpr char kSound[] = "  conf 1 message base: PTR=0 IDX=0 DAT=0 record(s) -- OK";
  static constexpr char kIdle[] = "Node status: 1 record(s), all idle";
  const std::string unsure_ =
      "ERROR: could not open " + site_.NodeFile() + " to verify that all Corvane nodes are free";
};

}  // namespace

TEST_F(CheckRuns, ADirectoryWhoseStatusCannotBeReadIsAnIssue) {
  struct Directory {
    const char* name;
    std::string path;
  };
  for (const Directory& directory : {Directory{"CONFDIR", site_.Conf()},
                                     {"MSGDIR", site_.Msg()},
                                     {"INBOUND", site_.In()},
                                     {"OUTDIR", site_.Out()}}) {
    door_.Clear();
    door_.FailNth(Call::kStat, 1, directory.path);
    ExpectCheck(
        1,
        {std::string("ERROR: ") + directory.name + " does not exist or is not a directory: " + directory.path, kIdle});
    EXPECT_TRUE(door_.HasStruck());
  }
}

TEST_F(CheckRuns, AnEmptyDirectoryTextIsAnIssueOfThoseAlwaysChecked) {
  site_.config.Inbound[0] = site_.config.OutDir[0] = '\0';
  site_.config.HaveInbound = site_.config.HaveOutDir = 0;
  ExpectCheck(0, Sound({kIdle}));
  site_.config.WorkDir[0] = '\0';
  ExpectCheck(2, {"ERROR: WORKDIR does not exist or is not a directory: ",
                  "ERROR: could not open /CVWHOSON.DAT to verify that all Corvane nodes are free"});
}

TEST_F(CheckRuns, ALockWhoseStatusCannotBeReadIsNone) {
  WriteFile(site_.LockFile(), "the owner\n");
  door_.FailNth(Call::kStat, 1, "CVTOSS.BSY");
  ExpectCheck(0, Sound({kIdle}));
}

TEST_F(CheckRuns, ANodeFileThatDoesNotCloseIsAnIssueWithoutALine) {
  door_.FailNth(Call::kClose, 1, "CVWHOSON.DAT");
  ExpectCheck(1, Sound({}));
}

TEST_F(CheckRuns, TakesNoLockWritesNothingAndWaitsForNothing) {
  site_.Base(1).Add({});
  EXPECT_EQ(RunCheckMode(site_.config), 0);
  for (const Call call :
       {Call::kWriteAt, Call::kSetSize, Call::kRemove, Call::kRemoveUnchanged, Call::kRename, Call::kMakeDirectory}) {
    EXPECT_EQ(door_.Count(call), 0);
  }
  EXPECT_EQ(door_.Count(Call::kWrite), door_.Count(Call::kWrite, "TOSSER.LOG"));
  EXPECT_EQ(door_.Count(Call::kOpen, "CVTOSS.BSY"), 0);
  EXPECT_TRUE(clock_.pauses.empty());
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(CheckRuns, WithoutALogTheConsoleShowsEveryLine) {
  door_.FailNth(Call::kOpen, 1, "TOSSER.LOG");
  ExpectCheck(0, Sound({kIdle}));
  EXPECT_FALSE(PathExists(site_.Root() + "/TOSSER.LOG"));
}
