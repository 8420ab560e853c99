#include "platform/fixed_text.h"

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
