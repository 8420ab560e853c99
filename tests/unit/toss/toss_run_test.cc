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

// What becomes of a file.

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
