#include "scan/export_commit.h"

#include "base/fixed_text.h"
#include "unit/support/site_fixture.h"

namespace {

class ExportCommit : public SiteFixture {
 protected:
  // Adds an unsent message to the conference's base and to the queue.
  void AddExport(int conference, int32_t number, int64_t ordinal = 0) {
    BaseMessage message;
    message.number = number;
    message.sent = false;
    site_.Base(conference).Add(message);
    ExportRecord record = {};
    CopyCut(record.ptr.text, site_.Base(conference).Path("PTR").c_str());
    record.ordinal = ordinal;
    record.conference = conference;
    record.msg_number = number;
    CopyCut(record.msgid, Msgid(number).c_str());
    ASSERT_EQ(QueueExport(record, &queue_), 0);
  }

  static std::string Msgid(int32_t number) { return "1:229/426 0000000" + std::to_string(number); }
  static std::string SigLine(int32_t number) { return Msgid(number) + "\t" + std::to_string(number) + "\r\n"; }

  int Commit() { return Commit(queue_); }
  int Commit(const ExportQueue& queue) { return CommitExports({&site_.config, site_.config.MsgDir, &no_lock_}, queue); }

  // What is left of one message whose commit met the fault: its SIG file as it was, unsent, and that line.
  void ExpectUnsent(const Fault& fault, const std::string& line) {
    for (const std::string& old : {std::string(), std::string("1:2/3 old\t9\n")}) {
      if (!old.empty()) WriteFile(sig_, old);
      door_.Clear();
      door_.Fail(fault);
      EXPECT_EQ(Commit(), -1);
      EXPECT_TRUE(door_.HasStruck());
      EXPECT_EQ(TakeLines(), Strings{line});
      EXPECT_EQ(PathExists(sig_), !old.empty());
      if (!old.empty()) {
        EXPECT_EQ(ReadFile(sig_), old);
      }
      EXPECT_EQ(SentByte(), '\0');
      RemoveFile(sig_);
    }
  }

  static Fault Failing(Call call, const std::string& path_end, int nth = 1) {
    Fault fault;
    fault.call = call;
    fault.path_end = path_end;
    fault.nth = nth;
    return fault;
  }

  char SentByte(int conference = 1, size_t ordinal = 0) const {
    return ReadFile(site_.Base(conference).Path("PTR")).at(ordinal * 256 + 153);
  }

  // Lets marking fail for good: the first opening of the PTR file is that for the update, the second that for the look.
  void FailMarking() { door_.FailNth(Call::kOpen, 1, ".PTR"); }

  const std::string sig_ = site_.Base(1).Path("SIG");
  ExportQueue queue_;
};

constexpr char kNotInspected[] =
    "ERROR: bundle exists, but could not inspect SIG state for conf 1 msg #5; leaving it unsent for safe retry";
constexpr char kNotAppended[] =
    "ERROR: bundle exists, but could not append SIG for conf 1 msg #5; leaving it unsent for safe retry";
constexpr char kVerified[] =
    "WARNING: mark-sent reported an error for conf 1 msg #5, but verification confirms MsgSent=1; keeping its SIG entry";
constexpr char kRolledBack[] =
    "ERROR: bundle exists, but could not mark conf 1 msg #5 sent; its SIG append was rolled back and it remains safe to retry";
constexpr char kCritical[] =
    "CRITICAL: could not mark conf 1 msg #5 sent and could not remove its newly-added SIG entry; manual review required";

}  // namespace

TEST_F(ExportCommit, AnEmptyQueueIsCommitted) {
  const auto before = site_.Files();
  EXPECT_EQ(Commit(), 0);
  EXPECT_EQ(site_.Files(), before);
}

TEST_F(ExportCommit, EachMessageGetsALineAndOneByteOfItsHeaderChanges) {
  AddExport(1, 5, 0);
  AddExport(1, 6, 1);
  AddExport(2, 7, 0);
  auto expected = site_.Files();
  expected["msg/CVMSG01.PTR"][153] = '\1';
  expected["msg/CVMSG01.PTR"][256 + 153] = '\1';
  expected["msg/CVMSG02.PTR"][153] = '\1';
  expected["msg/CVMSG01.SIG"] = SigLine(5) + SigLine(6);
  expected["msg/CVMSG02.SIG"] = SigLine(7);
  EXPECT_EQ(Commit(), 0);
  EXPECT_EQ(TakeLines(), Strings{});
  EXPECT_EQ(site_.Files(), expected);
}

TEST_F(ExportCommit, TheLineIsThereBeforeTheByteIsSet) {
  AddExport(1, 5);
  std::string sig;
  door_.BeforeNth(
      Call::kWriteAt, 1, [&] { sig = ReadFile(sig_); }, ".PTR");
  EXPECT_EQ(Commit(), 0);
  EXPECT_EQ(sig, SigLine(5));
}

TEST_F(ExportCommit, ASigFileThatCannotBeInspectedStays) {
  AddExport(1, 5);
  ExpectUnsent(Failing(Call::kStat, ".SIG"), kNotInspected);
}

TEST_F(ExportCommit, ASigFileOf2GigabytesCannotBeInspected) {
  AddExport(1, 5);
  OsTable& table = OsInForce();
  const OsTable before = table;
  for (const int64_t size : {int64_t{2147483648}, int64_t{-1}}) {
    static int64_t told;
    told = size;
    table.Stat = [](const OsPlace&, OsStatus* status) {
      status->kind = kOsRegularFile;
      status->size = told;
      return kOsOk;
    };
    EXPECT_EQ(Commit(), -1);
    EXPECT_EQ(TakeLines(), Strings{kNotInspected});
  }
  table = before;
  EXPECT_EQ(SentByte(), '\0');
  EXPECT_FALSE(PathExists(sig_));
}

TEST_F(ExportCommit, ALineThatCannotBeAppendedLeavesTheMessageUnsent) {
  AddExport(1, 5);
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    RemoveFile(sig_);
    door_.Clear();
    door_.FailNth(call, 1, ".SIG");
    EXPECT_EQ(Commit(), -1);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(TakeLines(), Strings{kNotAppended});
    EXPECT_EQ(SentByte(), '\0');
  }
}

TEST_F(ExportCommit, APartOfALineIsNotTakenBack) {
  AddExport(1, 5);
  Fault cut = Failing(Call::kWrite, ".SIG");
  cut.is_short = cut.for_good = true;
  door_.Fail(cut);
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kNotAppended});
  const std::string left = ReadFile(sig_);
  EXPECT_LT(left.size(), SigLine(5).size());
  EXPECT_EQ(left, SigLine(5).substr(0, left.size()));
}

TEST_F(ExportCommit, WhenMarkingFailsBeforeTheByteIsSetTheLineIsRemoved) {
  AddExport(1, 5);
  ExpectUnsent(Failing(Call::kOpen, ".PTR"), kRolledBack);
  ExpectUnsent(Failing(Call::kWriteAt, ".PTR"), kRolledBack);
}

TEST_F(ExportCommit, ASigFileOf120BytesIs120BytesLongAgain) {
  AddExport(1, 5);
  const std::string old = std::string(117, 'm') + "\t9\n";
  ASSERT_EQ(old.size(), 120U);
  WriteFile(sig_, old);
  FailMarking();
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kRolledBack});
  EXPECT_EQ(ReadFile(sig_), old);
}

TEST_F(ExportCommit, AnEmptySigFileIsEmptyAgainAndNotRemoved) {
  AddExport(1, 5);
  WriteFile(sig_, "");
  FailMarking();
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kRolledBack});
  ASSERT_TRUE(PathExists(sig_));
  EXPECT_EQ(ReadFile(sig_), "");
}

TEST_F(ExportCommit, AByteThatIsSetAfterAllCounts) {
  AddExport(1, 5);
  door_.FailNth(Call::kClose, 1, ".PTR");
  EXPECT_EQ(Commit(), 0);
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(TakeLines(), Strings{kVerified});
  EXPECT_EQ(SentByte(), '\1');
  EXPECT_EQ(ReadFile(sig_), SigLine(5));
}

TEST_F(ExportCommit, AnyByteButZeroMeansSent) {
  AddExport(1, 5);
  std::string ptr = ReadFile(site_.Base(1).Path("PTR"));
  ptr[153] = '\x80';
  FailMarking();
  door_.BeforeNth(
      Call::kOpen, 2, [&] { WriteFile(site_.Base(1).Path("PTR"), ptr); }, ".PTR");
  EXPECT_EQ(Commit(), 0);
  EXPECT_EQ(TakeLines(), Strings{kVerified});
}

TEST_F(ExportCommit, WhenTheByteCannotBeReadTheLineIsTakenBack) {
  AddExport(1, 5);
  for (const Call call : {Call::kOpen, Call::kReadAt}) {
    door_.Clear();
    FailMarking();
    door_.FailNth(call, call == Call::kOpen ? 2 : 1, ".PTR");
    EXPECT_EQ(Commit(), -1);
    EXPECT_EQ(TakeLines(), Strings{kRolledBack});
    EXPECT_FALSE(PathExists(sig_));
  }
}

TEST_F(ExportCommit, AHeaderThatIsGoneIsNotMarkedSent) {
  AddExport(1, 5);
  RemoveFile(site_.Base(1).Path("PTR"));
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kRolledBack});
  EXPECT_FALSE(PathExists(site_.Base(1).Path("PTR")));
  EXPECT_FALSE(PathExists(sig_));
}

TEST_F(ExportCommit, ALineThatCannotBeTakenBackIsCritical) {
  AddExport(1, 5);
  // A file that was not there: it is removed, and then looked for.
  struct Step {
    Call call;
    int nth;
  };
  for (const Step step : {Step{Call::kRemove, 1}, {Call::kStat, 2}}) {
    RemoveFile(sig_);
    door_.Clear();
    FailMarking();
    door_.FailNth(step.call, step.nth, ".SIG");
    EXPECT_EQ(Commit(), -1);
    EXPECT_EQ(TakeLines(), Strings{kCritical});
    EXPECT_EQ(SentByte(), '\0');
  }
  // A file that was there: it is opened once more, cut, closed, and looked at.
  for (const Step step : {Step{Call::kOpen, 2}, {Call::kSetSize, 1}, {Call::kClose, 2}, {Call::kStat, 2}}) {
    WriteFile(sig_, "1:2/3 old\t9\n");
    door_.Clear();
    FailMarking();
    door_.FailNth(step.call, step.nth, ".SIG");
    EXPECT_EQ(Commit(), -1);
    EXPECT_EQ(TakeLines(), Strings{kCritical});
    EXPECT_EQ(SentByte(), '\0');
  }
}

TEST_F(ExportCommit, ARollbackThatDoesNotHoldIsCritical) {
  AddExport(1, 5);
  WriteFile(sig_, "1:2/3 old\t9\n");
  FailMarking();
  door_.BeforeNth(
      Call::kStat, 2, [this] { WriteFile(sig_, "longer or shorter"); }, ".SIG");
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kCritical});
}

TEST_F(ExportCommit, AFailureDoesNotPreventTheOthers) {
  AddExport(1, 5, 0);
  AddExport(2, 6, 0);
  AddExport(1, 7, 1);
  FailMarking();
  EXPECT_EQ(Commit(), -1);
  EXPECT_EQ(TakeLines(), Strings{kRolledBack});
  EXPECT_EQ(SentByte(1, 0), '\0');
  EXPECT_EQ(SentByte(2, 0), '\1');
  EXPECT_EQ(SentByte(1, 1), '\1');
  EXPECT_EQ(ReadFile(sig_), SigLine(7));
}

TEST_F(ExportCommit, EveryMessageOfAPtrFileThatCannotBeWrittenIsTakenBack) {
  AddExport(1, 5, 0);
  AddExport(1, 6, 1);
  AddExport(2, 7, 0);
  door_.FailFrom(Call::kWriteAt, 1, "CVMSG01.PTR");
  EXPECT_EQ(Commit(), -1);
  std::string second = kRolledBack;
  second.replace(second.find("#5"), 2, "#6");
  EXPECT_EQ(TakeLines(), (Strings{kRolledBack, second}));
  EXPECT_FALSE(PathExists(sig_));
  EXPECT_EQ(SentByte(2), '\1');
}

TEST_F(ExportCommit, AMessageWithoutMsgidIsMarkedWithoutALine) {
  AddExport(1, 5);
  ExportRecord record = GetExport(queue_, 0);
  record.msgid[0] = '\0';
  ExportQueue queue;
  ASSERT_EQ(QueueExport(record, &queue), 0);
  EXPECT_EQ(Commit(queue), 0);
  EXPECT_EQ(ReadFile(sig_), "");
  EXPECT_EQ(SentByte(), '\1');
}

TEST_F(ExportCommit, AHeaderBeyond2GigabytesIsFoundByItsPlace) {
  AddExport(1, 5, 8388608);  // times 256
  int64_t at = -1;
  static int64_t* seen;
  seen = &at;
  OsTable& table = OsInForce();
  const OsTable before = table;
  table.WriteAt = [](intptr_t, int64_t where, const void*, size_t size) {
    *seen = where;
    return static_cast<int64_t>(size);
  };
  EXPECT_EQ(Commit(), 0);
  table = before;
  EXPECT_EQ(at, 2147483648LL + 153);
}
