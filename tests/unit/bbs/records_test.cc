#include "bbs/records.h"

#include <gtest/gtest.h>

#include "base/fixed_text.h"
#include "unit/support/test_files.h"

namespace {

PtrRecord EveryField() {
  PtrRecord record;
  CopyCut(record.MsgDate, "03/07/24 09:05pm");
  CopyCut(record.From, "A");
  CopyCut(record.To, "BC");
  CopyCut(record.ToCopy, "DEF");
  CopyCut(record.Subj, "Re");
  CopyCut(record.OrigNetNode, "229/426");
  record.NetMail = true;
  record.Private = true;
  record.IsRoot = true;
  record.Where = 0x1A0D;
  record.Records = 0x0A0B;
  record.ConfNumber = 0xC8;
  record.MsgNumber = 0x7FFFFFFE;
  record.ThreadRef = -2;
  return record;
}

std::string Padded(const char* hex, size_t width) {
  std::string bytes = FromHex(hex);
  bytes.resize(width, '\0');
  return bytes;
}

std::string EveryFieldBytes() {
  return Padded("10 30 33 2F 30 37 2F 32 34 20 30 39 3A 30 35 70 6D", 18) +  // MsgDate
         Padded("01 41", 31) +                                               // From
         Padded("02 42 43", 31) +                                            // To
         Padded("03 44 45 46", 31) +                                         // ToCopy
         Padded("02 52 65", 41) +                                            // Subj
         FromHex("01 00 00 00 01 01 00 01") +     // NetMail MsgSent 154 IsReply IsRoot Private Deleted 159
         FromHex("0D 1A  0B 0A  C8 00") +         // Where Records ConfNumber
         FromHex("FE FF FF 7F  FE FF FF FF") +    // MsgNumber ThreadRef
         Padded("", 41) +                         // 174
         Padded("07 32 32 39 2F 34 32 36", 17) +  // OrigNetNode
         Padded("", 24);                          // 232
}

std::string Packed(const PtrRecord& record) {
  std::string bytes(kPtrRecordSize, '\xEE');
  PackPtrRecord(record, reinterpret_cast<uint8_t*>(bytes.data()));
  return bytes;
}

}  // namespace

TEST(PtrRecordBytes, EveryFieldIsAtItsOffset) {
  const std::string bytes = Packed(EveryField());
  ASSERT_EQ(EveryFieldBytes().size(), 256U);
  EXPECT_EQ(ToHex(bytes), ToHex(EveryFieldBytes()));
}

TEST(PtrRecordBytes, EachFlagIsOneByte) {
  struct Case {
    bool PtrRecord::*flag;
    size_t at;
  };
  for (const Case& c :
       {Case{&PtrRecord::NetMail, 152}, Case{&PtrRecord::MsgSent, 153}, Case{&PtrRecord::IsReply, 155},
        Case{&PtrRecord::IsRoot, 156}, Case{&PtrRecord::Private, 157}, Case{&PtrRecord::Deleted, 158}}) {
    PtrRecord record;
    record.*c.flag = true;
    std::string expected(256, '\0');
    expected[c.at] = 1;
    expected[159] = 1;
    EXPECT_EQ(ToHex(Packed(record)), ToHex(expected)) << c.at;
    for (const char value : {'\x01', '\x02', '\xFF'}) {
      expected[c.at] = value;
      EXPECT_TRUE(UnpackPtrRecord(BytesOf(expected)).*c.flag) << c.at;
    }
  }
}

TEST(PtrRecordBytes, WhatIsPackedIsUnpacked) {
  const PtrRecord record = UnpackPtrRecord(BytesOf(EveryFieldBytes()));
  EXPECT_STREQ(record.MsgDate, "03/07/24 09:05pm");
  EXPECT_STREQ(record.From, "A");
  EXPECT_STREQ(record.To, "BC");
  EXPECT_STREQ(record.ToCopy, "DEF");
  EXPECT_STREQ(record.Subj, "Re");
  EXPECT_STREQ(record.OrigNetNode, "229/426");
  EXPECT_TRUE(record.NetMail && record.Private && record.IsRoot);
  EXPECT_FALSE(record.MsgSent || record.IsReply || record.Deleted);
  EXPECT_EQ(record.Where, 0x1A0D);
  EXPECT_EQ(record.Records, 0x0A0B);
  EXPECT_EQ(record.ConfNumber, 0xC8);
  EXPECT_EQ(record.MsgNumber, 0x7FFFFFFE);
  EXPECT_EQ(record.ThreadRef, -2);
}

TEST(PtrRecordBytes, ALengthByteBeyondItsFieldIsCapped) {
  std::string bytes(256, 'x');
  for (const size_t at : {0U, 18U, 49U, 80U, 111U, 215U}) bytes[at] = '\xFF';
  const PtrRecord record = UnpackPtrRecord(BytesOf(bytes));
  EXPECT_EQ(std::string(record.MsgDate), std::string(17, 'x'));
  EXPECT_EQ(std::string(record.From), std::string(30, 'x'));
  EXPECT_EQ(std::string(record.To), std::string(30, 'x'));
  EXPECT_EQ(std::string(record.ToCopy), std::string(30, 'x'));
  EXPECT_EQ(std::string(record.Subj), std::string(40, 'x'));
  EXPECT_EQ(std::string(record.OrigNetNode), std::string(16, 'x'));
}

TEST(PtrRecordBytes, TheVitalsAreThoseOfTheHeader) {
  std::string bytes = EveryFieldBytes();
  PtrVitals vitals = UnpackPtrVitals(BytesOf(bytes));
  EXPECT_FALSE(vitals.Deleted);
  EXPECT_EQ(vitals.Where, 0x1A0D);
  EXPECT_EQ(vitals.Records, 0x0A0B);
  EXPECT_EQ(vitals.MsgNumber, 0x7FFFFFFE);
  bytes[158] = 4;
  vitals = UnpackPtrVitals(BytesOf(bytes));
  EXPECT_TRUE(vitals.Deleted);
}

TEST(IdxRecordBytes, EveryFieldIsAtItsOffset) {
  uint8_t bytes[kIdxRecordSize];
  PackIdxRecord({0x04030201, 0x0D0A1AFF, 0x0C0B0A09, -1}, bytes);
  EXPECT_EQ(ToHex(bytes, sizeof bytes), "01 02 03 04 FF 1A 0A 0D 09 0A 0B 0C FF FF FF FF");
}

TEST(DatRecordBytes, HoldTheLengthTheTextAndZeros) {
  for (const size_t size : {0U, 1U, 126U, 127U}) {
    std::string bytes(kDatRecordSize, '\xEE');
    PackDatRecord(BytesOf(std::string(size, '\x1A')), size, reinterpret_cast<uint8_t*>(bytes.data()));
    EXPECT_EQ(ToHex(bytes), ToHex(std::string(1, static_cast<char>(size)) + std::string(size, '\x1A') +
                                  std::string(127 - size, '\0')));
  }
}

TEST(DatRecordBytes, AnEmptyTextMayBeNoTextAtAll) {
  std::string bytes(kDatRecordSize, '\xEE');
  PackDatRecord(nullptr, 0, reinterpret_cast<uint8_t*>(bytes.data()));
  EXPECT_EQ(bytes, std::string(kDatRecordSize, '\0'));
}
