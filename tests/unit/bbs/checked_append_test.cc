// What is stored: the bytes of the four files.
#include "bbs/checked_append.h"

#include "unit/bbs/append_fixture.h"

namespace {

using AppendStored = AppendFixture;
using AppendLimits = AppendFixture;

}  // namespace

TEST_F(AppendStored, ANewConferenceGetsFourFiles) {
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(TakeLines(),
            Strings{"  -> wrote conf 7 msg #1  From='Ann Author' To='Bob Reader' Subj='A subject' (1 records)"});
  const std::string ptr = ReadFile(base_.Path("PTR"));
  std::string expected;
  for (const char* hex : {"10 30 33 2F 30 37 2F 32 34 20 30 39 3A 30 35 70 6D 00",  // MsgDate
                          "0A 41 6E 6E 20 41 75 74 68 6F 72"}) {                    // From
    expected += FromHex(hex);
  }
  expected.resize(49, '\0');
  for (int copies = 0; copies < 2; ++copies) {
    expected += FromHex("0A 42 6F 62 20 52 65 61 64 65 72");  // To, ToCopy
    expected.resize(80 + copies * 31U, '\0');
  }
  expected += FromHex("09 41 20 73 75 62 6A 65 63 74");  // Subj
  expected.resize(152, '\0');
  expected += FromHex("00 01 00 00 01 00 00 01");  // NetMail MsgSent - IsReply IsRoot Private Deleted -
  expected += FromHex("00 00 01 00 07 00");        // Where Records ConfNumber
  expected += FromHex("01 00 00 00 01 00 00 00");  // MsgNumber ThreadRef
  expected.resize(215, '\0');
  expected += FromHex("07 32 32 39 2F 34 32 36");  // OrigNetNode
  expected.resize(256, '\0');
  EXPECT_EQ(ToHex(ptr), ToHex(expected));
  EXPECT_EQ(ToHex(ReadFile(base_.Path("IDX"))),
            ToHex(Long(CrcOf("Ann Author")) + Long(CrcOf("Bob Reader")) + FromHex("01 00 00 00 01 00 00 00")));
  EXPECT_EQ(ToHex(ReadFile(base_.Path("DAT"))), ToHex("\x06Hello\x01" + std::string(121, '\0')));
  EXPECT_EQ(ToHex(ReadFile(base_.Path("SIG"))), ToHex("1:2/3 0a1b\t1\n"));
}

TEST_F(AppendStored, AMessageGoesBehindTheOthers) {
  BaseMessage earlier;
  earlier.body = std::string(200, 'x');
  earlier.msgid = "1:2/3 old";
  earlier.number = 9;
  base_.Add(earlier);
  const auto before = base_.Bytes();
  EXPECT_EQ(Append(), 0);
  const auto after = base_.Bytes();
  for (const auto& [kind, bytes] : before) EXPECT_EQ(after.at(kind).substr(0, bytes.size()), bytes) << kind;
  const std::vector<BaseMessage> messages = base_.Read();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[1].number, 10);
  EXPECT_EQ(messages[1].where, 2);
  EXPECT_EQ(messages[1].msgid, "1:2/3 0a1b");
}

TEST_F(AppendStored, WithoutAMsgidTheSigFileIsNotTouched) {
  message_.msgid = "";
  EXPECT_EQ(Append(), 0);
  EXPECT_FALSE(PathExists(base_.Path("SIG")));
  EXPECT_EQ(door_.Count(Call::kAny, ".SIG"), 0);
}

TEST_F(AppendStored, TheLongestMsgidGetsItsWholeLine) {
  const std::string longest(127, 'm');
  message_.msgid = longest.c_str();
  message_.highest = 2147483646;
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(ReadFile(base_.Path("SIG")), longest + "\t2147483647\n");
}

TEST_F(AppendStored, FilesAreOpenedWrittenAndClosedInOrder) {
  base_.Add({});
  WriteFile(base_.Path("SIG"), "");
  Strings order;
  for (const char* kind : {".DAT", ".IDX", ".PTR", ".SIG"}) {
    const auto note = [&](Call call, const char* step) {
      door_.BeforeNth(
          call, 1, [&order, kind, step] { order.push_back(step + std::string(kind)); }, kind);
    };
    note(Call::kOpen, "open");
    note(Call::kWriteAt, "write");
    note(Call::kClose, "close");
  }
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(order, (Strings{"open.DAT", "open.IDX", "open.PTR", "open.SIG", "write.DAT", "write.IDX", "write.PTR",
                            "write.SIG", "close.DAT", "close.IDX", "close.PTR", "close.SIG"}));
}

// Limits.

TEST_F(AppendLimits, OneRecordMoreIsRefused) {
  LayFullDat(65535);
  SetBody(std::string(128, 'x'));
  ExpectUntouched(kBeyondRange);
}

TEST_F(AppendLimits, TheRangeIsCheckedBeforeTheNumber) {
  LayFullDat(65536);
  message_.highest = 2147483647;
  ExpectUntouched(kBeyondRange);
}

TEST_F(AppendLimits, ABodyThatHasNoPlaceIsRefusedWithoutAskingForMemory) {
  if (sizeof(size_t) < 8) GTEST_SKIP() << "no such body fits the memory of a 32-bit process";
  message_.body_size = static_cast<size_t>(4294967170);
  ExpectUntouched(kNoMemory);
  message_.body_size = static_cast<size_t>(4294967169);
  ExpectUntouched(kBeyondRange);
  EXPECT_EQ(door_.Count(Call::kReallocate) + door_.Count(Call::kAllocate), 0);
}
