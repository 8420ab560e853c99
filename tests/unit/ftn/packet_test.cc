#include "ftn/packet.h"

#include <gtest/gtest.h>

#include <cstring>

#include "unit/support/test_files.h"

namespace {

// Every field of the header has a value of its own; each line is one field.
constexpr char kHeaderHex[] =
    "11 01 "                    // origNode 273
    "22 02 "                    // destNode 546
    "E9 07 "                    // year 2025
    "0A 00 "                    // month: November
    "0F 00 "                    // day 15
    "17 00 "                    // hour 23
    "3B 00 "                    // minute 59
    "3C 00 "                    // second 60
    "80 25 "                    // baud 9600
    "02 00 "                    // packetType 2
    "33 03 "                    // origNet 819
    "44 04 "                    // destNet 1092
    "FE "                       // productCodeLo
    "05 "                       // revisionMajor
    "53 45 43 52 45 54 30 31 "  // password SECRET01
    "55 05 "                    // qOrigZone 1365
    "66 06 "                    // qDestZone 1638
    "77 07 "                    // auxNet
    "12 34 "                    // capWordCopy, high byte first
    "06 "                       // productCodeHi
    "07 "                       // revisionMinor
    "34 12 "                    // capWord 0x1234
    "88 08 "                    // origZone 2184
    "99 09 "                    // destZone 2457
    "AA 0A "                    // origPoint 2730
    "BB 0B "                    // destPoint 3003
    "DE AD BE EF";              // productData

}  // namespace

TEST(PacketHeader, EveryFieldIsReadFromItsOffset) {
  const std::string bytes = FromHex(kHeaderHex);
  ASSERT_EQ(bytes.size(), 58U);
  ASSERT_EQ(kPacketHeaderSize, 58U);
  const PacketHeader header = UnpackPacketHeader(BytesOf(bytes));
  EXPECT_EQ(header.origNode, 273);
  EXPECT_EQ(header.destNode, 546);
  EXPECT_EQ(header.year, 2025);
  EXPECT_EQ(header.month, 10);
  EXPECT_EQ(header.day, 15);
  EXPECT_EQ(header.hour, 23);
  EXPECT_EQ(header.minute, 59);
  EXPECT_EQ(header.second, 60);
  EXPECT_EQ(header.packetType, 2);
  EXPECT_EQ(header.origNet, 819);
  EXPECT_EQ(header.destNet, 1092);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(header.password), 8), "SECRET01");
  EXPECT_EQ(header.qOrigZone, 1365);
  EXPECT_EQ(header.qDestZone, 1638);
  EXPECT_EQ(header.capWord, 0x1234);
  EXPECT_EQ(header.origZone, 2184);
  EXPECT_EQ(header.destZone, 2457);
  EXPECT_EQ(header.origPoint, 2730);
  EXPECT_EQ(header.destPoint, 3003);
}

TEST(PacketHeader, TheZonesOfTheOlderPlaceAreNeverThoseOfTheLaterOne) {
  std::string bytes = FromHex(kHeaderHex);
  bytes.replace(46, 4, std::string(4, '\0'));
  const PacketHeader header = UnpackPacketHeader(BytesOf(bytes));
  EXPECT_EQ(header.origZone, 0);
  EXPECT_EQ(header.destZone, 0);
  EXPECT_EQ(header.qOrigZone, 1365);
}

TEST(PacketHeader, IsWrittenAsAnOutboundPacketHasIt) {
  // From 2:250/10.3 to the hub 2:250/1, on 2025-01-05 09:04:03, with the password PKT.
  PacketHeader header;
  header.origNode = 10;
  header.destNode = 1;
  header.year = 2025;
  header.month = 0;
  header.day = 5;
  header.hour = 9;
  header.minute = 4;
  header.second = 3;
  header.packetType = 2;
  header.origNet = 250;
  header.destNet = 250;
  memcpy(header.password, "PKT", 3);
  header.qOrigZone = 2;
  header.qDestZone = 2;
  header.capWord = 1;
  header.origZone = 2;
  header.destZone = 2;
  header.origPoint = 3;
  uint8_t bytes[60];
  memset(bytes, 0xEE, sizeof bytes);
  PackPacketHeader(header, bytes);
  EXPECT_EQ(ToHex(bytes, sizeof bytes),
            "0A 00 01 00 E9 07 00 00 05 00 09 00 04 00 03 00 00 00 02 00 FA 00 FA 00 00 00 "
            "50 4B 54 00 00 00 00 00 02 00 02 00 00 00 00 01 00 00 01 00 02 00 02 00 03 00 00 00 00 00 00 00 EE EE");
}

TEST(PacketHeader, AnEightCharacterPasswordHasNoNul) {
  PacketHeader header;
  memcpy(header.password, "12345678", 8);
  header.qOrigZone = 0x5A5A;
  uint8_t bytes[kPacketHeaderSize];
  PackPacketHeader(header, bytes);
  EXPECT_EQ(ToHex(bytes + 26, 10), "31 32 33 34 35 36 37 38 5A 5A");
}

TEST(PacketHeader, WhatIsWrittenIsReadBack) {
  std::string bytes = FromHex(kHeaderHex);
  for (const size_t unread : {16U, 17U, 24U, 25U, 38U, 39U, 42U, 43U, 54U, 55U, 56U, 57U}) bytes[unread] = '\0';
  uint8_t written[kPacketHeaderSize];
  PackPacketHeader(UnpackPacketHeader(BytesOf(bytes)), written);
  EXPECT_EQ(ToHex(written, sizeof written), ToHex(bytes));
}

TEST(PackedMessageHead, EveryFieldIsReadFromItsOffset) {
  const std::string bytes = FromHex("02 00 11 01 22 02 33 03 44 04 01 80 66 06");
  ASSERT_EQ(bytes.size(), kPackedMessageHeadSize);
  const PackedMessageHead head = UnpackMessageHead(BytesOf(bytes));
  EXPECT_EQ(head.messageType, 2);
  EXPECT_EQ(head.origNode, 273);
  EXPECT_EQ(head.destNode, 546);
  EXPECT_EQ(head.origNet, 819);
  EXPECT_EQ(head.destNet, 1092);
  EXPECT_EQ(head.attribute, 0x8001);
  EXPECT_EQ(head.cost, 0x0666);
}

TEST(PackedMessageHead, IsWrittenInItsFourteenBytes) {
  PackedMessageHead head;
  head.messageType = 2;
  head.origNode = 10;
  head.destNode = 1;
  head.origNet = 250;
  head.destNet = 65535;
  head.attribute = 1;
  uint8_t bytes[16];
  memset(bytes, 0xEE, sizeof bytes);
  PackMessageHead(head, bytes);
  EXPECT_EQ(ToHex(bytes, sizeof bytes), "02 00 0A 00 01 00 FA 00 FF FF 01 00 00 00 EE EE");
}

TEST(Packet, TheWordsOfTheWalkAreThose) {
  EXPECT_EQ(kPacketType2, 2);
  EXPECT_EQ(kMessageFollows, 2);
  EXPECT_EQ(kEndOfPacket, 0);
  EXPECT_EQ(kPacketWordSize, 2U);
  EXPECT_EQ(kAttributePrivate, 1);
}
