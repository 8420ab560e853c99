#include "base/scan_number.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

struct Scanned {
  std::optional<int32_t> value;
  std::string rest;
  bool operator==(const Scanned&) const = default;
};

Scanned Scan(const char* text) {
  int32_t value = 0;
  if (!ScanInt32(&text, &value)) return {};
  return {value, text};
}

std::optional<uint32_t> ScanUnsigned(const char* text) {
  uint32_t value = 0;
  return ScanUint32(&text, &value) == kNumberFits ? std::optional(value) : std::nullopt;
}

}  // namespace

TEST(WhiteSpace, IsWhatFormattedInputSkips) {
  for (int c = 0; c < 256; ++c) {
    const bool expected = c == 0x20 || c == 0x09 || c == 0x0A || c == 0x0B || c == 0x0C || c == 0x0D;
    EXPECT_EQ(IsWhiteSpace(static_cast<char>(c)), expected) << c;
  }
  const char* text = " \t\r\n\v\fx y";
  SkipWhiteSpace(&text);
  EXPECT_STREQ(text, "x y");
  text = " ";
  SkipWhiteSpace(&text);
  EXPECT_STREQ(text, "");
}

TEST(ScanInt32, StopsBehindTheLastDigit) {
  EXPECT_EQ(Scan("250/1"), (Scanned{250, "/1"}));
  EXPECT_EQ(Scan("0007x"), (Scanned{7, "x"}));
  EXPECT_EQ(Scan("0x10"), (Scanned{0, "x10"}));
}

TEST(ScanInt32, TakesWhiteSpaceAndASignBeforeTheDigits) {
  EXPECT_EQ(Scan(" \t\n12"), (Scanned{12, ""}));
  EXPECT_EQ(Scan("+12"), (Scanned{12, ""}));
  EXPECT_EQ(Scan(" -12"), (Scanned{-12, ""}));
}

TEST(ScanInt32, NeedsADigit) {
  for (const char* text : {"", " ", "x1", "-", "+", "- 1", "+-1", "--1", ".5"})
    EXPECT_EQ(Scan(text), Scanned{}) << text;
}

TEST(ScanInt32, ClampsAtBothEndsOfItsRange) {
  EXPECT_EQ(Scan("2147483647;"), (Scanned{2147483647, ";"}));
  EXPECT_EQ(Scan("2147483648;"), (Scanned{2147483647, ";"}));
  EXPECT_EQ(Scan("99999999999999999999;"), (Scanned{2147483647, ";"}));
  EXPECT_EQ(Scan("-2147483648;"), (Scanned{INT32_MIN, ";"}));
  EXPECT_EQ(Scan("-2147483649;"), (Scanned{INT32_MIN, ";"}));
  EXPECT_EQ(Scan("-99999999999999999999;"), (Scanned{INT32_MIN, ";"}));
  EXPECT_EQ(Scan("+2147483648;"), (Scanned{2147483647, ";"}));
}

TEST(ScanUint32, ReadsTheWholeRange) {
  EXPECT_EQ(ScanUnsigned("0"), 0U);
  EXPECT_EQ(ScanUnsigned(" 4294967295\n"), 4294967295U);
  EXPECT_EQ(ScanUnsigned("+7"), 7U);
}

TEST(ScanUint32, ReportsANumberBeyondTheRange) {
  for (const char* text : {"4294967296", "99999999999999999999", "-4294967296"}) {
    uint32_t value = 0;
    const char* at = text;
    EXPECT_EQ(ScanUint32(&at, &value), kNumberTooLarge) << text;
    EXPECT_STREQ(at, "");
  }
}

TEST(ScanUint32, AMinusSignCountsDownFromTwoToThe32) {
  EXPECT_EQ(ScanUnsigned("-1"), 4294967295U);
  EXPECT_EQ(ScanUnsigned("-4294967295"), 1U);
  EXPECT_EQ(ScanUnsigned("-0"), 0U);
}

TEST(ScanUint32, NeedsADigit) {
  for (const char* text : {"", " ", "x", "-", "+"}) EXPECT_EQ(ScanUnsigned(text), std::nullopt) << text;
}

TEST(ScanUint32, StopsBehindTheLastDigit) {
  const char* text = "12 34";
  uint32_t value = 0;
  ASSERT_EQ(ScanUint32(&text, &value), kNumberFits);
  EXPECT_STREQ(text, " 34");
}

TEST(LeadingInt32, IsZeroWithoutANumber) {
  EXPECT_EQ(LeadingInt32(""), 0);
  EXPECT_EQ(LeadingInt32("abc"), 0);
  EXPECT_EQ(LeadingInt32("-"), 0);
}

TEST(LeadingInt32, IgnoresWhatFollowsAndClamps) {
  EXPECT_EQ(LeadingInt32("17|MSGID"), 17);
  EXPECT_EQ(LeadingInt32(" -3 x"), -3);
  EXPECT_EQ(LeadingInt32("2147483648"), 2147483647);
}
