#include "app/site_paths.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string Formed(const std::string& msg_dir, int32_t conference, const char* kind) {
  BasePath path;
  EXPECT_EQ(FormatBasePath(msg_dir.c_str(), conference, kind, &path), 0);
  return path.text;
}

}  // namespace

TEST(BasePath, HoldsTheConferenceInTwoDigitsOrMore) {
  EXPECT_EQ(Formed("C:\\BBS\\MSGS", 7, "PTR"), "C:\\BBS\\MSGS/CVMSG07.PTR");
  for (int32_t conference = 1; conference <= 200; ++conference) {
    for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
      char expected[64];
      (void)snprintf(expected, sizeof expected, "m/CVMSG%02d.%s", conference, kind);
      EXPECT_EQ(Formed("m", conference, kind), expected);
    }
  }
}

TEST(BasePath, Of511CharactersFitsAndOf512DoesNot) {
  for (const int32_t conference : {7, 99, 100}) {
    const size_t name = conference < 100 ? 12 : 13;  // "/CVMSG07.PTR"
    const std::string fits(511 - name, 'm');
    EXPECT_EQ(Formed(fits, conference, "PTR").size(), 511U);
    BasePath path = {{"left over"}};
    for (size_t more = 1; more <= 16; ++more) {
      EXPECT_EQ(FormatBasePath((fits + std::string(more, 'm')).c_str(), conference, "PTR", &path), -1);
      EXPECT_STREQ(path.text, "");
    }
    EXPECT_EQ(FormatBasePath(std::string(5000, 'm').c_str(), conference, "PTR", &path), -1);
  }
}
