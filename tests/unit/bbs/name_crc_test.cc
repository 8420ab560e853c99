#include "bbs/name_crc.h"

#include <gtest/gtest.h>

#include "unit/support/message_base.h"

TEST(NameCrc, OfAnEmptyNameIsZero) { EXPECT_EQ(NameCrc(""), 0U); }

TEST(NameCrc, TheCheckValueOfTheAlgorithm) { EXPECT_EQ(NameCrc("123456789"), 0xCBF43926U); }

TEST(NameCrc, AgreesWithZlibForEveryByte) {
  std::string name;
  for (int byte = 1; byte < 256; ++byte) {
    name.push_back(static_cast<char>(byte));
    EXPECT_EQ(NameCrc(name.c_str()), CrcOf(name)) << byte;
  }
}

TEST(NameCrc, CaseAndBlanksMatter) {
  EXPECT_NE(NameCrc("Ann Author"), NameCrc("ANN AUTHOR"));
  EXPECT_NE(NameCrc("Ann Author"), NameCrc("Ann Author "));
  EXPECT_NE(NameCrc("Ann Author"), NameCrc(" Ann Author"));
}
