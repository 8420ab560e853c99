// The helpers themselves: if ScopedDoor failed no call, every fault test would pass.
#include <gtest/gtest.h>

#include "app/run_log.h"
#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

TEST(Support, HexBecomesBytesAndBack) {
  EXPECT_EQ(FromHex("0A 0b ff00"), std::string("\x0A\x0B\xFF\x00", 4));
  EXPECT_EQ(ToHex(std::string("\x0A\xFF\x00", 3)), "0A FF 00");
}

TEST(Support, TemporaryDirectoryIsEmptyUniqueAndRemoved) {
  std::string path;
  {
    const TemporaryDirectory first;
    const TemporaryDirectory second;
    EXPECT_NE(first.Path(), second.Path());
    EXPECT_EQ(first.Path().find('\\'), std::string::npos);
    WriteFile(first / "a", "x");
    EXPECT_EQ(ReadFile(first / "a"), "x");
    path = first.Path();
  }
  EXPECT_FALSE(PathExists(path));
}

TEST(Support, ModificationTimeCanBeSet) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "x");
  SetModifiedAt(directory / "a", 1000000000);
  EXPECT_EQ(ModifiedAt(directory / "a"), 1000000000);
}

TEST(ScopedDoor, FailsTheNthCallOnceAndCountsAllOfThem) {
  const TemporaryDirectory directory;
  ScopedDoor door;
  door.FailNth(Call::kMakeDirectory, 2);
  EXPECT_EQ(OsMakeDirectory((directory / "a").c_str()), kOsOk);
  EXPECT_FALSE(door.HasStruck());
  EXPECT_EQ(OsMakeDirectory((directory / "b").c_str()), kOsFailed);
  EXPECT_TRUE(door.HasStruck());
  EXPECT_FALSE(PathExists(directory / "b"));
  EXPECT_EQ(OsMakeDirectory((directory / "b").c_str()), kOsOk);
  EXPECT_EQ(door.Count(Call::kMakeDirectory), 3);
  EXPECT_EQ(door.Count(Call::kMakeDirectory, "/b"), 2);
  EXPECT_EQ(door.Count(Call::kOpen), 0);
}

TEST(ScopedDoor, FailsForGoodOnlyWhereThePathMatches) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "");
  WriteFile(directory / "b", "");
  ScopedDoor door;
  door.FailFrom(Call::kAny, 1, "/a");
  OsStatus status;
  EXPECT_EQ(OsStat((directory / "b").c_str(), &status), kOsOk);
  EXPECT_EQ(OsStat((directory / "a").c_str(), &status), kOsFailed);
  EXPECT_EQ(OsRemove((directory / "a").c_str()), kOsFailed);
  EXPECT_TRUE(PathExists(directory / "a"));
  door.Clear();
  EXPECT_EQ(OsRemove((directory / "a").c_str()), kOsOk);
}

TEST(ScopedDoor, AFailingCloseReallyClosesAndHandlesAreCounted) {
  const TemporaryDirectory directory;
  ScopedDoor door;
  OsFile file;
  ASSERT_EQ(OsOpen((directory / "a").c_str(), kOsCreate, &file), kOsOk);
  EXPECT_EQ(door.OpenHandles(), 1);
  door.FailNth(Call::kClose, 1, "/a");
  EXPECT_EQ(OsClose(&file), -1);
  EXPECT_EQ(door.OpenHandles(), 0);
  RemoveFile(directory / "a");
}

TEST(ScopedDoor, RecordsTheArgumentsAndTheResultOfEachCall) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "four");
  ScopedDoor door;
  Fault half;
  half.call = Call::kReadAt;
  half.is_short = true;
  door.Fail(half);
  OsStatus status;
  ASSERT_EQ(OsStat((directory / "a").c_str(), &status), kOsOk);
  OsFile file;
  ASSERT_EQ(OsOpen((directory / "a").c_str(), kOsUpdate, &file), kOsOk);
  char bytes[4];
  EXPECT_EQ(OsReadAt(file, 0, bytes, sizeof bytes).bytes, 4U);
  const std::vector<CallRecord>& calls = door.Calls();
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0].call, Call::kStat);
  EXPECT_EQ(calls[0].found_size, 4);
  EXPECT_EQ(calls[1].answer, kOsOk);
  EXPECT_TRUE(calls[2].struck);
  EXPECT_EQ(calls[2].size, 4U);
  EXPECT_EQ(calls[2].answer, 2);
  EXPECT_FALSE(calls[3].struck);
  EXPECT_EQ(calls[3].size, 2U);
  EXPECT_EQ(calls[3].mode, kOsUpdate);
  EXPECT_EQ(calls[3].path, directory / "a");
}

TEST(ScopedDoor, ActsBeforeACallAndRestoresTheTable) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "");
  {
    ScopedDoor door;
    door.BeforeNth(Call::kStat, 2, [&] { RemoveFile(directory / "a"); });
    OsStatus status;
    EXPECT_EQ(OsStat((directory / "a").c_str(), &status), kOsOk);
    EXPECT_EQ(OsStat((directory / "a").c_str(), &status), kOsMissing);
    EXPECT_FALSE(door.HasStruck());
  }
  EXPECT_EQ(OsInForce().Stat, kOsNative.Stat);
  EXPECT_EQ(OsInForce().Reallocate, kOsNative.Reallocate);
}

TEST(FakeClock, AdvancesOnlyWhenTheProgramSleeps) {
  FakeClock clock;
  EXPECT_EQ(OsNow(), FakeClock::kStart);
  OsSleep(1500);
  OsSleep(500);
  EXPECT_EQ(OsNow(), FakeClock::kStart + 2);
  EXPECT_EQ(clock.pauses, (std::vector<uint32_t>{1500, 500}));
  clock.local_offset = 3600;
  OsCalendar local;
  ASSERT_EQ(OsLocalTime(FakeClock::kStart, &local), 0);
  EXPECT_EQ(local.hour, 1);
}

TEST(FakeProcess, ReturnsItsPathAndIdAndRecordsTheBreakFile) {
  FakeProcess process("/bbs/cvtoss32");
  char path[32];
  EXPECT_EQ(OsProgramPath(path, sizeof path), 13U);
  EXPECT_STREQ(path, "/bbs/cvtoss32");
  EXPECT_EQ(OsProgramPath(path, 13), 13U);
  EXPECT_EQ(OsProcessId(), 4120U);
  OsSetBreakFile("x", "owner");
  OsInstallBreakHandler();
  EXPECT_EQ(process.break_file, "x");
  EXPECT_EQ(process.break_contents, "owner");
  EXPECT_EQ(process.break_handlers, 1);
}

TEST(CapturedLog, RemovesTheTimeStampsAndSeparatesTheStreams) {
  CapturedLog log;
  LogLine("one %d", 1);
  LogLine("two");
  StartupMessage("start\n");
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"one 1", "two"}));
  EXPECT_EQ(log.StartupLines(), (std::vector<std::string>{"start"}));
  EXPECT_EQ(log.CountOf("two"), 1);
  EXPECT_EQ(log.CountOfStart("one"), 1);
}

TEST(ScopedDoor, KnowsWhetherTheLastFaultTookEffect) {
  const TemporaryDirectory directory;
  ScopedDoor door;
  EXPECT_FALSE(door.LastHasStruck());
  door.FailNth(Call::kMakeDirectory, 1);
  door.FailNth(Call::kRemove, 1);
  (void)OsMakeDirectory((directory / "a").c_str());
  EXPECT_TRUE(door.HasStruck());
  EXPECT_FALSE(door.LastHasStruck());
  (void)OsRemove((directory / "a").c_str());
  EXPECT_TRUE(door.LastHasStruck());
}
