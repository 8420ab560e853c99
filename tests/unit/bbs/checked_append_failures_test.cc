// What is left when an append fails: every line, and every file as it was.
#include "unit/bbs/append_fixture.h"

namespace {

constexpr char kNotOpened[] = "ERROR: could not open all conf 7 message-base files for a checked append";
constexpr char kNotPositioned[] = "ERROR: could not seek to append positions for conf 7";
constexpr char kTextNotWritten[] = "ERROR: DAT write failed while appending conf 7";
constexpr char kNotWritten[] = "ERROR: checked message-base append failed for conf 7";
constexpr char kRestored[] = "  conf 7 append failed; DAT/IDX/PTR/SIG restored to their original sizes";
constexpr char kCritical[] =
    "CRITICAL: conf 7 append failed and at least one rollback also failed; message base requires inspection";

// Each test runs over a conference that is new and over one that holds messages.
class AppendFailure : public AppendFixture, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (!GetParam()) return;
    BaseMessage earlier;
    earlier.msgid = "1:2/3 old";
    base_.Add(earlier);
    base_.Add(earlier);
  }

  // The append fails with those lines and gives everything back.
  void ExpectRolledBack(Strings lines) {
    const auto before = site_.Files();
    EXPECT_EQ(Append(), -1);
    EXPECT_TRUE(door_.HasStruck());
    lines.emplace_back(kRestored);
    EXPECT_EQ(TakeLines(), lines);
    EXPECT_EQ(site_.Files(), before);
    EXPECT_EQ(door_.OpenHandles(), 0);
    door_.Clear();
  }

  void FailWrite(const char* kind, OsResult answer) {
    Fault fault;
    fault.call = Call::kWriteAt;
    fault.path_end = kind;
    fault.answer = answer;
    door_.Fail(fault);
  }
};

constexpr const char* kKinds[] = {".DAT", ".IDX", ".PTR", ".SIG"};

}  // namespace

TEST_P(AppendFailure, ASigFileThatCannotBeInspected) {
  door_.FailNth(Call::kStat, 1, ".SIG");
  ExpectUntouched("ERROR: could not inspect SIG file for conf 7");
}

TEST_P(AppendFailure, ASigFileBeyond31BitsCannotBeInspected) {
  ResizeFile(base_.Path("SIG"), int64_t{1} << 31);
  const int opened = door_.Count(Call::kOpen);
  EXPECT_EQ(Append(), -1);
  EXPECT_EQ(TakeLines(), Strings{"ERROR: could not inspect SIG file for conf 7"});
  EXPECT_EQ(door_.Count(Call::kOpen), opened);
}

TEST_P(AppendFailure, NoMemoryForTheText) {
  door_.FailNth(Call::kReallocate, 1);
  ExpectUntouched(kNoMemory);
}

TEST_P(AppendFailure, AFileThatDoesNotOpen) {
  for (const char* kind : kKinds) {
    door_.FailNth(Call::kOpen, 1, kind);
    ExpectRolledBack({kNotOpened});
  }
}

TEST_P(AppendFailure, AFileThatCannotBeCreated) {
  RemoveFile(base_.Path("SIG"));
  for (const char* kind : kKinds) {
    if (PathExists(base_.Path(kind + 1))) continue;
    door_.FailNth(Call::kOpen, 2, kind);
    ExpectRolledBack({kNotOpened});
  }
}

TEST_P(AppendFailure, AFileWithoutPositions) {
  for (const char* kind : kKinds) {
    FailWrite(kind, kOsUnseekable);
    ExpectRolledBack({kNotPositioned});
  }
}

TEST_P(AppendFailure, AWriteThatFails) {
  for (const char* kind : kKinds) {
    FailWrite(kind, kOsFailed);
    ExpectRolledBack({kind == kKinds[0] ? kTextNotWritten : kNotWritten});
  }
}

TEST_P(AppendFailure, AWriteInTheMiddleOfALongText) {
  SetBody(std::string(size_t{2000} * 127, 'x'));
  door_.FailNth(Call::kWriteAt, 2, ".DAT");
  ExpectRolledBack({kTextNotWritten});
}

TEST_P(AppendFailure, AWriteThatStopsHalfway) {
  for (const char* kind : kKinds) {
    Fault fault;
    fault.call = Call::kWriteAt;
    fault.path_end = kind;
    fault.is_short = true;
    door_.Fail(fault);
    door_.FailNth(Call::kWriteAt, 2, kind);
    ExpectRolledBack({kind == kKinds[0] ? kTextNotWritten : kNotWritten});
  }
}

TEST_P(AppendFailure, AShortWriteIsContinued) {
  Fault fault;
  fault.call = Call::kWriteAt;
  fault.is_short = true;
  door_.Fail(fault);
  EXPECT_EQ(Append(), 0);
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(base_.Read().back().body, "Hello\x01");
}

TEST_P(AppendFailure, ACloseThatFailsHasNoLineOfItsOwn) {
  for (const char* kind : kKinds) {
    door_.FailNth(Call::kClose, 1, kind);
    ExpectRolledBack({});
  }
}

TEST_P(AppendFailure, EveryFileIsClosedBeforeAnythingIsTakenBack) {
  door_.FailNth(Call::kWriteAt, 1, ".SIG");
  const auto expect_closed = [&] { EXPECT_EQ(door_.OpenHandles(), 0); };
  bool taken_back = false;
  const auto note = [&] {
    expect_closed();
    taken_back = true;
  };
  if (GetParam()) {
    door_.BeforeNth(Call::kOpen, 2, note, ".DAT");  // the first is the append's own
  } else {
    door_.BeforeNth(Call::kRemove, 1, note, ".DAT");
  }
  ExpectRolledBack({kNotWritten});
  EXPECT_TRUE(taken_back);
}

TEST_P(AppendFailure, ARollbackThatFailsIsCriticalAndTakesTheOtherFilesBackAllTheSame) {
  for (const char* spoilt : kKinds) {
    const auto before = base_.Bytes();
    door_.FailNth(Call::kWriteAt, 1, ".SIG");
    door_.FailNth(GetParam() ? Call::kSetSize : Call::kRemove, 1, spoilt);
    EXPECT_EQ(Append(), -1);
    EXPECT_EQ(TakeLines(), (Strings{kNotWritten, kCritical}));
    door_.Clear();
    for (const char* kind : {"DAT", "IDX", "PTR", "SIG"}) {
      const std::string path = base_.Path(kind);
      if (std::string(".") + kind == spoilt) {
        EXPECT_TRUE(PathExists(path));
        if (GetParam()) WriteFile(path, before.at(kind));
        if (!GetParam()) RemoveFile(path);
      }
    }
    EXPECT_EQ(base_.Bytes(), before) << spoilt;
  }
}

TEST_P(AppendFailure, ARollbackThatCannotBeVerifiedIsCritical) {
  door_.FailNth(Call::kWriteAt, 1, ".SIG");
  door_.FailNth(Call::kStat, 1, ".PTR");
  EXPECT_EQ(Append(), -1);
  EXPECT_EQ(TakeLines(), (Strings{kNotWritten, kCritical}));
}

TEST_P(AppendFailure, WithoutAMsgidTheSigFileIsNotTakenBack) {
  message_.msgid = "";
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  ExpectRolledBack({kNotWritten});
  EXPECT_EQ(door_.Count(Call::kAny, ".SIG"), 0);
}

TEST_P(AppendFailure, TheNextAppendSucceeds) {
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  ExpectRolledBack({kNotWritten});
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(base_.Read().size(), GetParam() ? 3U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Conference, AppendFailure, testing::Bool(), [](const testing::TestParamInfo<bool>& existing) {
  return existing.param ? "WithMessages" : "New";
});
