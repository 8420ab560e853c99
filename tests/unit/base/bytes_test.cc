#include "base/bytes.h"

#include <gtest/gtest.h>

#include "unit/support/test_files.h"

TEST(Bytes, IntegersAreLittleEndian) {
  const std::string bytes = FromHex("34 12 CD AB 78 56 34 12 FE FF FF FF");
  EXPECT_EQ(GetU16(BytesOf(bytes)), 0x1234);
  EXPECT_EQ(GetU16(BytesOf(bytes) + 2), 0xABCD);
  EXPECT_EQ(GetU32(BytesOf(bytes) + 4), 0x12345678U);
  EXPECT_EQ(GetU32(BytesOf(bytes) + 8), 0xFFFFFFFEU);
  EXPECT_EQ(GetI32(BytesOf(bytes) + 8), -2);
}

TEST(Bytes, WrittenIntegersAreLittleEndianAndStayInTheirWidth) {
  uint8_t bytes[10];
  memset(bytes, 0xEE, sizeof bytes);
  PutU16(bytes, 0x1234);
  EXPECT_EQ(ToHex(bytes, 3), "34 12 EE");
  PutU32(bytes, 0x89ABCDEF);
  EXPECT_EQ(ToHex(bytes, 5), "EF CD AB 89 EE");
  PutI32(bytes, -2);
  EXPECT_EQ(ToHex(bytes, 5), "FE FF FF FF EE");
  PutI32(bytes, INT32_MIN);
  EXPECT_EQ(ToHex(bytes, 4), "00 00 00 80");
}

TEST(Bytes, IntegersNeedNoAlignment) {
  const std::string bytes = FromHex("00 78 56 34 12");
  EXPECT_EQ(GetU32(BytesOf(bytes) + 1), 0x12345678U);
  EXPECT_EQ(GetU16(BytesOf(bytes) + 1), 0x5678);
}

TEST(CoversRecord, AcceptsFieldsWithoutGapOrOverlapOnly) {
  EXPECT_TRUE(CoversRecord({{0, 2}, {2, 4}}, 6));
  EXPECT_FALSE(CoversRecord({{0, 2}, {3, 4}}, 7));
  EXPECT_FALSE(CoversRecord({{0, 2}, {1, 4}}, 5));
  EXPECT_FALSE(CoversRecord({{0, 2}, {2, 4}}, 7));
  EXPECT_FALSE(CoversRecord({{0, 2}, {2, 4}}, 5));
  EXPECT_FALSE(CoversRecord({{1, 1}}, 2));
}

TEST(PrefixedText, IsReadByItsLengthByte) {
  const std::string record = FromHex("FF 03 41 42 43 44 45");
  char text[10];
  EXPECT_EQ(GetPrefixedText(BytesOf(record), {1, 6}, text, sizeof text), 3U);
  EXPECT_STREQ(text, "ABC");
}

TEST(PrefixedText, EmptyIsEmpty) {
  const std::string record = FromHex("00 41 42");
  char text[10] = "old";
  EXPECT_EQ(GetPrefixedText(BytesOf(record), {0, 3}, text, sizeof text), 0U);
  EXPECT_STREQ(text, "");
}

TEST(PrefixedText, ALengthByteBeyondTheFieldIsCapped) {
  const std::string exact = FromHex("02 41 42 58 58 58");
  const std::string above = FromHex("03 41 42 58 58 58");
  const std::string far = FromHex("FF 41 42 58 58 58");
  for (const std::string& record : {exact, above, far}) {
    char text[10];
    EXPECT_EQ(GetPrefixedText(BytesOf(record), {0, 3}, text, sizeof text), 2U);
    EXPECT_STREQ(text, "AB");
  }
}

TEST(PrefixedText, IsCutToTheReadersRoom) {
  const std::string record = FromHex("04 41 42 43 44");
  char text[4];
  EXPECT_EQ(GetPrefixedText(BytesOf(record), {0, 5}, text, sizeof text), 3U);
  EXPECT_STREQ(text, "ABC");
}

TEST(PrefixedText, ReadingKeepsNulBytesWithinTheLength) {
  const std::string record = FromHex("03 41 00 43 44");
  char text[10];
  EXPECT_EQ(GetPrefixedText(BytesOf(record), {0, 5}, text, sizeof text), 3U);
  EXPECT_EQ(std::string(text, 4), std::string("A\0C\0", 4));
}

TEST(PrefixedText, IsWrittenWithItsLengthAndLeavesTheRestZero) {
  uint8_t record[8] = {};
  PutPrefixedText(record, {1, 6}, "ABC");
  EXPECT_EQ(ToHex(record, sizeof record), "00 03 41 42 43 00 00 00");
}

TEST(PrefixedText, ALongerTextIsCutToTheFieldWhenWritten) {
  uint8_t exact[5] = {};
  PutPrefixedText(exact, {0, 4}, "ABC");
  EXPECT_EQ(ToHex(exact, sizeof exact), "03 41 42 43 00");
  uint8_t above[5] = {};
  PutPrefixedText(above, {0, 4}, "ABCD");
  EXPECT_EQ(ToHex(above, sizeof above), "03 41 42 43 00");
}
