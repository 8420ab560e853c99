// What is stored: the bytes of the four files.
#include "bbs/checked_append.h"

#include <algorithm>
#include <cstring>

#include "unit/bbs/append_fixture.h"

namespace {

using AppendStored = AppendFixture;
using AppendLimits = AppendFixture;

// The one message of a conference that was empty before.
std::string OnlyHeader(const TestMessageBase& base) {
  std::string ptr = ReadFile(base.Path("PTR"));
  EXPECT_EQ(ptr.size(), 256U);
  ptr.resize(256, '\0');
  return ptr;
}

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

TEST_F(AppendStored, BodiesFillTheirRecords) {
  for (const size_t size : {0U, 1U, 126U, 127U, 128U, 253U, 254U, 255U, 1270U, 1271U}) {
    const TestMessageBase base = site_.Base(static_cast<int>(size));
    std::string body;
    for (size_t i = 0; i < size; ++i) body.push_back(static_cast<char>(i % 251));
    SetBody(body);
    EXPECT_EQ(AppendTo(static_cast<int32_t>(size)), 0);
    const size_t records = size == 0 ? 1 : (size + 126) / 127;
    EXPECT_EQ(ToHex(ReadFile(base.Path("DAT"))), ToHex(DatBytes(body))) << size;
    EXPECT_EQ(base.Read().at(0).records, records) << size;
    EXPECT_EQ(TakeLines().at(0), "  -> wrote conf " + std::to_string(size) +
                                     " msg #1  From='Ann Author' To='Bob Reader' Subj='A subject' (" +
                                     std::to_string(records) + " records)");
  }
}

TEST_F(AppendStored, LongTextsAreCutInTheHeaderButNotInTheChecksumsAndTheLog) {
  const std::string from = std::string(30, 'f') + std::string(33, 'F');
  const std::string to = std::string(30, 't') + std::string(33, 'T');
  const std::string subject = std::string(40, 's') + std::string(87, 'S');
  message_.from = from.c_str();
  message_.to = to.c_str();
  message_.subject = subject.c_str();
  message_.date = "123456789012345678";
  message_.origin = "12345678901234567";
  EXPECT_EQ(Append(), 0);
  const std::string ptr = OnlyHeader(base_);
  EXPECT_EQ(ptr.substr(0, 18),
            "\x11"
            "12345678901234567");
  EXPECT_EQ(ptr.substr(18, 31), "\x1E" + from.substr(0, 30));
  EXPECT_EQ(ptr.substr(49, 31), "\x1E" + to.substr(0, 30));
  EXPECT_EQ(ptr.substr(80, 31), "\x1E" + to.substr(0, 30));
  EXPECT_EQ(ptr.substr(111, 41), "\x28" + subject.substr(0, 40));
  EXPECT_EQ(ptr.substr(215, 17),
            "\x10"
            "1234567890123456");
  EXPECT_EQ(ReadFile(base_.Path("IDX")).substr(0, 8), Long(CrcOf(from)) + Long(CrcOf(to)));
  EXPECT_EQ(TakeLines(), Strings{"  -> wrote conf 7 msg #1  From='" + from + "' To='" + to + "' Subj='" + subject +
                                 "' (1 records)"});
}

TEST_F(AppendStored, TextsThatJustFillTheirFieldsAreKeptWhole) {
  const std::string name(30, 'n');
  const std::string subject(40, 's');
  message_.from = message_.to = name.c_str();
  message_.subject = subject.c_str();
  message_.date = "12345678901234567";
  message_.origin = "1234567890123456";
  EXPECT_EQ(Append(), 0);
  const BaseMessage stored = base_.Read().at(0);
  EXPECT_EQ(stored.from, name);
  EXPECT_EQ(stored.to, name);
  EXPECT_EQ(stored.subject, subject);
  EXPECT_EQ(stored.date, message_.date);
  EXPECT_EQ(stored.origin, message_.origin);
}

TEST_F(AppendStored, EmptyTextsAreEmptyFields) {
  message_ = {};
  EXPECT_EQ(Append(), 0);
  std::string expected(256, '\0');
  expected[153] = expected[156] = expected[159] = 1;
  expected.replace(162, 12, FromHex("01 00 07 00 01 00 00 00 01 00 00 00"));
  EXPECT_EQ(ToHex(OnlyHeader(base_)), ToHex(expected));
  EXPECT_EQ(ToHex(ReadFile(base_.Path("IDX"))), "00 00 00 00 00 00 00 00 01 00 00 00 01 00 00 00");
}

TEST_F(AppendStored, OnlyBit0OfTheAttributeMakesAMessagePrivate) {
  struct Case {
    uint16_t attribute;
    char value;
  };
  int conference = 20;
  for (const Case& c : {Case{0, 0}, Case{1, 1}, Case{0xFFFE, 0}, Case{0xFFFF, 1}, Case{0x0100, 0}}) {
    message_.attribute = c.attribute;
    EXPECT_EQ(AppendTo(++conference), 0);
    EXPECT_EQ(OnlyHeader(site_.Base(conference))[157], c.value) << c.attribute;
  }
}

TEST_F(AppendStored, NetmailIsMarked) {
  message_.netmail = true;
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(OnlyHeader(base_)[152], 1);
}

TEST_F(AppendStored, ConferenceNumbersTakeTwoBytes) {
  EXPECT_EQ(AppendTo(0x1A0D), 0);
  EXPECT_EQ(ToHex(OnlyHeader(site_.Base(0x1A0D)).substr(164, 2)), "0D 1A");
}

TEST_F(AppendStored, ALiveParentThreadsTheMessage) {
  struct Case {
    const char* why;
    int32_t highest;
    int32_t parent;
    bool live;
    bool threaded;
  };
  int conference = 20;
  for (const Case& c : {Case{"a live parent", 9, 3, true, true}, Case{"the lowest parent", 9, 1, true, true},
                        Case{"a dead parent", 9, 3, false, false}, Case{"no parent", 9, -1, false, false},
                        Case{"parent 0", 9, 0, true, false}, Case{"a negative parent", 9, -3, true, false},
                        Case{"its own number", 9, 10, true, false}, Case{"a later number", 9, 11, true, true}}) {
    message_.highest = c.highest;
    message_.parent = c.parent;
    message_.parent_live = c.live;
    EXPECT_EQ(AppendTo(++conference), 0);
    const std::string ptr = OnlyHeader(site_.Base(conference));
    const std::string reference = Long(static_cast<uint32_t>(c.threaded ? c.parent : 10));
    EXPECT_EQ(ToHex(ptr.substr(155, 2)), c.threaded ? "01 00" : "00 01") << c.why;
    EXPECT_EQ(ToHex(ptr.substr(166, 8)), ToHex(Long(10) + reference)) << c.why;
    EXPECT_EQ(ToHex(ReadFile(site_.Base(conference).Path("IDX")).substr(8)), ToHex(Long(10) + reference)) << c.why;
  }
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

TEST_F(AppendStored, FilesAreOpenedWrittenFlushedAndClosedInOrder) {
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
    note(Call::kFlush, "flush");
    note(Call::kClose, "close");
  }
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(order, (Strings{"open.DAT", "open.IDX", "open.PTR", "open.SIG", "write.DAT", "write.IDX", "write.PTR",
                            "write.SIG", "flush.DAT", "flush.IDX", "flush.PTR", "flush.SIG", "close.DAT", "close.IDX",
                            "close.PTR", "close.SIG"}));
}

// Limits.

TEST_F(AppendLimits, TheDatFileTakesAMessageThatEndsAtRecord65535) {
  LayFullDat(65535);
  SetBody(std::string(127, 'x'));
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(ReadFile(base_.Path("DAT")).size(), 65536U * 128U);
  EXPECT_EQ(ToHex(ReadFile(base_.Path("PTR")).substr(256 + 160, 4)), "FF FF 01 00");
}

TEST_F(AppendLimits, OneRecordMoreIsRefused) {
  LayFullDat(65535);
  SetBody(std::string(128, 'x'));
  ExpectUntouched(kBeyondRange);
}

TEST_F(AppendLimits, AFullDatFileTakesNothing) {
  LayFullDat(65536);
  SetBody("");
  ExpectUntouched(kBeyondRange);
}

TEST_F(AppendLimits, AMessageMayTake65535Records) {
  base_.Add({});
  SetBody(std::string(size_t{65535} * 127, 'x'));
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(ToHex(ReadFile(base_.Path("PTR")).substr(256 + 160, 4)), "01 00 FF FF");
  EXPECT_EQ(ReadFile(base_.Path("DAT")).size(), 65536U * 128U);
}

TEST_F(AppendLimits, ALongTextIsStoredWholeInHoweverManyWrites) {
  for (const size_t size : {1024 * 127 - 1, 1024 * 127, 1024 * 127 + 1, 2048 * 127 + 5}) {
    std::string body;
    for (size_t i = 0; i < size; ++i) body += static_cast<char>('A' + i * 31 / 127 % 53);
    SetBody(body);
    EXPECT_EQ(Append(), 0);
    EXPECT_EQ(base_.Read().back().body, body) << size;
  }
}

TEST_F(AppendLimits, AMessageOf65536RecordsIsRefused) {
  SetBody(std::string(size_t{65535} * 127 + 1, 'x'));
  ExpectUntouched(kBeyondRange);
}

TEST_F(AppendLimits, NumbersEndAt2147483647) {
  message_.highest = 2147483646;
  EXPECT_EQ(Append(), 0);
  EXPECT_EQ(base_.Read().at(0).number, 2147483647);
  (void)TakeLines();
  message_.highest = 2147483647;
  ExpectUntouched("ERROR: conf 7 has reached the signed 32-bit MsgNumber limit");
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
