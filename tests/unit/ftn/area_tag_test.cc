#include "ftn/area_tag.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool IsTag(const std::string& text) { return IsAreaTag(text.data(), text.size()); }

}  // namespace

TEST(AreaTag, IsAnyTextWithoutBlanksControlsColonAndDel) {
  for (int byte = 0; byte <= 255; ++byte) {
    const bool allowed = byte >= 33 && byte != ':' && byte != 127;
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(IsTag(text), allowed) << byte;
    EXPECT_EQ(IsTag("A" + text), allowed) << byte;
    EXPECT_EQ(IsTag(text + "A"), allowed) << byte;
  }
}

TEST(AreaTag, IsNotEmpty) { EXPECT_FALSE(IsTag("")); }

TEST(AreaTag, MayBeTheCatchAllsStar) {
  EXPECT_TRUE(IsTag("*"));
  EXPECT_TRUE(IsTag("A*"));
}
