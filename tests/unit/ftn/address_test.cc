#include "ftn/address.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// "zone:net/node.point" of an accepted text, "refused" otherwise.
std::string Parsed(const char* text) {
  FtnAddress address;
  if (!ParseFtnAddress(text, &address)) return "refused";
  return std::to_string(address.Zone) + ":" + std::to_string(address.Net) + "/" + std::to_string(address.Node) + "." +
         std::to_string(address.Point);
}

}  // namespace

TEST(FtnAddress, StartsAllZero) {
  const FtnAddress address;
  EXPECT_EQ(address.Zone, 0);
  EXPECT_EQ(address.Net, 0);
  EXPECT_EQ(address.Node, 0);
  EXPECT_EQ(address.Point, 0);
}

TEST(FtnAddress, AMissingPointIsZero) { EXPECT_EQ(Parsed("2:250/1"), "2:250/1.0"); }

TEST(FtnAddress, HasFourNumbers) { EXPECT_EQ(Parsed("2:250/1.7"), "2:250/1.7"); }

TEST(FtnAddress, NeedsZoneNetAndNode) {
  for (const char* text : {"", "2", "2:", "2:250", "2:250/", "2:250/x", "250/1", ":250/1", "x2:250/1", "2.250/1"}) {
    EXPECT_EQ(Parsed(text), "refused") << text;
  }
}

TEST(FtnAddress, WhatFollowsTheLastNumberIsIgnored) {
  EXPECT_EQ(Parsed("2:250/1,x"), "2:250/1.0");
  EXPECT_EQ(Parsed("2:250/1.x"), "2:250/1.0");
  EXPECT_EQ(Parsed("2:250/1."), "2:250/1.0");
  EXPECT_EQ(Parsed("2:250/1.7@fidonet"), "2:250/1.7");
  EXPECT_EQ(Parsed("2:250/1.7.8"), "2:250/1.7");
  EXPECT_EQ(Parsed("2:250/1 .7"), "2:250/1.0");
}

TEST(FtnAddress, BlanksAreAcceptedBeforeANumberButNotBeforeASeparator) {
  EXPECT_EQ(Parsed(" 2: 250/\t1. 7"), "2:250/1.7");
  EXPECT_EQ(Parsed("2 :250/1"), "refused");
  EXPECT_EQ(Parsed("2:250 /1"), "refused");
}

TEST(FtnAddress, SignsAreAcceptedAndNoRangeIsChecked) {
  EXPECT_EQ(Parsed("+2:-250/+1.-7"), "2:-250/1.-7");
  EXPECT_EQ(Parsed("0:0/0.0"), "0:0/0.0");
  EXPECT_EQ(Parsed("70000:2147483647/-2147483648.99999"), "70000:2147483647/-2147483648.99999");
}

TEST(FtnAddress, NumbersBeyond32BitsAreClamped) {
  EXPECT_EQ(Parsed("2147483648:-2147483649/1.99999999999"), "2147483647:-2147483648/1.2147483647");
}

TEST(FtnAddress, AnEarlierValueIsOverwrittenWhateverTheResult) {
  FtnAddress address{9, 9, 9, 9};
  EXPECT_FALSE(ParseFtnAddress("x", &address));
  EXPECT_EQ(address.Zone, 0);
  EXPECT_EQ(address.Point, 0);
  address = {9, 9, 9, 9};
  EXPECT_TRUE(ParseFtnAddress("1:2/3", &address));
  EXPECT_EQ(address.Point, 0);
}
