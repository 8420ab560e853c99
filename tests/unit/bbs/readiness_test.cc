#include "bbs/readiness.h"

#include <memory>

#include "unit/support/site_fixture.h"

namespace {

class Readiness : public SiteFixture {
 protected:
  int Prepare() {
    OsDirectory directory;
    return PrepareMessageBase(site_.config, &no_lock_, table_.get(), &directory);
  }

  void BreakBase(int conference) const { WriteFile(site_.Base(conference).Path("PTR"), "x"); }

  std::unique_ptr<ConferenceTable> table_ = std::make_unique<ConferenceTable>();
};

constexpr char kLoaded[] = "Loaded 4 conference(s) from CVMCONF.DAT";
constexpr char kIdle[] = "Node check: 1 node record(s), all idle";
constexpr char kInvalid[] = "Aborting: conference configuration validation failed";
constexpr char kUnsound[] = "Aborting: one or more FTN conference message bases failed preflight";

}  // namespace

TEST_F(Readiness, ASoundSiteIsReadyAndUnchanged) {
  site_.Base(1).Add({});
  const auto before = site_.Files();
  EXPECT_EQ(Prepare(), 0);
  EXPECT_EQ(TakeLines(), (Strings{kLoaded, kIdle}));
  EXPECT_EQ(table_->count, 4U);
  EXPECT_EQ(table_->NetmailConference, 3);
  EXPECT_EQ(site_.Files(), before);
}

TEST_F(Readiness, ATableThatCannotBeLoadedAborts) {
  RemoveFile(site_.Conf("CVMCONF.DAT"));
  EXPECT_EQ(Prepare(), -1);
  EXPECT_EQ(TakeLines(), (Strings{"FATAL: could not open " + site_.Conf("CVMCONF.DAT"), kInvalid}));
}

TEST_F(Readiness, RoutingThatIsInvalidAbortsBeforeTheNodesAreLookedAt) {
  site_.WriteConferences({{"General", ""}});
  EXPECT_EQ(Prepare(), -1);
  EXPECT_EQ(TakeLines(),
            (Strings{"Loaded 1 conference(s) from CVMCONF.DAT",
                     "ERROR: routed conference 1 ('General') has an empty or malformed NetIDName/AREA tag", kInvalid}));
  EXPECT_EQ(door_.Count(Call::kOpen, "CVWHOSON.DAT"), 0);
}

TEST_F(Readiness, NodesThatStayBusyAbortWithoutAnotherLine) {
  WriteFile(site_.NodeFile(), NodeBytes(5));
  EXPECT_EQ(Prepare(), -1);
  EXPECT_EQ(TakeLines().back(), "Aborting: node 1 remained in use by UserNo 5 (Mode=0x00) for 5 minutes");
  EXPECT_EQ(door_.Count(Call::kStat), 0);
}

TEST_F(Readiness, EveryNetworkedConferenceIsCheckedEvenAfterAFailure) {
  for (const int conference : {1, 2, 3, 4}) BreakBase(conference);
  EXPECT_EQ(Prepare(), -1);
  EXPECT_EQ(TakeLines(), (Strings{kLoaded, kIdle, "ERROR: conference 1 has a non-record-aligned PTR, IDX, or DAT file",
                                  "ERROR: conference 2 has a non-record-aligned PTR, IDX, or DAT file",
                                  "ERROR: conference 3 has a non-record-aligned PTR, IDX, or DAT file", kUnsound}));
}

TEST_F(Readiness, AConferenceOutsideTheNetworkIsNotChecked) {
  BreakBase(4);
  EXPECT_EQ(Prepare(), 0);
  EXPECT_EQ(TakeLines(), (Strings{kLoaded, kIdle}));
}

TEST_F(Readiness, TheChecksAreNotVerbose) {
  const TestMessageBase base = site_.Base(1);
  base.Add({});
  WriteFile(base.Path("IDX"), "");  // it may trail
  ResizeFile(base.Path("DAT"), 65536 * 128);
  EXPECT_EQ(Prepare(), 0);
  EXPECT_EQ(TakeLines(), (Strings{kLoaded, kIdle}));
}
