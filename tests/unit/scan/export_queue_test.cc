#include "scan/export_queue.h"

#include <gtest/gtest.h>

#include "base/fixed_text.h"
#include "unit/support/scoped_door.h"

namespace {

ExportRecord MakeRecord(int32_t number) {
  ExportRecord record = {};
  CopyCut(record.ptr.text, ("path " + std::to_string(number)).c_str());
  record.ordinal = int64_t{number} * 10;
  record.conference = number + 1;
  record.msg_number = -number;
  CopyCut(record.msgid, std::string(127, 'm').c_str());
  return record;
}

void ExpectRecord(const ExportQueue& queue, size_t index, int32_t number) {
  const ExportRecord record = GetExport(queue, index);
  EXPECT_EQ(record.ptr.text, "path " + std::to_string(number));
  EXPECT_EQ(record.ordinal, int64_t{number} * 10);
  EXPECT_EQ(record.conference, number + 1);
  EXPECT_EQ(record.msg_number, -number);
  EXPECT_EQ(record.msgid, std::string(127, 'm'));
}

size_t Room(const ExportQueue& queue) { return queue.bytes.capacity / sizeof(ExportRecord); }

}  // namespace

TEST(ExportQueue, ReturnsTheRecordsInTheirOrder) {
  ExportQueue queue;
  EXPECT_EQ(queue.count, 0U);
  for (int32_t number = 0; number < 100; ++number) ASSERT_EQ(QueueExport(MakeRecord(number), &queue), 0);
  ASSERT_EQ(queue.count, 100U);
  for (int32_t number = 0; number < 100; ++number) ExpectRecord(queue, static_cast<size_t>(number), number);
}

TEST(ExportQueue, AllocatesFor32RecordsAtFirstAndDoublesWhenFull) {
  ExportQueue queue;
  EXPECT_EQ(Room(queue), 0U);
  const size_t rooms[] = {32, 64, 128};
  for (const size_t room : rooms) {
    while (queue.count < room) {
      ASSERT_EQ(QueueExport(MakeRecord(1), &queue), 0);
      EXPECT_EQ(Room(queue), room);
    }
  }
}

TEST(ExportQueue, WithoutMemoryItIsAsItWas) {
  ExportQueue queue;
  for (int32_t number = 0; number < 32; ++number) ASSERT_EQ(QueueExport(MakeRecord(number), &queue), 0);
  {
    ScopedDoor door;
    door.FailNth(Call::kReallocate, 1);
    EXPECT_EQ(QueueExport(MakeRecord(32), &queue), -1);
  }
  EXPECT_EQ(queue.count, 32U);
  ASSERT_EQ(QueueExport(MakeRecord(32), &queue), 0);
  for (int32_t number = 0; number <= 32; ++number) ExpectRecord(queue, static_cast<size_t>(number), number);
}

TEST(ExportQueue, DoesNotGrowBeyondTheMostRecords) {
  // Doubling from 32 on: 4,194,304 is the last size within 6,587,373.
  const auto grows_from = [](size_t room) {
    ScopedDoor door;
    door.FailNth(Call::kReallocate, 1);
    ExportQueue queue;
    queue.bytes.capacity = room * sizeof(ExportRecord);  // as if so many were held
    queue.count = room;
    EXPECT_EQ(QueueExport(MakeRecord(1), &queue), -1);
    EXPECT_EQ(queue.count, room);
    queue.bytes.capacity = 0;
    return door.HasStruck();
  };
  EXPECT_TRUE(grows_from(2097152));
  EXPECT_FALSE(grows_from(4194304));
}
