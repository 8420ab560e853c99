// Time, memory and the process.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/os.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

TEST(OsTime, NowIsTheSystemsTime) {
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  const int64_t now = OsNow();
  EXPECT_GE(now, std::chrono::floor<std::chrono::seconds>(before).count());
  EXPECT_LE(now, std::chrono::floor<std::chrono::seconds>(before).count() + 60);
}

TEST(OsTime, NowAgreesWithTheTimesOfFiles) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "");
  EXPECT_NEAR(static_cast<double>(ModifiedAt(directory / "a")), static_cast<double>(OsNow()), 60.0);
}

TEST(OsTime, UtcTimeBreaksATimeDown) {
  OsCalendar calendar;
  ASSERT_EQ(OsUtcTime(1763166684, &calendar), 0);  // Saturday, 2025-11-15 00:31:24
  EXPECT_EQ(calendar.year, 2025);
  EXPECT_EQ(calendar.month, 10);
  EXPECT_EQ(calendar.day, 15);
  EXPECT_EQ(calendar.hour, 0);
  EXPECT_EQ(calendar.minute, 31);
  EXPECT_EQ(calendar.second, 24);
  EXPECT_EQ(calendar.weekday, 6);
}

TEST(OsTime, UtcTimeConvertsTheEpochAndALeapDay) {
  OsCalendar calendar;
  ASSERT_EQ(OsUtcTime(0, &calendar), 0);  // Thursday
  EXPECT_EQ(calendar.year, 1970);
  EXPECT_EQ(calendar.month, 0);
  EXPECT_EQ(calendar.day, 1);
  EXPECT_EQ(calendar.weekday, 4);
  ASSERT_EQ(OsUtcTime(951782400, &calendar), 0);  // 2000-02-29
  EXPECT_EQ(calendar.month, 1);
  EXPECT_EQ(calendar.day, 29);
}

TEST(OsTime, LocalTimeIsLessThanADayAndAHalfFromUtc) {
  OsCalendar local;
  OsCalendar utc;
  ASSERT_EQ(OsLocalTime(1763166684, &local), 0);
  ASSERT_EQ(OsUtcTime(1763166684, &utc), 0);
  EXPECT_EQ(local.year, utc.year);
  EXPECT_EQ(local.month, utc.month);
  EXPECT_LE(std::abs(local.day - utc.day), 1);
  EXPECT_EQ(local.second, utc.second);
}

TEST(OsTime, ATimeThatNoCalendarHoldsIsRefused) {
  OsCalendar calendar;
  EXPECT_EQ(OsUtcTime(INT64_MAX, &calendar), -1);
  EXPECT_EQ(OsLocalTime(INT64_MAX, &calendar), -1);
}

TEST(OsTime, SleepLastsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  OsSleep(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

TEST(OsProcess, HasAnIdThatStays) {
  EXPECT_NE(OsProcessId(), 0U);
  EXPECT_EQ(OsProcessId(), OsProcessId());
}

TEST(OsProcess, FindsItselfAndNoProcessWithoutANumber) {
  EXPECT_EQ(OsFindProcess(OsProcessId()), kOsOk);
  EXPECT_EQ(OsFindProcess(0xFFFFFFFF), kOsMissing);
}

TEST(OsProcess, ReturnsThePathOfItsProgram) {
  char path[4096];
  const size_t length = OsProgramPath(path, sizeof path);
  ASSERT_GT(length, 0U);
  ASSERT_LT(length, sizeof path);
  EXPECT_EQ(path[length], '\0');
  OsStatus status;
  ASSERT_EQ(OsStat(path, &status), kOsOk);
  EXPECT_EQ(status.kind, kOsRegularFile);
  EXPECT_NE(std::string(path).find("unit_tests"), std::string::npos);
}

TEST(OsProcess, ReportsAPathThatDoesNotFit) {
  char path[4096];
  const size_t length = OsProgramPath(path, sizeof path);
  ASSERT_LT(length, sizeof path);
  EXPECT_GE(OsProgramPath(path, length), length);  // no room for the NUL
  EXPECT_GE(OsProgramPath(path, 4), 4U);
  EXPECT_EQ(OsProgramPath(path, length + 1), length);
}

TEST(OsMemory, GrowsWithItsContent) {
  char* block = static_cast<char*>(OsAllocate(4));
  ASSERT_NE(block, nullptr);
  memcpy(block, "abc", 4);
  block = static_cast<char*>(OsReallocate(block, 1000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "abc");
  OsRelease(block);
  OsRelease(nullptr);
}

TEST(OsTableInForce, IsThePlatformsOwnAndCanBeReplacedEntryByEntry) {
  EXPECT_EQ(OsInForce().Now, kOsNative.Now);
  OsInForce().Now = [] { return int64_t{42}; };
  EXPECT_EQ(OsNow(), 42);
  OsInForce().Now = kOsNative.Now;
  EXPECT_NE(OsNow(), 42);
}

TEST(OsTableInForce, HasNoEmptyEntry) {
  // Every entry is a pointer to a function, so the table is an array of them.
  static_assert(sizeof(OsTable) % sizeof(void (*)()) == 0);
  void (*entries[sizeof(OsTable) / sizeof(void (*)())])();
  memcpy(static_cast<void*>(entries), &kOsNative, sizeof entries);
  for (const auto& entry : entries) EXPECT_NE(entry, nullptr);
}

TEST(OsShow, WritesAllBytesToTheRightStream) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  OsShow(kOsStdout, "out#", 3);
  OsShow(kOsStderr, "err#", 3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "err");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "out");
}

TEST(OsTerminal, TextForAFileOrAPipeIsWrittenAsItIs) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_FALSE(OsIsTerminal(kOsStdout));
  EXPECT_FALSE(OsIsTerminal(kOsStderr));
  (void)testing::internal::GetCapturedStderr();
  OsShowUtf8(kOsStdout, "caf\xC3\xA9", 5);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "caf\xC3\xA9");
}
