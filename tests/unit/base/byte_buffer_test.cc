#include "base/byte_buffer.h"

#include <gtest/gtest.h>

#include <string>

#include "unit/support/scoped_door.h"

namespace {

std::string Content(const ByteBuffer& buffer) {
  return buffer.size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(buffer.data), buffer.size);
}

}  // namespace

TEST(ByteBuffer, StartsEmpty) {
  const ByteBuffer buffer;
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.size, 0U);
  EXPECT_EQ(buffer.capacity, 0U);
}

TEST(ByteBuffer, AppendKeepsOrderAndNulBytes) {
  ByteBuffer buffer;
  EXPECT_EQ(AppendBytes(&buffer, "ab", 2), 0);
  EXPECT_EQ(AppendBytes(&buffer, "\0c", 2), 0);
  EXPECT_EQ(Content(buffer), std::string("ab\0c", 4));
}

TEST(ByteBuffer, AppendOfNothingNeedsNoMemory) {
  ScopedDoor door;
  ByteBuffer buffer;
  EXPECT_EQ(AppendBytes(&buffer, nullptr, 0), 0);
  EXPECT_EQ(buffer.size, 0U);
  EXPECT_EQ(door.Count(Call::kReallocate), 0);
}

TEST(ByteBuffer, ReserveTakesExactlyWhatIsAskedAndKeepsTheBytes) {
  ByteBuffer buffer;
  EXPECT_EQ(ReserveBytes(&buffer, 3), 0);
  EXPECT_EQ(buffer.capacity, 3U);
  EXPECT_EQ(buffer.size, 0U);
  EXPECT_EQ(AppendBytes(&buffer, "abc", 3), 0);
  EXPECT_EQ(buffer.capacity, 3U);
  EXPECT_EQ(ReserveBytes(&buffer, 1000), 0);
  EXPECT_EQ(buffer.capacity, 1000U);
  EXPECT_EQ(Content(buffer), "abc");
}

TEST(ByteBuffer, ReserveNeverShrinks) {
  ScopedDoor door;
  ByteBuffer buffer;
  ASSERT_EQ(ReserveBytes(&buffer, 100), 0);
  EXPECT_EQ(ReserveBytes(&buffer, 100), 0);
  EXPECT_EQ(ReserveBytes(&buffer, 1), 0);
  EXPECT_EQ(buffer.capacity, 100U);
  EXPECT_EQ(door.Count(Call::kReallocate), 1);
}

TEST(ByteBuffer, AppendAtLeastDoublesTheRoom) {
  ByteBuffer buffer;
  ASSERT_EQ(ReserveBytes(&buffer, 10), 0);
  ASSERT_EQ(AppendBytes(&buffer, "0123456789", 10), 0);
  ASSERT_EQ(AppendBytes(&buffer, "x", 1), 0);
  EXPECT_GE(buffer.capacity, 20U);
  EXPECT_EQ(Content(buffer), "0123456789x");
}

TEST(ByteBuffer, WithoutMemoryItStaysAsItWas) {
  ScopedDoor door;
  ByteBuffer buffer;
  ASSERT_EQ(ReserveBytes(&buffer, 3), 0);
  ASSERT_EQ(AppendBytes(&buffer, "abc", 3), 0);
  door.FailFrom(Call::kReallocate, 1);
  EXPECT_EQ(AppendBytes(&buffer, "d", 1), -1);
  EXPECT_EQ(ReserveBytes(&buffer, 4), -1);
  EXPECT_EQ(Content(buffer), "abc");
  EXPECT_EQ(buffer.capacity, 3U);
  door.Clear();
  EXPECT_EQ(AppendBytes(&buffer, "d", 1), 0);
  EXPECT_EQ(Content(buffer), "abcd");
}

TEST(ByteBuffer, ASizeThatNoMemoryHoldsIsRefusedBeforeItWraps) {
  ScopedDoor door;
  ByteBuffer buffer;
  ASSERT_EQ(AppendBytes(&buffer, "abc", 3), 0);
  const int before = door.Count(Call::kReallocate);
  EXPECT_EQ(AppendBytes(&buffer, "x", SIZE_MAX), -1);
  EXPECT_EQ(AppendBytes(&buffer, "x", SIZE_MAX - 2), -1);
  EXPECT_EQ(door.Count(Call::kReallocate), before);
  EXPECT_EQ(Content(buffer), "abc");
}

TEST(ByteBuffer, FreeEmptiesItForUseAgain) {
  ByteBuffer buffer;
  ASSERT_EQ(AppendBytes(&buffer, "abc", 3), 0);
  FreeBytes(&buffer);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.size, 0U);
  EXPECT_EQ(buffer.capacity, 0U);
  FreeBytes(&buffer);
  EXPECT_EQ(AppendBytes(&buffer, "d", 1), 0);
  EXPECT_EQ(Content(buffer), "d");
}
