#include "base/fixed_text.h"

#include <gtest/gtest.h>

TEST(CopyCut, KeepsWhatFitsWithTheNul) {
  char text[4] = "zzz";
  CopyCut(text, "ab");
  EXPECT_STREQ(text, "ab");
  CopyCut(text, "abc");
  EXPECT_STREQ(text, "abc");
  CopyCut(text, "");
  EXPECT_STREQ(text, "");
}

TEST(CopyCut, CutsWhatDoesNotFit) {
  char text[4];
  CopyCut(text, "abcd");
  EXPECT_STREQ(text, "abc");
}

TEST(TrimLineEnd, RemovesEveryCrAndLfAtTheEnd) {
  char text[16];
  for (const char* end : {"", "\n", "\r\n", "\n\r", "\r\r\n\n"}) {
    CopyCut(text, "a\r\nb");
    strcat(text, end);
    TrimLineEnd(text);
    EXPECT_STREQ(text, "a\r\nb");
  }
  CopyCut(text, "\r\n");
  TrimLineEnd(text);
  EXPECT_STREQ(text, "");
  CopyCut(text, "a \t");
  TrimLineEnd(text);
  EXPECT_STREQ(text, "a \t");
}
