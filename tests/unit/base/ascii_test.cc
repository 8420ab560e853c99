#include "base/ascii.h"

#include <gtest/gtest.h>

TEST(Ascii, OnlyTheLettersOfTheAlphabetHaveCapitals) {
  for (int c = 0; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    const char expected = c >= 0x61 && c <= 0x7A ? static_cast<char>(c - 0x20) : byte;
    EXPECT_EQ(UpperAscii(byte), expected) << c;
  }
}

TEST(Ascii, UpperTextTurnsAWholeText) {
  char text[] = "net-mail_1\xE4z";
  UpperText(text);
  EXPECT_STREQ(text, "NET-MAIL_1\xE4Z");
}

TEST(BeginsWithWord, IgnoresCaseOnBothSides) {
  EXPECT_TRUE(BeginsWithWord("aReA:x", 6, "AREA:"));
  EXPECT_TRUE(BeginsWithWord("AREA:x", 6, "area:"));
  EXPECT_FALSE(BeginsWithWord("ARENA:", 6, "AREA:"));
}

TEST(BeginsWithWord, ReadsNoFurtherThanTheSize) {
  EXPECT_TRUE(BeginsWithWord("AREA:", 5, "AREA:"));
  EXPECT_FALSE(BeginsWithWord("AREA:", 4, "AREA:"));
  EXPECT_FALSE(BeginsWithWord("", 0, "A"));
  EXPECT_TRUE(BeginsWithWord("", 0, ""));
}

TEST(SameWord, ComparesWholeWordsWithoutCase) {
  EXPECT_TRUE(SameWord("TOSSER.LOG", "tosser.log"));
  EXPECT_TRUE(SameWord("", ""));
  EXPECT_FALSE(SameWord("TOSSER.LOG", "TOSSER.LO"));
  EXPECT_FALSE(SameWord("TOSSER.LO", "TOSSER.LOG"));
  EXPECT_FALSE(SameWord("a", "b"));
  EXPECT_FALSE(SameWord("[", "{"));  // 0x20 apart as letters are, but no letters
}
