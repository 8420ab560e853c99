#include "ftn/cp437.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "unit/support/test_files.h"

namespace {

// UTF-8 in, code page 437 out, both as hex. The text lies in memory of exactly its size.
std::string Convert(const char* hex) {
  const std::string from = FromHex(hex);
  std::vector<uint8_t> text(from.begin(), from.end());
  const size_t length = Utf8ToCp437(text.data(), text.size());
  EXPECT_LE(length, from.size());
  return ToHex(text.data(), length);
}

// The shortest UTF-8 form of a code point.
std::string Encode(uint32_t code_point) {
  std::string text;
  const auto add = [&](uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  const auto continuation = [&](int shift) { add(0x80U | ((code_point >> shift) & 0x3FU)); };
  if (code_point < 0x80) {
    add(code_point);
  } else if (code_point < 0x800) {
    add(0xC0U | (code_point >> 6));
    continuation(0);
  } else if (code_point < 0x10000) {
    add(0xE0U | (code_point >> 12));
    continuation(6);
    continuation(0);
  } else {
    add(0xF0U | (code_point >> 18));
    continuation(12);
    continuation(6);
    continuation(0);
  }
  return text;
}

const std::map<uint32_t, uint8_t> kRows = {
    {0x00A1, 0xAD}, {0x00BF, 0xA8}, {0x00C4, 0x8E}, {0x00C5, 0x8F}, {0x00C7, 0x80}, {0x00C9, 0x90},
    {0x00D1, 0xA5}, {0x00D6, 0x99}, {0x00DC, 0x9A},  //
    {0x00E0, 0x85}, {0x00E2, 0x83}, {0x00E4, 0x84}, {0x00E5, 0x86}, {0x00E7, 0x87}, {0x00E8, 0x8A},
    {0x00E9, 0x82}, {0x00EA, 0x88}, {0x00EB, 0x89},  //
    {0x00EC, 0x8D}, {0x00EE, 0x8C}, {0x00EF, 0x8B}, {0x00F1, 0xA4}, {0x00F2, 0x95}, {0x00F4, 0x93},
    {0x00F6, 0x94}, {0x00F9, 0x97}, {0x00FB, 0x96}, {0x00FC, 0x81}, {0x00FF, 0x98},
};

const std::map<uint32_t, uint8_t> kPunctuation = {
    {0x2013, '-'}, {0x2014, '-'}, {0x2018, 0x27}, {0x2019, 0x27}, {0x201C, 0x22}, {0x201D, 0x22}, {0x2026, '.'},
};

uint8_t Expected(uint32_t code_point) {
  if (code_point < 0x80) return static_cast<uint8_t>(code_point);
  if (const auto row = kRows.find(code_point); row != kRows.end()) return row->second;
  if (const auto row = kPunctuation.find(code_point); row != kPunctuation.end()) return row->second;
  return '?';
}

}  // namespace

TEST(Cp437, TwentyNineRowsAndTheSevenMarksAreMappedAndAllElseIsAQuestionMark) {
  ASSERT_EQ(kRows.size(), 29U);
  for (uint32_t code_point = 0; code_point <= 0x2FFF; ++code_point) {
    const std::string utf8 = Encode(code_point);
    std::vector<uint8_t> text(utf8.begin(), utf8.end());
    ASSERT_EQ(Utf8ToCp437(text.data(), text.size()), 1U) << std::hex << code_point;
    EXPECT_EQ(text[0], Expected(code_point)) << std::hex << code_point;
  }
}

TEST(Cp437, SomeThatTheCodePageHasStayQuestionMarks) {
  EXPECT_EQ(Convert("C2 A3"), "3F");  // pound sign
  EXPECT_EQ(Convert("C3 9F"), "3F");  // sharp s
  EXPECT_EQ(Convert("C2 A0"), "3F");  // no-break space
}

TEST(Cp437, PlainTextAndControlBytesPassUnchanged) {
  EXPECT_EQ(Convert(""), "");
  EXPECT_EQ(Convert("48 69 01 01 00 7F 0D"), "48 69 01 01 00 7F 0D");
}

TEST(Cp437, EAcuteIsByte82) { EXPECT_EQ(Convert("C3 A9"), "82"); }

TEST(Cp437, TheEllipsisBecomesOneDot) { EXPECT_EQ(Convert("61 E2 80 A6 62"), "61 2E 62"); }

TEST(Cp437, AnEmojiBecomesOneQuestionMark) { EXPECT_EQ(Convert("F0 9F 98 80"), "3F"); }

TEST(Cp437, ALeadByteAtTheEndBecomesAQuestionMark) {
  EXPECT_EQ(Convert("C3"), "3F");
  EXPECT_EQ(Convert("61 C3"), "61 3F");
}

TEST(Cp437, ASequenceCutByTheEndBecomesOneQuestionMarkForEachByte) {
  EXPECT_EQ(Convert("E2"), "3F");
  EXPECT_EQ(Convert("E2 80"), "3F 3F");
  EXPECT_EQ(Convert("F0 9F"), "3F 3F");
  EXPECT_EQ(Convert("F0 9F 98"), "3F 3F 3F");
}

TEST(Cp437, ABadContinuationByteCostsOneByteOnly) {
  EXPECT_EQ(Convert("C3 41"), "3F 41");
  EXPECT_EQ(Convert("E2 80 41"), "3F 3F 41");
  EXPECT_EQ(Convert("E2 C3 A9"), "3F 82");
  EXPECT_EQ(Convert("F0 9F C3 A9"), "3F 3F 82");
  EXPECT_EQ(Convert("C3 C3 A9"), "3F 82");
  EXPECT_EQ(Convert("C3 01 C3 A9"), "3F 01 82");
}

TEST(Cp437, ByteOfNoOtherFormIsALeadByte) {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    if (byte >= 0xC0 && byte <= 0xF7) continue;
    // Continuation bytes follow, as many as any form could ask for: each stands alone.
    std::vector<uint8_t> text = {static_cast<uint8_t>(byte), 0x80, 0x80, 0x80};
    ASSERT_EQ(Utf8ToCp437(text.data(), text.size()), 4U) << byte;
    EXPECT_EQ(ToHex(text.data(), 4), "3F 3F 3F 3F") << byte;
  }
}

TEST(Cp437, OverlongFormsAreDecoded) {
  EXPECT_EQ(Convert("C1 81"), "41");
  EXPECT_EQ(Convert("E0 81 81"), "41");
  EXPECT_EQ(Convert("F0 80 81 81"), "41");
  EXPECT_EQ(Convert("C0 81"), "01");
  EXPECT_EQ(Convert("E0 83 A9"), "82");
  EXPECT_EQ(Convert("F0 82 80 93"), "2D");
}

TEST(Cp437, AnOverlongZeroWritesAZeroByte) {
  EXPECT_EQ(Convert("61 C0 80 62"), "61 00 62");
  EXPECT_EQ(Convert("E0 80 80"), "00");
  EXPECT_EQ(Convert("F0 80 80 80"), "00");
}

TEST(Cp437, CodePointsBeyondUnicodeAndSurrogatesAreOneQuestionMarkEach) {
  EXPECT_EQ(Convert("F4 90 80 80"), "3F");
  EXPECT_EQ(Convert("F7 BF BF BF"), "3F");
  EXPECT_EQ(Convert("ED A0 80"), "3F");
  EXPECT_EQ(Convert("EF BF BD"), "3F");
}

TEST(Cp437ToUtf8, EachByteIsItsCharacter) {
  const auto decode = [](uint8_t byte) {
    char utf8[kLongestUtf8];
    return std::string(utf8, Cp437ToUtf8(byte, utf8));
  };
  EXPECT_EQ(decode('A'), "A");
  EXPECT_EQ(decode(0x1B), "\x1B");
  EXPECT_EQ(decode(0x80), Encode(0xC7));    // C with cedilla
  EXPECT_EQ(decode(0xC4), Encode(0x2500));  // a line
  EXPECT_EQ(decode(0xE1), Encode(0xDF));    // sharp s
  EXPECT_EQ(decode(0xFF), Encode(0xA0));    // the blank that does not break
}
