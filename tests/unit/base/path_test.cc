#include "base/path.h"

#include <gtest/gtest.h>

#include <string>

TEST(FormatPath, JoinsDirectoryAndName) {
  Path path;
  EXPECT_EQ(FormatPath(path.text, sizeof path.text, "%s/CVMSG%02d.PTR", "D:\\cv", 7), 0);
  EXPECT_STREQ(path.text, "D:\\cv/CVMSG07.PTR");
}

TEST(FormatPath, APathOf511CharactersFitsAndOneOf512IsRefused) {
  Path path;
  ASSERT_EQ(sizeof path.text, 512U);
  const std::string longest(511, 'x');
  EXPECT_EQ(FormatPath(path.text, sizeof path.text, "%s", longest.c_str()), 0);
  EXPECT_EQ(path.text, longest);
  EXPECT_EQ(FormatPath(path.text, sizeof path.text, "%s%s", longest.c_str(), "y"), -1);
  EXPECT_STREQ(path.text, "");
}

TEST(FormatPath, OtherSizesHaveTheirOwnLimit) {
  char path[6] = "old";
  EXPECT_EQ(FormatPath(path, sizeof path, "%s", "12345"), 0);
  EXPECT_STREQ(path, "12345");
  EXPECT_EQ(FormatPath(path, sizeof path, "%s", "123456"), -1);
  EXPECT_STREQ(path, "");
}
