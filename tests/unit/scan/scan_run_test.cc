#include "scan/scan_run.h"

#include "unit/support/site_fixture.h"

namespace {

class ScanRuns : public SiteFixture {
 protected:
  int Run() { return RunScan(site_.config); }

  void AddUnsent(int conference, int32_t number, const std::string& to = "All") const {
    BaseMessage message;
    message.sent = false;
    message.number = number;
    message.to = to;
    message.netmail = conference == 3;
    site_.Base(conference).Add(message);
  }

  // The first lines, then these.
  Strings Lines(const Strings& rest) const {
    Strings lines = {
        "=== cvtoss32 v1.05 Beta 5 -scan run starting ===",
        "Config dir: " + site_.Conf() + "   Work dir: " + site_.Conf("WORK") + "   Message dir: " + site_.Msg() +
            "   Outbound dir: " + site_.Out(),
        "Our address: 1:229/426   Hub address: 1:229/100   System name: Harbour BBS   Packet: no password set"};
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
  }

  Strings Ready(const Strings& rest) const {
    Strings lines = Lines({"Loaded 4 conference(s) from CVMCONF.DAT", "Node check: 1 node record(s), all idle"});
    lines.insert(lines.end(), rest.begin(), rest.end());
    return lines;
  }

  // Queued line of a message of AddUnsent.
  static std::string Queued(int conference, int number, int serial) {
    return "  queued conf " + std::to_string(conference) + " msg #" + std::to_string(number) +
           "  From='Ann Author' To='All' Subj='Hello'  MSGID=1:229/426 0000000" + std::to_string(serial);
  }

  // The run fails with these lines, nothing is published or marked, and nothing is left behind.
  void ExpectFailure(const Strings& lines) {
    const auto before = site_.Files();
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(TakeLines(), lines);
    auto after = site_.Files();
    after.erase("msg/CVOUTBOUND.SEQ");
    auto expected = before;
    expected.erase("msg/CVOUTBOUND.SEQ");
    EXPECT_EQ(after, expected);
  }

  const std::string ptr_ = site_.Base(1).Path("PTR");
};

const Strings kNothing = {"Nothing to export -- no unsent messages found in any routed conference.",
                          "=== cvtoss32 -scan run complete: 0 message(s) exported ==="};
constexpr char kCommitErrors[] =
    "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ===";

}  // namespace

TEST_F(ScanRuns, ExportsPublishesAndCommitsInThisOrder) {
  AddUnsent(2, 7);
  AddUnsent(1, 5);
  AddUnsent(4, 9);
  std::string sig_at_publish = "not published";
  door_.BeforeNth(Call::kRename, 1,
                  [&] { sig_at_publish = PathExists(site_.Base(1).Path("SIG")) ? "there" : "not there"; });
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(sig_at_publish, "not there");
  Strings lines = TakeLines();
  ASSERT_EQ(lines.size(), 9U);
  EXPECT_EQ(lines[7].substr(0, lines[7].find("  (")), "Published complete bundle: " + site_.Out("6917c9dc.sa0"));
  lines.erase(lines.begin() + 7);
  EXPECT_EQ(lines, Ready({Queued(1, 5, 1), Queued(2, 7, 2),
                          "=== cvtoss32 -scan run complete: 2 message(s) exported and committed ==="}));
  EXPECT_TRUE(site_.Base(1).Read()[0].sent);
  EXPECT_TRUE(site_.Base(2).Read()[0].sent);
  EXPECT_FALSE(site_.Base(4).Read()[0].sent);
  EXPECT_FALSE(PathExists(site_.LockFile()));
  EXPECT_EQ(process_.break_file, "");
}

TEST_F(ScanRuns, TheLockIsHeldFromTheTableToTheCommitForAScan) {
  AddUnsent(1, 5);
  std::string at_load;
  std::string at_commit;
  door_.BeforeNth(
      Call::kOpen, 1, [&] { at_load = ReadFile(site_.LockFile()); }, "CVMCONF.DAT");
  door_.BeforeNth(
      Call::kWriteAt, 1, [&] { at_commit = ReadFile(site_.LockFile()); }, ".PTR");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(at_load, "cvtoss32 1.05 Beta 5 mode=-scan pid=4120 started=1763166684\n");
  EXPECT_EQ(at_commit, at_load);
}

TEST_F(ScanRuns, ALockThatCannotBeRemovedIsAWarningAndTheStatusStays) {
  const std::string warning = "WARNING: could not remove lock file " + site_.LockFile();
  Strings lines = Ready(kNothing);
  lines.push_back(warning);
  door_.FailNth(Call::kRemove, 1, "CVTOSS.BSY");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(TakeLines(), lines);
  RemoveFile(site_.LockFile());

  RemoveFile(site_.Conf("CVMCONF.DAT"));
  door_.Clear();
  door_.FailNth(Call::kRemove, 1, "CVTOSS.BSY");
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(TakeLines(), Lines({"FATAL: could not open " + site_.Conf("CVMCONF.DAT"),
                                "Aborting: conference configuration validation failed", warning}));
}

TEST_F(ScanRuns, WithoutMemoryForThePacketNothingIsScanned) {
  AddUnsent(1, 5);
  int nth = 0;
  Strings lines;
  do {  // the preflights take memory, too
    RemoveFile(site_.LockFile());
    door_.Clear();
    door_.FailNth(Call::kReallocate, ++nth);
    EXPECT_EQ(Run(), 1);
    lines = TakeLines();
  } while (door_.HasStruck() && lines.back() != "ERROR: out of memory allocating outbound packet buffer");
  EXPECT_EQ(lines, Ready({"ERROR: out of memory allocating outbound packet buffer"}));
  EXPECT_FALSE(PathExists(site_.LockFile()));
  EXPECT_FALSE(PathExists(site_.Msg("CVOUTBOUND.SEQ")));
}

TEST_F(ScanRuns, APtrFileThatCannotBeOpenedForTheScanIsPassedOverSilently) {
  AddUnsent(1, 5);
  AddUnsent(2, 7);
  door_.FailNth(Call::kOpen, 2, "CVMSG01.PTR");  // the first opening is the preflight's
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(door_.HasStruck());
  const Strings lines = TakeLines();
  EXPECT_EQ(lines[5], Queued(2, 7, 1));
  EXPECT_EQ(lines.back(), "=== cvtoss32 -scan run complete: 1 message(s) exported and committed ===");
  EXPECT_FALSE(site_.Base(1).Read()[0].sent);
}

TEST_F(ScanRuns, AReadErrorEndsTheRunAndTheConferencesBehindAreNotVisited) {
  AddUnsent(1, 5);
  AddUnsent(2, 7);
  int preflights = 0;  // readings before the scan's own
  door_.BeforeNth(
      Call::kOpen, 2, [&] { preflights = door_.Count(Call::kReadAt, "CVMSG01.PTR"); }, "CVMSG01.PTR");
  EXPECT_EQ(Run(), 0);
  TakeLines();
  RemoveFile(site_.Out("6917c9dc.sa0"));
  std::string ptr = ReadFile(ptr_);
  ptr[153] = '\0';
  WriteFile(ptr_, ptr);
  door_.Clear();
  door_.FailNth(Call::kReadAt, preflights + 1, "CVMSG01.PTR");
  ExpectFailure(Ready({"ERROR: read failure while scanning " + ptr_}));
  EXPECT_TRUE(door_.HasStruck());
}

TEST_F(ScanRuns, ACloseFailureEndsTheRunAfterTheMessagesOfTheFile) {
  AddUnsent(1, 5);
  AddUnsent(2, 7);
  door_.FailNth(Call::kClose, 2, "CVMSG01.PTR");  // the first closing is the preflight's
  ExpectFailure(Ready({Queued(1, 5, 1), "ERROR: failed closing " + ptr_ + " after scan"}));
  EXPECT_EQ(ReadFile(site_.Msg("CVOUTBOUND.SEQ")), std::string("1") + kOsLineEnd);  // taken is taken
}

TEST_F(ScanRuns, ABodyThatCannotBeReadSkipsItsMessageOnly) {
  AddUnsent(1, 5);
  AddUnsent(1, 6);
  door_.FailNth(Call::kOpen, 1, "CVMSG01.DAT");
  EXPECT_EQ(Run(), 0);
  const Strings lines = TakeLines();
  EXPECT_EQ(lines[5], "  msg #5 in conf 1: could not read body records -- skipping");
  EXPECT_EQ(lines[6], Queued(1, 6, 1));
  EXPECT_FALSE(site_.Base(1).Read()[0].sent);
  EXPECT_TRUE(site_.Base(1).Read()[1].sent);
}

TEST_F(ScanRuns, ASerialThatCannotBeTakenEndsTheRunAfterThoseThatWere) {
  AddUnsent(1, 5);
  AddUnsent(1, 6);
  AddUnsent(2, 7);
  door_.FailNth(Call::kClose, 2, "CVOUTBOUND.SEQ");
  ExpectFailure(Ready({Queued(1, 5, 1), "ERROR: could not allocate/persist the next outbound MSGID serial"}));
}

TEST_F(ScanRuns, AFailureToPublishEndsTheRun) {
  AddUnsent(1, 5);
  door_.FailNth(Call::kRename, 1);
  ExpectFailure(Ready({Queued(1, 5, 1), "ERROR: could not atomically publish bundle " + site_.Out("6917c9dc.sa0")}));
}

TEST_F(ScanRuns, ACommitErrorKeepsTheBundleAndTheNextRunExportsAgainUnderANewSerial) {
  AddUnsent(1, 5);
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(TakeLines().back(), kCommitErrors);
  EXPECT_TRUE(PathExists(site_.Out("6917c9dc.sa0")));
  EXPECT_FALSE(PathExists(site_.LockFile()));
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(TakeLines()[5], Queued(1, 5, 2));
  EXPECT_TRUE(PathExists(site_.Out("6917c9dc.sa1")));
  EXPECT_EQ(ReadFile(site_.Base(1).Path("SIG")), "1:229/426 00000002\t5\r\n");
}

TEST_F(ScanRuns, AVerifiedCommitIsNoError) {
  AddUnsent(1, 5);
  door_.FailNth(Call::kClose, 3, ".PTR");  // of the preflight, of the scan, of the mark
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(TakeLines().back(), "=== cvtoss32 -scan run complete: 1 message(s) exported and committed ===");
}

TEST_F(ScanRuns, HeadersAreReadInLargePiecesWhateverTheirNumber) {
  constexpr int kHeaders = 3000;
  const std::string record = PtrBytes([] {
    BaseMessage message;
    message.number = 1;
    message.records = 1;
    return message;
  }());
  std::string ptr;
  for (int i = 0; i < kHeaders; ++i) ptr += record;
  WriteFile(ptr_, ptr);
  WriteFile(site_.Base(1).Path("DAT"), DatBytes("x"));
  EXPECT_EQ(Run(), 0);
  EXPECT_LT(door_.Count(Call::kReadAt, ".PTR"), 40);
}

// Waiting for the disk.

TEST_F(ScanRuns, WaitsForSerialsAndBundleThenTheNameThenTheMarks) {
  AddUnsent(1, 5);
  AddUnsent(1, 6);
  AddUnsent(2, 7);
  EXPECT_EQ(Run(), 0);
  Strings order;
  for (const CallRecord& seen : door_.Calls()) {
    const std::string name = seen.path.substr(seen.path.rfind('/') + 1);
    if (seen.call == Call::kSyncFiles) order.push_back("wait for " + seen.items);
    if (seen.call == Call::kSyncFile || seen.call == Call::kSyncDirectory) order.push_back("wait for " + name);
    if (seen.call == Call::kRename) order.push_back("rename " + name);
    if (seen.call == Call::kWriteAt && name == "CVMSG01.PTR") order.push_back("mark");
  }
  EXPECT_EQ(order,
            (Strings{"wait for CVOUTBOUND.SEQ ", "wait for 6917c9dc.sa0.tmp", "rename 6917c9dc.sa0", "wait for out",
                     "mark", "mark", "wait for CVMSG01.SIG CVMSG01.PTR* CVMSG02.SIG CVMSG02.PTR* "}));
}

TEST_F(ScanRuns, ASerialOrABundleThatCannotBeMadeDurableIsNotPublished) {
  AddUnsent(1, 5);
  int serial = 0;
  for (const Call call : {Call::kSyncFiles, Call::kSyncFile}) {
    door_.FailNth(call, 1);
    ExpectFailure(
        Ready({Queued(1, 5, ++serial), "ERROR: could not write temporary bundle " + site_.Out("6917c9dc.sa0.tmp")}));
  }
}

TEST_F(ScanRuns, ANameThatCannotBeMadeDurableMarksNothing) {
  AddUnsent(1, 5);
  const std::string ptr = ReadFile(ptr_);
  door_.FailNth(Call::kSyncDirectory, 1);
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(TakeLines().back(), kCommitErrors);
  EXPECT_EQ(ReadFile(ptr_), ptr);
  EXPECT_FALSE(PathExists(site_.Base(1).Path("SIG")));
  EXPECT_TRUE(PathExists(site_.Out("6917c9dc.sa0")));
}

TEST_F(ScanRuns, MarksThatCannotBeMadeDurableAreCommitErrors) {
  AddUnsent(1, 5);
  door_.FailNth(Call::kSyncFiles, 2);
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(TakeLines().back(), kCommitErrors);
}
