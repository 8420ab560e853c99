#include "scan/outbound_packet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "unit/support/scoped_door.h"
#include "unit/support/test_files.h"

namespace {

constexpr size_t kEmptySize = 14 + 5;  // numbers and five NULs

PackedMessage OfText(const std::string& text) {
  PackedMessage message;
  message.text = text.c_str();
  return message;
}

// Records the sizes of allocations, which all fail.
size_t asked_for = 0;
void* GiveNone(void*, size_t size) {
  asked_for = size;
  return nullptr;
}

}  // namespace

TEST(PacketBuffer, AMessageIsItsNumbersAndItsTextsEachWithANul) {
  PackedMessage message;
  message.head.messageType = 2;
  message.head.origNode = 0x0102;
  message.head.destNode = 0x0304;
  message.head.origNet = 0x0506;
  message.head.destNet = 0x0708;
  message.head.attribute = 1;
  message.head.cost = 0;
  message.dateTime = "05 Jan 07  09:04:03";
  message.toUserName = "To";
  message.fromUserName = "Fr";
  message.subject = "S";
  message.text = "T\r";
  ByteBuffer packet;
  ASSERT_EQ(AppendPackedMessage(message, &packet), 0);
  EXPECT_EQ(ToHex(packet.data, packet.size),
            "02 00 02 01 04 03 06 05 08 07 01 00 00 00 30 35 20 4A 61 6E 20 30 37 20 20 30 39 3A 30 34 3A 30 33 00 "
            "54 6F 00 46 72 00 53 00 54 0D 00");
  ASSERT_EQ(AppendPackedMessage(PackedMessage(), &packet), 0);
  EXPECT_EQ(packet.size, 45 + kEmptySize);
  EXPECT_EQ(ToHex(packet.data + 45, kEmptySize), "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(PacketBuffer, GrowsToTwiceWhatIsNeededAnd256OnlyWhenItHasTo) {
  ByteBuffer packet;
  ASSERT_EQ(ReserveBytes(&packet, kFirstPacketCapacity), 0);
  ASSERT_EQ(packet.capacity, 4096U);
  const std::string text(4096 - kEmptySize, 'x');
  ASSERT_EQ(AppendPackedMessage(OfText(text), &packet), 0);
  EXPECT_EQ(packet.size, 4096U);
  EXPECT_EQ(packet.capacity, 4096U);
  ASSERT_EQ(AppendPackedMessage(PackedMessage(), &packet), 0);
  EXPECT_EQ(packet.size, 4096 + kEmptySize);
  EXPECT_EQ(packet.capacity, 2 * (4096 + kEmptySize) + 256);
  EXPECT_EQ(memcmp(packet.data + 18, text.c_str(), text.size() + 1), 0);
}

TEST(PacketBuffer, OneByteMoreThanThereIsRoomForGrows) {
  ByteBuffer packet;
  ASSERT_EQ(ReserveBytes(&packet, kFirstPacketCapacity), 0);
  const std::string text(4096 - kEmptySize + 1, 'x');
  ASSERT_EQ(AppendPackedMessage(OfText(text), &packet), 0);
  EXPECT_EQ(packet.capacity, 2U * 4097 + 256);
}

TEST(PacketBuffer, WithoutMemoryItIsAsItWas) {
  ByteBuffer packet;
  ASSERT_EQ(AppendPackedMessage(OfText("first"), &packet), 0);
  const std::string before(reinterpret_cast<const char*>(packet.data), packet.size);
  const std::string text(5000, 'x');
  {
    ScopedDoor door;
    door.FailNth(Call::kReallocate, 1);
    EXPECT_EQ(AppendPackedMessage(OfText(text), &packet), -1);
  }
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(packet.data), packet.size), before);
  EXPECT_EQ(AppendPackedMessage(OfText(text), &packet), 0);
}

TEST(PacketBuffer, EndsAtTheLargest32BitSizeAndStopsDoublingBeforeIt) {
  OsTable& table = OsInForce();
  const OsTable before = table;
  table.Reallocate = GiveNone;
  const auto ask = [](size_t used) {
    ByteBuffer packet;
    packet.size = used;  // as if so many bytes were in use
    asked_for = 0;
    EXPECT_EQ(AppendPackedMessage(PackedMessage(), &packet), -1);
    return asked_for;
  };
  constexpr size_t kMost = std::numeric_limits<uint32_t>::max();
  constexpr size_t kMostDoubled = (kMost - 256) / 2;
  EXPECT_EQ(ask(kMostDoubled - kEmptySize), 2 * kMostDoubled + 256);
  EXPECT_EQ(ask(kMostDoubled - kEmptySize + 1), kMostDoubled + 1);
  EXPECT_EQ(ask(kMost - kEmptySize), kMost);
  EXPECT_EQ(ask(kMost - kEmptySize + 1), 0U);
  table = before;
}
