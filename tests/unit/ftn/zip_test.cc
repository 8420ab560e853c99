#include "ftn/zip.h"

#include <gtest/gtest.h>

#include <cstring>

#include "unit/support/test_files.h"

namespace {

constexpr char kLocalHex[] =
    "50 4B 03 04 "  // signature
    "14 00 "        // version needed 2.0
    "08 00 "        // flags: data descriptor
    "08 00 "        // method: deflated
    "81 48 "        // time
    "25 5A "        // date
    "EF CD AB 89 "  // CRC-32
    "44 33 22 11 "  // compressed size
    "88 77 66 55 "  // uncompressed size
    "0C 01 "        // name length 268
    "1C 02";        // extra length 540

ZipLocalHeader StoredEntry() {
  ZipLocalHeader header;
  header.time = 0x4881;
  header.date = 0x5A25;
  header.crc = 0x89ABCDEF;
  header.compressed_size = 1000;
  header.uncompressed_size = 1000;
  header.name_length = 12;
  return header;
}

}  // namespace

TEST(ZipLocalHeader, IsKnownByAllFourBytesOfItsSignature) {
  EXPECT_TRUE(IsZipLocalHeader(BytesOf(FromHex("50 4B 03 04"))));
  EXPECT_FALSE(IsZipLocalHeader(BytesOf(FromHex("50 4B 01 02"))));
  EXPECT_FALSE(IsZipLocalHeader(BytesOf(FromHex("50 4B 05 06"))));
  EXPECT_FALSE(IsZipLocalHeader(BytesOf(FromHex("51 4B 03 04"))));
  EXPECT_FALSE(IsZipLocalHeader(BytesOf(FromHex("50 4B 03 05"))));
}

TEST(ZipLocalHeader, EveryFieldIsReadFromItsOffset) {
  const std::string bytes = FromHex(kLocalHex);
  ASSERT_EQ(bytes.size(), 30U);
  ASSERT_EQ(kZipLocalHeaderSize, 30U);
  const ZipLocalHeader header = UnpackZipLocalHeader(BytesOf(bytes));
  EXPECT_EQ(header.flags, kZipFlagDataDescriptor);
  EXPECT_EQ(header.method, kZipDeflated);
  EXPECT_EQ(header.time, 0x4881);
  EXPECT_EQ(header.date, 0x5A25);
  EXPECT_EQ(header.crc, 0x89ABCDEFU);
  EXPECT_EQ(header.compressed_size, 0x11223344U);
  EXPECT_EQ(header.uncompressed_size, 0x55667788U);
  EXPECT_EQ(header.name_length, 268);
  EXPECT_EQ(header.extra_length, 540);
}

TEST(ZipLocalHeader, IsWrittenForAStoredEntry) {
  uint8_t bytes[32];
  memset(bytes, 0xEE, sizeof bytes);
  PackZipLocalHeader(StoredEntry(), bytes);
  EXPECT_EQ(ToHex(bytes, sizeof bytes),
            "50 4B 03 04 14 00 00 00 00 00 81 48 25 5A EF CD AB 89 E8 03 00 00 E8 03 00 00 0C 00 00 00 EE EE");
}

TEST(ZipCentralHeader, IsWrittenForTheFirstEntryOfTheFile) {
  ASSERT_EQ(kZipCentralHeaderSize, 46U);
  uint8_t bytes[48];
  memset(bytes, 0xEE, sizeof bytes);
  PackZipCentralHeader(StoredEntry(), bytes);
  EXPECT_EQ(ToHex(bytes, sizeof bytes),
            "50 4B 01 02 14 00 14 00 00 00 00 00 81 48 25 5A EF CD AB 89 E8 03 00 00 E8 03 00 00 0C 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 EE EE");
}

TEST(ZipEndRecord, DescribesOneEntryAndItsDirectory) {
  ASSERT_EQ(kZipEndRecordSize, 22U);
  uint8_t bytes[24];
  memset(bytes, 0xEE, sizeof bytes);
  PackZipEndRecord(58, 1042, bytes);  // 46 bytes and a name of 12; behind 30 + 12 + 1000
  EXPECT_EQ(ToHex(bytes, sizeof bytes), "50 4B 05 06 00 00 00 00 01 00 01 00 3A 00 00 00 12 04 00 00 00 00 EE EE");
}

TEST(ZipDosTime, PacksHoursMinutesAndPairsOfSeconds) {
  OsCalendar when;
  EXPECT_EQ(ZipDosTime(when), 0);
  when.hour = 9;
  when.minute = 4;
  when.second = 3;
  EXPECT_EQ(ZipDosTime(when), 9 * 2048 + 4 * 32 + 1);
  when.hour = 23;
  when.minute = 59;
  when.second = 59;
  EXPECT_EQ(ZipDosTime(when), 0xBF7D);
}

TEST(ZipDosDate, CountsMonthsFromOneAndYearsFrom1980) {
  OsCalendar when;
  when.year = 1980;
  when.month = 0;
  when.day = 1;
  EXPECT_EQ(ZipDosDate(when), 0x0021);
  when.year = 2025;
  when.month = 10;
  when.day = 15;
  EXPECT_EQ(ZipDosDate(when), 45 * 512 + 11 * 32 + 15);
  when.year = 2107;
  when.month = 11;
  when.day = 31;
  EXPECT_EQ(ZipDosDate(when), 0xFF9F);
}
