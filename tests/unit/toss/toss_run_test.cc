#include "toss/toss_run.h"

#include <algorithm>
#include <cstring>

#include "base/fixed_text.h"
#include "unit/toss/toss_fixture.h"

namespace {

std::string Packet(const std::string& msgid, const std::string& area = "GENERAL") {
  PacketMessage message;
  message.text = EchoText(area, msgid, "Hello\r");
  return PacketBytes({message});
}

class TossRun : public TossFixture {
 protected:
  // A run that is not aborted; returns its lines after those of the start.
  Strings Run(int status) {
    log_.Clear();
    EXPECT_EQ(RunToss(site_.config), status);
    const Strings lines = TakeLines();
    EXPECT_FALSE(PathExists(site_.LockFile()));
    EXPECT_EQ(process_.break_file, "");
    if (lines.size() < 6) return lines;
    return {lines.begin() + 5, lines.end()};
  }

  void LayInbound(const std::string& name, const std::string& content) const { WriteFile(site_.In(name), content); }

  Strings StartLines() const {
    return {"=== cvtoss32 v1.05 Beta 5 -toss run starting ===",
            "Inbound dir: " + site_.In() + "   Config dir: " + site_.Conf() + "   Work dir: " + site_.Conf("WORK") +
                "   Message dir: " + site_.Msg(),
            "Processed files: kept (archived)"};
  }

  // The run ends with status 1 after the lines of its start and these.
  void ExpectAborted(const Strings& lines) {
    Strings expected = StartLines();
    expected.insert(expected.end(), lines.begin(), lines.end());
    const auto before = site_.Files();
    EXPECT_EQ(RunToss(site_.config), 1);
    EXPECT_EQ(TakeLines(), expected);
    EXPECT_EQ(site_.Files(), before);
  }
};

using TossStart = TossRun;
using TossWalk = TossRun;
using TossDisposal = TossRun;

constexpr char kLoaded[] = "Loaded 3 conference(s) from CVMCONF.DAT";
constexpr char kIdle[] = "Node check: 1 node record(s), all idle";
constexpr char kWrote[] = "  -> wrote conf 1 msg #1  From='Ann Author' To='All' Subj='Hello' (1 records)";
constexpr char kPacketLine[] = "  packet: orig 1:229/426.0 -> dest 1:229/100.0  (month field is 0-based; 2025-01-05)";
constexpr char kParsed1[] = "  1 message(s) parsed from this packet";
constexpr char kComplete0[] = "=== cvtoss32 -toss run complete: 0 file(s) processed ===";
constexpr char kComplete1[] = "=== cvtoss32 -toss run complete: 1 file(s) processed ===";
constexpr char kIgnored1[] = "Ignored 1 unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets).";

}  // namespace

// The start.

TEST_F(TossStart, AnEmptyInboundDirectoryIsARunOfNoFiles) {
  Strings expected = StartLines();
  for (const char* line : {kLoaded, kIdle, kComplete0}) expected.emplace_back(line);
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(TakeLines(), expected);
}

TEST_F(TossStart, TheLogStandsBesideTheProgramAndHoldsTheSameLines) {
  EXPECT_EQ(RunToss(site_.config), 0);
  std::string shown;
  for (const std::string& line : SplitLines(log_.StandardOutput())) shown += line + kOsLineEnd;
  EXPECT_EQ(ReadFile(site_.Root() + "/TOSSER.LOG"), shown);
}

TEST_F(TossStart, DeletingIsAnnounced) {
  site_.config.KeepProcessed = 0;
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(TakeLines().at(2), "Processed files: deleted after processing");
  EXPECT_FALSE(PathExists(site_.In("processed")));
}

TEST_F(TossStart, ALockThatIsHeldAborts) {
  WriteFile(site_.LockFile(), "somebody\n");
  SetModifiedAt(site_.LockFile(), clock_.now);
  ExpectAborted(
      {"Lock owner: somebody",
       "Aborting: another instance appears to already be running (" + site_.LockFile() +
           " exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after 30 minutes, or "
           "delete it manually."});
}

TEST_F(TossStart, ALockThatCannotBeCreatedAborts) {
  door_.FailNth(Call::kOpen, 1, ".BSY");
  ExpectAborted(
      {"ERROR: could not create lock " + site_.LockFile() + ": errno=13",
       "Aborting: another instance appears to already be running (" + site_.LockFile() +
           " exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after 30 minutes, or "
           "delete it manually."});
}

TEST_F(TossStart, AConferenceTableThatIsInvalidAbortsAndReleasesTheLock) {
  RemoveFile(site_.Conf("CVMCONF.DAT"));
  ExpectAborted(
      {"FATAL: could not open " + site_.Conf("CVMCONF.DAT"), "Aborting: conference configuration validation failed"});
}

TEST_F(TossStart, ABusyBbsAbortsAndReleasesTheLock) {
  RemoveFile(site_.NodeFile());
  ExpectAborted({kLoaded, "ERROR: could not open " + site_.NodeFile() + " to verify that all Corvane nodes are free",
                 "Aborting: unable to verify that Corvane nodes are free"});
}

TEST_F(TossStart, TheLockIsHeldWhileTheNodesAreWaitedFor) {
  WriteFile(site_.NodeFile(), NodeBytes(5));
  door_.BeforeNth(
      Call::kOpen, 2,
      [&] {
        EXPECT_TRUE(PathExists(site_.LockFile()));
        WriteFile(site_.NodeFile(), NodeBytes(65535));
      },
      "CVWHOSON.DAT");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(clock_.pauses, std::vector<uint32_t>{10000});
}

TEST_F(TossStart, AnUnsoundMessageBaseAbortsAndReleasesTheLock) {
  WriteFile(site_.Base(1).Path("PTR"), "x");
  LayInbound("a.pkt", Packet("a"));
  ExpectAborted({kLoaded, kIdle, "ERROR: conference 1 has a non-record-aligned PTR, IDX, or DAT file",
                 "Aborting: one or more FTN conference message bases failed preflight"});
}

TEST_F(TossStart, AnInboundDirectoryThatIsNotThereIsFatal) {
  CopyCut(site_.config.Inbound, (site_.Root() + "/none").c_str());
  EXPECT_EQ(RunToss(site_.config), 1);
  EXPECT_EQ(TakeLines().back(), "FATAL: could not open inbound dir " + site_.Root() + "/none");
  EXPECT_FALSE(PathExists(site_.LockFile()));
}

// The walk.

TEST_F(TossWalk, APacketIsTossedAndMoved) {
  LayInbound("0000a1b2.pkt", Packet("a"));
  EXPECT_EQ(Run(0), (Strings{"Found: 0000a1b2.pkt", kPacketLine, kWrote, kParsed1,
                             "  moved to " + site_.Done("0000a1b2.pkt"), kComplete1}));
  EXPECT_EQ(ReadFile(site_.Done("0000a1b2.pkt")), Packet("a"));
}

TEST_F(TossWalk, ABundleIsTossedAndMoved) {
  ZipEntryParts entry;
  entry.name = "x";
  entry.content = Packet("a");
  LayInbound("0000a1b2.su0", ZipEntryBytes(entry));
  const Strings lines = Run(0);
  EXPECT_EQ(lines.front(), "Found: 0000a1b2.su0");
  EXPECT_EQ(lines.back(), kComplete1);
  EXPECT_EQ(Only(1).msgid, "a");
  EXPECT_TRUE(PathExists(site_.Done("0000a1b2.su0")));
}

TEST_F(TossWalk, FilesAreKnownByTheirContentNeverByTheirName) {
  LayInbound("NOTES.TXT", Packet("a"));
  LayInbound("00000001.PKT", "only a text");
  const Strings lines = Run(0);
  EXPECT_EQ(lines, (Strings{"Found: NOTES.TXT", kPacketLine, kWrote, kParsed1, "  moved to " + site_.Done("NOTES.TXT"),
                            kIgnored1, kComplete1}));
  EXPECT_EQ(ReadFile(site_.In("00000001.PKT")), "only a text");
}

TEST_F(TossWalk, UnrelatedFilesAreCountedAndLeft) {
  for (const std::string& content : {std::string(), std::string("PK"), std::string("PK\x03"), std::string("PK\x05\x06"),
                                     PacketBytes({}).substr(0, 59)}) {
    LayInbound("file", content);
    EXPECT_EQ(Run(0), (Strings{kIgnored1, kComplete0}));
    EXPECT_EQ(ReadFile(site_.In("file")), content);
  }
  LayInbound("other", "x");
  EXPECT_EQ(Run(0).at(0), "Ignored 2 unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets).");
}

TEST_F(TossWalk, AFileOfFourBytesWithTheSignatureIsLeftWithItsLine) {
  LayInbound("file", "PK\x03\x04");
  EXPECT_EQ(Run(0),
            (Strings{"Found: file", "  no ZIP local file headers found -- not a ZIP bundle after all?", kComplete0}));
  EXPECT_TRUE(PathExists(site_.In("file")));
}

TEST_F(TossWalk, DirectoriesAreNeverExamined) {
  MakeDirectory(site_.In("badmsgs"));
  WriteFile(site_.In("badmsgs") + "/BAD_1.PKT", Packet("a"));
  site_.config.ProcessedDir[0] = '\0';
  MakeDirectory(site_.In("processed"));
  WriteFile(site_.In("processed") + "/a.pkt", Packet("a"));
  EXPECT_EQ(Run(0), Strings{kComplete0});
}

TEST_F(TossWalk, TheRunLogIsSkippedWhateverItsCase) {
  for (const char* name : {"tosser.log", "TOSSER.LOG", "Tosser.Log"}) {
    LayInbound(name, Packet("a"));
    EXPECT_EQ(Run(0), Strings{kComplete0}) << name;
    RemoveFile(site_.In(name));
  }
  LayInbound("TOSSER.LOG2", "x");
  EXPECT_EQ(Run(0), (Strings{kIgnored1, kComplete0}));
}

TEST_F(TossWalk, AFileThatCannotBeExaminedIsSkippedSilently) {
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kStat, 1, "a.pkt");
  EXPECT_EQ(Run(0), Strings{kComplete0});
  EXPECT_TRUE(PathExists(site_.In("a.pkt")));
}

TEST_F(TossWalk, AFileThatCannotBeReadIsSkippedWithALine) {
  LayInbound("a.pkt", Packet("a"));
  for (const Call call : {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose}) {
    door_.Clear();
    door_.FailNth(call, 1, "a.pkt");
    EXPECT_EQ(Run(0), (Strings{"Could not read inbound file a.pkt; skipping", kComplete0}));
    EXPECT_TRUE(PathExists(site_.In("a.pkt")));
  }
  door_.Clear();
  door_.BeforeNth(
      Call::kOpen, 1, [&] { door_.FailNth(Call::kReallocate, 1); }, "a.pkt");
  EXPECT_EQ(Run(0), (Strings{"Could not read inbound file a.pkt; skipping", kComplete0}));
}

TEST_F(TossWalk, AFileOf2GiBIsNotRead) {
  LayInbound("a.pkt", Packet("a"));
  const auto memory_asked = [&](size_t bytes) {
    return std::any_of(door_.Calls().begin(), door_.Calls().end(), [bytes](const CallRecord& call) {
      return call.call == Call::kReallocate && call.size >= bytes;
    });
  };
  ResizeFile(site_.In("a.pkt"), 2147483648);
  EXPECT_EQ(Run(0), (Strings{"Could not read inbound file a.pkt; skipping", kComplete0}));
  EXPECT_EQ(door_.Count(Call::kReadAt, "a.pkt"), 0);
  EXPECT_FALSE(memory_asked(1000000));
  ResizeFile(site_.In("a.pkt"), 2147483647);
  door_.BeforeNth(
      Call::kOpen, 1, [&] { door_.FailNth(Call::kReallocate, 1); }, "a.pkt");
  EXPECT_EQ(Run(0), (Strings{"Could not read inbound file a.pkt; skipping", kComplete0}));
  EXPECT_TRUE(memory_asked(2147483647));
}

TEST_F(TossWalk, AListingThatBreaksOffIsReportedAndCountsAsAFailure) {
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kListNext, 1);
  const Strings lines = Run(1);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].substr(0, 7), "ERROR: ");
  EXPECT_EQ(lines[1], kComplete0);
  EXPECT_TRUE(PathExists(site_.In("a.pkt")));
}

// What becomes of a file.

TEST_F(TossDisposal, ARetainedPacketStaysAndIsTossedAgain) {
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  const Strings lines = Run(1);
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[lines.size() - 2], "  retaining packet in inbound because a message-base append failed");
  EXPECT_EQ(lines.back(), kComplete0);
  EXPECT_EQ(ReadFile(site_.In("a.pkt")), Packet("a"));
  EXPECT_EQ(Run(0).back(), kComplete1);
  EXPECT_EQ(Only(1).msgid, "a");
}

TEST_F(TossDisposal, ARetainedBundleStays) {
  ZipEntryParts entry;
  entry.content = "Read me";
  LayInbound("a.su0", ZipEntryBytes(entry));
  const Strings lines = Run(1);
  EXPECT_EQ(lines.at(lines.size() - 2), "  retaining ZIP in inbound because at least one entry failed");
  EXPECT_EQ(lines.back(), kComplete0);
  EXPECT_TRUE(PathExists(site_.In("a.su0")));
}

TEST_F(TossDisposal, ACorruptPacketIsProcessedAndKeptForReview) {
  const std::string packet = PacketHeaderBytes() + Word(2);
  LayInbound("a.pkt", packet);
  EXPECT_EQ(Run(0),
            (Strings{"Found: a.pkt", kPacketLine, "  truncated message header, stopping",
                     "  saved unprocessable packet data to " + bad_file_ + " for review (truncated message header)",
                     "  moved to " + site_.Done("a.pkt"), kComplete1}));
  EXPECT_EQ(ReadFile(bad_file_), packet);
}

// Deleting the packet would lose its damaged rest; the processed directory keeps it.
TEST_F(TossDisposal, ACorruptPacketIsDeletedOnlyWhenItsCopyIsWhole) {
  for (const bool kept : {false, true}) {
    for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
      site_.config.KeepProcessed = kept ? 1 : 0;
      LayInbound("a.pkt", PacketHeaderBytes() + Word(2));
      door_.Clear();
      door_.FailNth(call, 1, "BAD_1763166684.PKT");
      const Strings lines = Run(kept ? 0 : 1);
      EXPECT_EQ(lines.at(lines.size() - 2),
                kept ? "  moved to " + site_.Done("a.pkt")
                     : "  ERROR: could not make stored mail durable; source remains inbound");
      EXPECT_EQ(lines.back(), kept ? kComplete1 : kComplete0);
      EXPECT_EQ(PathExists(site_.In("a.pkt")), !kept);
    }
  }
}

TEST_F(TossDisposal, APacketOfUnknownAreasIsProcessed) {
  LayInbound("a.pkt", Packet("a", "NOWHERE"));
  EXPECT_EQ(Run(0).back(), kComplete1);
  EXPECT_FALSE(PathExists(site_.In("a.pkt")));
}

TEST_F(TossDisposal, WithoutAProcessedDirectoryOneIsMadeWithinInbound) {
  site_.config.ProcessedDir[0] = '\0';
  LayInbound("a.pkt", Packet("a"));
  const Strings lines = Run(0);
  EXPECT_EQ(lines.at(lines.size() - 2), "  moved to " + site_.In("processed") + "/a.pkt");
  EXPECT_EQ(ReadFile(site_.In("processed/a.pkt")), Packet("a"));
}

TEST_F(TossDisposal, AnOlderProcessedFileIsReplaced) {
  WriteFile(site_.Done("a.pkt"), "older");
  LayInbound("a.pkt", Packet("a"));
  EXPECT_EQ(Run(0).back(), kComplete1);
  EXPECT_EQ(ReadFile(site_.Done("a.pkt")), Packet("a"));
}

TEST_F(TossDisposal, AFileThatCannotBeMovedStaysAndCountsAsAFailure) {
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kRename, 1);
  const Strings lines = Run(1);
  EXPECT_EQ(lines.at(lines.size() - 2),
            "  ERROR: processed but could not move to " + site_.Done("a.pkt") + "; source remains inbound");
  EXPECT_EQ(lines.back(), kComplete0);
  EXPECT_TRUE(PathExists(site_.In("a.pkt")));
}

TEST_F(TossDisposal, KeepprocessedNoDeletes) {
  site_.config.KeepProcessed = 0;
  LayInbound("a.pkt", Packet("a"));
  const Strings lines = Run(0);
  EXPECT_EQ(lines.at(lines.size() - 2), "  deleted (KEEPPROCESSED no)");
  EXPECT_EQ(lines.back(), kComplete1);
  EXPECT_FALSE(PathExists(site_.In("a.pkt")));
}

TEST_F(TossDisposal, AFileThatCannotBeDeletedStaysAndCountsAsAFailure) {
  site_.config.KeepProcessed = 0;
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kRemove, 1, "a.pkt");
  const Strings lines = Run(1);
  EXPECT_EQ(lines.at(lines.size() - 2), "  ERROR: processed but could not delete " + site_.In("a.pkt"));
  EXPECT_EQ(lines.back(), kComplete0);
}

TEST_F(TossDisposal, AFailureInOneFileDoesNotStopTheWalk) {
  LayInbound("a.pkt", Packet("a", "NO GOOD"));
  LayInbound("b.pkt", Packet("b"));
  LayInbound("c.txt", "x");
  const Strings lines = Run(1);
  EXPECT_EQ(lines.at(lines.size() - 2), kIgnored1);
  EXPECT_EQ(lines.back(), kComplete1);
  EXPECT_TRUE(PathExists(site_.In("a.pkt")));
  EXPECT_EQ(Only(1).msgid, "b");
}

TEST_F(TossDisposal, AProcessedDirectoryThatIsTheInboundDirectoryLosesNothing) {
  CopyCut(site_.config.ProcessedDir, site_.In().c_str());
  LayInbound("a.pkt", Packet("a"));
  EXPECT_EQ(Run(1).back(), kComplete0);
  EXPECT_EQ(ReadFile(site_.In("a.pkt")), Packet("a"));
}

TEST_F(TossDisposal, ALockThatCannotBeRemovedIsAWarningOnly) {
  door_.FailNth(Call::kRemove, 1, ".BSY");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(TakeLines().back(), "WARNING: could not remove lock file " + site_.LockFile());
  EXPECT_EQ(process_.break_file, site_.LockFile());
}
