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
  static constexpr char kLocked[] = "ERROR: an CVTOSS.BSY lock already exists";
  const std::string unsure_ =
      "ERROR: could not open " + site_.NodeFile() + " to verify that all Corvane nodes are free";
};

}  // namespace

TEST_F(CheckRuns, EverythingFinePasses) { ExpectCheck(0, Sound({kIdle})); }

TEST_F(CheckRuns, WhatIsConfiguredOfTheIdentityIsShown) {
  site_.config.OurAddress = {1, 2, 3, 4};
  site_.config.HubAddress = {-5, 6, 7, 0};
  site_.config.HaveAddress = 1;
  ExpectCheck(0, Sound({kIdle, "Local FTN address: 1:2/3.4"}));
  site_.config.HaveHub = 1;
  site_.config.HaveSystem = 1;
  ExpectCheck(
      0, Sound({kIdle, "Local FTN address: 1:2/3.4", "Hub FTN address: -5:6/7.0", "Origin system name: Harbour BBS"}));
  site_.config.HaveAddress = 0;
  ExpectCheck(0, Sound({kIdle, "Hub FTN address: -5:6/7.0", "Origin system name: Harbour BBS"}));
}

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

TEST_F(CheckRuns, ABadDirectoryLeavesOutTheConferenceStage) {
  CopyCut(site_.config.Inbound, site_.In("nowhere").c_str());
  ExpectCheck(1, {"ERROR: INBOUND does not exist or is not a directory: " + site_.In("nowhere"), kIdle});
  EXPECT_EQ(door_.Count(Call::kOpen, "CVMCONF.DAT"), 0);
}

TEST_F(CheckRuns, ATableThatDoesNotLoadIsOneIssueAndEndsItsStage) {
  for (const Call call : {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose}) {
    door_.Clear();
    door_.FailNth(call, 1, "CVMCONF.DAT");
    EXPECT_EQ(RunCheckMode(site_.config), 1);
    EXPECT_TRUE(door_.HasStruck());
    const Strings lines = TakeLines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[2].substr(0, 7), "FATAL: ");
    EXPECT_EQ(lines[3], kIdle);
    EXPECT_EQ(lines[4], "=== cvtoss32 -check FAILED: 1 issue(s) require attention ===");
  }
}

TEST_F(CheckRuns, EveryNetworkedConferenceIsPreflightedAndTheFailuresAreOneIssue) {
  site_.WriteConferences({{"A", "A"}, {"B", "B"}, {"C", "", false}, {"D", "", false, true}, {"E", "E"}});
  for (const int conference : {1, 2, 3, 4}) WriteFile(site_.Base(conference).Path("PTR"), "x");
  const std::string unaligned = " has a non-record-aligned PTR, IDX, or DAT file";
  ExpectCheck(
      1, {"Loaded 5 conference(s) from CVMCONF.DAT", "  conf 1: 'A'  AREA=A  route=yes  netmail=no  public-only=no",
          "  conf 2: 'B'  AREA=B  route=yes  netmail=no  public-only=no",
          "  conf 4: 'D'  AREA=(none)  route=no  netmail=yes  public-only=no",
          "  conf 5: 'E'  AREA=E  route=yes  netmail=no  public-only=no", "ERROR: conference 1" + unaligned,
          "ERROR: conference 2" + unaligned, "ERROR: conference 4" + unaligned,
          "  conf 5 message base: PTR=0 IDX=0 DAT=0 record(s) -- OK", kIdle});
}

TEST_F(CheckRuns, AFailedValidationAndFailedPreflightsAreTwoIssues) {
  site_.WriteConferences({{"A", ""}});
  WriteFile(site_.Base(1).Path("DAT"), "x");
  ExpectCheck(2, {kLoaded, "  conf 1: 'A'  AREA=(none)  route=yes  netmail=no  public-only=no",
                  "ERROR: routed conference 1 ('A') has an empty or malformed NetIDName/AREA tag",
                  "ERROR: conference 1 has a non-record-aligned PTR, IDX, or DAT file", kIdle});
}

TEST_F(CheckRuns, ALockIsAnIssueWhateverItsAgeAndStays) {
  WriteFile(site_.LockFile(), "the owner\r\nmore\n");
  for (const int64_t age : {0, 1799, 1800, 7200}) {
    SetModifiedAt(site_.LockFile(), clock_.now - age);
    ExpectCheck(1, Sound({std::string(kLocked) + ": the owner", kIdle}));
    EXPECT_EQ(ModifiedAt(site_.LockFile()), clock_.now - age);
  }
}

TEST_F(CheckRuns, ALockWithoutReadableOwnerIsNamedWithoutOne) {
  WriteFile(site_.LockFile(), "\n");
  ExpectCheck(1, Sound({kLocked, kIdle}));
  WriteFile(site_.LockFile(), "the owner\n");
  door_.FailNth(Call::kOpen, 1, "CVTOSS.BSY");
  ExpectCheck(1, Sound({kLocked, kIdle}));
  door_.Clear();
  door_.FailNth(Call::kReadAt, 1, "CVTOSS.BSY");
  ExpectCheck(1, Sound({kLocked, kIdle}));
}

TEST_F(CheckRuns, ALockWhoseStatusCannotBeReadIsNone) {
  WriteFile(site_.LockFile(), "the owner\n");
  door_.FailNth(Call::kStat, 1, "CVTOSS.BSY");
  ExpectCheck(0, Sound({kIdle}));
}

TEST_F(CheckRuns, ABusyNodeIsAnIssueAndIsNotWaitedFor) {
  WriteFile(site_.NodeFile(), NodeBytes(65535) + NodeBytes(65534, 0x0A) + NodeBytes(1));
  ExpectCheck(1, Sound({"NOT SAFE TO TOSS/SCAN: node 2 is occupied by UserNo -2 (Mode=0x0A)"}));
  WriteFile(site_.NodeFile(), NodeBytes(0, 0xFF));
  ExpectCheck(1, Sound({"NOT SAFE TO TOSS/SCAN: node 1 is occupied by UserNo 0 (Mode=0xFF)"}));
  EXPECT_TRUE(clock_.pauses.empty());
}

TEST_F(CheckRuns, NodesThatCannotBeToldAreAnIssue) {
  RemoveFile(site_.NodeFile());
  ExpectCheck(1, Sound({unsure_}));
  WriteFile(site_.NodeFile(), "12345");
  ExpectCheck(1, Sound({"ERROR: " + site_.NodeFile() + " has an invalid size or could not be read"}));
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

TEST_F(CheckRuns, WithoutALogTheConsoleTellsEverything) {
  door_.FailNth(Call::kOpen, 1, "TOSSER.LOG");
  ExpectCheck(0, Sound({kIdle}));
  EXPECT_FALSE(PathExists(site_.Root() + "/TOSSER.LOG"));
}

TEST_F(CheckRuns, TwoRunsLeaveTheirLinesOneBehindTheOther) {
  EXPECT_EQ(RunCheckMode(site_.config), 0);
  const std::string first = ReadFile(site_.Root() + "/TOSSER.LOG");
  EXPECT_EQ(RunCheckMode(site_.config), 0);
  EXPECT_EQ(ReadFile(site_.Root() + "/TOSSER.LOG"), first + first);
}
