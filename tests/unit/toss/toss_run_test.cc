#include "toss/toss_run.h"

#include <algorithm>

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
using TossDurability = TossRun;

constexpr char kLoaded[] = "Loaded 3 conference(s) from CVMCONF.DAT";
constexpr char kComplete1[] = "=== cvtoss32 -toss run complete: 1 file(s) processed ===";
constexpr char kComplete0[] = "=== cvtoss32 -toss run complete: 0 file(s) processed ===";

}  // namespace

// The start.

TEST_F(TossStart, ALockThatCannotBeCreatedAborts) {
  door_.FailNth(Call::kOpen, 1, ".BSY");
  ExpectAborted(
      {"ERROR: could not create lock " + site_.LockFile() + ": errno=13",
       "Aborting: another instance appears to already be running (" + site_.LockFile() +
           " exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after 30 minutes, or "
           "delete it manually."});
}

TEST_F(TossStart, ABusyBbsAbortsAndReleasesTheLock) {
  RemoveFile(site_.NodeFile());
  ExpectAborted({kLoaded, "ERROR: could not open " + site_.NodeFile() + " to verify that all Corvane nodes are free",
                 "Aborting: unable to verify that Corvane nodes are free"});
}

// The walk.

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

// Moving, deleting and keeping files.

// Deleting the packet would lose its damaged rest; the processed directory keeps it.
TEST_F(TossDisposal, ACorruptPacketIsDeletedOnlyWhenItsCopyIsWhole) {
  for (const bool kept : {false, true}) {
    for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose, Call::kSyncFiles}) {
      site_.config.KeepProcessed = kept ? 1 : 0;
      LayInbound("a.pkt", PacketHeaderBytes() + Word(2));
      door_.Clear();
      door_.FailNth(call, 1, call == Call::kSyncFiles ? "badmsgs" : "BAD_1763166684.PKT");
      const Strings lines = Run(kept ? 0 : 1);
      EXPECT_EQ(lines.at(lines.size() - 2),
                kept ? "  moved to " + site_.Done("a.pkt")
                     : "  ERROR: could not make stored mail durable; source remains inbound");
      EXPECT_EQ(lines.back(), kept ? kComplete1 : kComplete0);
      EXPECT_EQ(PathExists(site_.In("a.pkt")), !kept);
    }
  }
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

TEST_F(TossDisposal, AFileThatCannotBeDeletedStaysAndCountsAsAFailure) {
  site_.config.KeepProcessed = 0;
  LayInbound("a.pkt", Packet("a"));
  door_.FailNth(Call::kRemove, 1, "a.pkt");
  const Strings lines = Run(1);
  EXPECT_EQ(lines.at(lines.size() - 2), "  ERROR: processed but could not delete " + site_.In("a.pkt"));
  EXPECT_EQ(lines.back(), kComplete0);
}

TEST_F(TossDisposal, ALockThatCannotBeRemovedIsAWarningOnly) {
  door_.FailNth(Call::kRemove, 1, ".BSY");
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(TakeLines().back(), "WARNING: could not remove lock file " + site_.LockFile());
  EXPECT_EQ(process_.break_file, site_.LockFile());
}

// Waiting for the disk.

TEST_F(TossDurability, OneWaitASourceForEveryConferenceOfItBeforeItIsDisposedOf) {
  const auto message = [](const std::string& packet) { return packet.substr(58, packet.size() - 60); };
  const std::string last = Packet("c", "FIDO");
  LayInbound("a.pkt", last.substr(0, 58) + message(Packet("a")) + message(Packet("b")) + last.substr(58));
  LayInbound("b.pkt", Packet("a"));  // a duplicate: the run that stored it need not have waited
  LayInbound("c.pkt", Packet("d", "NOWHERE"));
  for (const int nth : {1, 2}) {
    door_.BeforeNth(Call::kSyncFiles, nth,
                    [this, nth] { EXPECT_TRUE(PathExists(site_.In(nth == 1 ? "a.pkt" : "b.pkt"))); });
  }
  (void)Run(0);
  const std::string first = "CVMSG01.DAT CVMSG01.IDX CVMSG01.PTR CVMSG01.SIG* ";
  EXPECT_EQ(door_.Synced(), (Strings{first + "CVMSG02.DAT CVMSG02.IDX CVMSG02.PTR CVMSG02.SIG* ", first}));
}

TEST_F(TossDurability, WhatCannotBeMadeDurableKeepsItsSource) {
  for (const int kept : {0, 1}) {
    site_.config.KeepProcessed = kept;
    LayInbound("a.pkt", Packet("a"));
    door_.FailNth(Call::kSyncFiles, 1, site_.Msg());
    const Strings lines = Run(1);
    EXPECT_EQ(lines.at(lines.size() - 2), "  ERROR: could not make stored mail durable; source remains inbound");
    EXPECT_EQ(lines.back(), kComplete0);
    EXPECT_EQ(ReadFile(site_.In("a.pkt")), Packet("a"));
    EXPECT_FALSE(PathExists(site_.Done("a.pkt")));
  }
  EXPECT_EQ(Run(0).back(), kComplete1);
  EXPECT_EQ(Only(1).msgid, "a");
}

TEST_F(TossDurability, ALockThatIsLostDuringTheWaitKeepsTheSource) {
  LayInbound("a.pkt", Packet("a"));
  door_.BeforeNth(Call::kSyncFiles, 1, [this] { clock_.now += 26 * 60; });
  EXPECT_EQ(Run(1).back(), "ERROR: lost the run lock " + site_.LockFile() + "; stopping");
  EXPECT_TRUE(PathExists(site_.In("a.pkt")));
}

// A copy is synced before the next second's copy is written, or when its source ends.
TEST_F(TossDurability, CopiesOfBadPacketsAreWaitedForAtMostOnceASecond) {
  ZipEntryParts entry;
  entry.content = PacketHeaderBytes() + Word(2);
  const std::string bad = ZipEntryBytes(entry);
  LayInbound("a.su0", bad + bad + bad + bad);
  door_.BeforeNth(
      Call::kMakeDirectory, 3, [this] { ++clock_.now; }, "badmsgs");
  (void)Run(0);
  EXPECT_EQ(door_.Synced(), (Strings{"BAD_1763166684.PKT ", "BAD_1763166685.PKT "}));
}
