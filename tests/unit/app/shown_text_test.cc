#include "app/shown_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(ShownText, ShowsFiveBytesAsAQuestionMarkAndAllOthersAsTheyAre) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool replaced = c == '\b' || c == '\n' || c == '\r' || c == '\x1A' || c == '\x1B';
    const std::string text = std::string("a") + c + "b" + c;
    EXPECT_EQ(ShownText(text.c_str()).text, replaced ? "a?b?" : text) << byte;
  }
  EXPECT_STREQ(ShownText("").text, "");
}

TEST(ShownText, IsCutToWhatALineHolds) {
  EXPECT_EQ(ShownText(std::string(1023, 'x').c_str()).text, std::string(1023, 'x'));
  EXPECT_EQ(ShownText((std::string(1023, 'x') + "\n").c_str()).text, std::string(1023, 'x'));
}

TEST(ShownPath, ShowsTheDirectoryAsItIs) {
  EXPECT_STREQ(ShownPath("in\n/a\x1B/b\rc\b.pkt").text, "in\n/a\x1B/b?c?.pkt");
  EXPECT_STREQ(ShownPath("b\rc").text, "b?c");
  EXPECT_STREQ(ShownPath("in/").text, "in/");
}
