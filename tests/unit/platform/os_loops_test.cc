// The loops over calls that move fewer bytes than asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/os.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

int64_t ReadOneByte(intptr_t handle, int64_t at, void* to, size_t size) {
  return kOsNative.ReadAt(handle, at, to, std::min<size_t>(size, 1));
}

int64_t WriteOneByteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  return kOsNative.WriteAt(handle, at, from, std::min<size_t>(size, 1));
}

int64_t WriteOneByte(intptr_t handle, const void* from, size_t size) {
  return kOsNative.Write(handle, from, std::min<size_t>(size, 1));
}

class OsLoops : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";
  ScopedDoor door_;
  OsFile file_;
};

}  // namespace

TEST_F(OsLoops, ReadContinuesAfterAShortRead) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(OsOpen(path_.c_str(), kOsRead, &file_), kOsOk);
  OsInForce().ReadAt = ReadOneByte;
  char bytes[8] = {};
  const OsReadResult got = OsReadAt(file_, 1, bytes, sizeof bytes);
  EXPECT_EQ(got.bytes, 5U);
  EXPECT_FALSE(got.failed);
  EXPECT_STREQ(bytes, "bcdef");
}

TEST_F(OsLoops, ReadDistinguishesAFailureFromTheEnd) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(OsOpen(path_.c_str(), kOsRead, &file_), kOsOk);
  door_.FailNth(Call::kReadAt, 1);
  char bytes[8] = {};
  const OsReadResult got = OsReadAt(file_, 0, bytes, sizeof bytes);
  EXPECT_EQ(got.bytes, 0U);
  EXPECT_TRUE(got.failed);
}

TEST_F(OsLoops, ReadCountsWhatCameBeforeAFailure) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(OsOpen(path_.c_str(), kOsRead, &file_), kOsOk);
  Fault half;
  half.call = Call::kReadAt;
  half.is_short = true;
  door_.Fail(half);
  door_.FailNth(Call::kReadAt, 2);
  char bytes[6] = {};
  const OsReadResult got = OsReadAt(file_, 0, bytes, sizeof bytes);
  EXPECT_EQ(got.bytes, 3U);
  EXPECT_TRUE(got.failed);
}

TEST_F(OsLoops, PositionedWriteContinuesAfterAShortWrite) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreateNew, &file_), kOsOk);
  OsInForce().WriteAt = WriteOneByteAt;
  EXPECT_EQ(OsWriteAt(file_, 2, "abc", 3), kOsOk);
  EXPECT_EQ(ToHex(ReadFile(path_)), "00 00 61 62 63");
}

TEST_F(OsLoops, PositionedWriteThatMovesNothingFails) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreateNew, &file_), kOsOk);
  OsInForce().WriteAt = [](intptr_t, int64_t, const void*, size_t) { return int64_t{0}; };
  EXPECT_EQ(OsWriteAt(file_, 0, "abc", 3), kOsFailed);
}

TEST_F(OsLoops, PositionedWriteReportsAFailureAfterSomeBytes) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreateNew, &file_), kOsOk);
  Fault half;
  half.call = Call::kWriteAt;
  half.is_short = true;
  door_.Fail(half);
  door_.FailNth(Call::kWriteAt, 2);
  EXPECT_EQ(OsWriteAt(file_, 0, "abcd", 4), kOsFailed);
  EXPECT_EQ(ReadFile(path_), "ab");
}

TEST_F(OsLoops, PositionedWriteReportsAFileWithoutPositions) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreateNew, &file_), kOsOk);
  Fault pipe;
  pipe.call = Call::kWriteAt;
  pipe.answer = kOsUnseekable;
  door_.Fail(pipe);
  EXPECT_EQ(OsWriteAt(file_, 0, "abcd", 4), kOsUnseekable);
}

TEST_F(OsLoops, WriteContinuesAfterAShortWrite) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreate, &file_), kOsOk);
  OsInForce().Write = WriteOneByte;
  EXPECT_EQ(OsWrite(file_, "abc", 3), 0);
  EXPECT_EQ(ReadFile(path_), "abc");
}

TEST_F(OsLoops, WriteFailsWhenACallFailsOrMovesNothing) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreate, &file_), kOsOk);
  door_.FailNth(Call::kWrite, 1);
  EXPECT_EQ(OsWrite(file_, "abc", 3), -1);
  OsInForce().Write = [](intptr_t, const void*, size_t) { return int64_t{0}; };
  EXPECT_EQ(OsWrite(file_, "abc", 3), -1);
  EXPECT_EQ(ReadFile(path_), "");
}

TEST_F(OsLoops, WriteOnceReturnsWhatOneCallHasWritten) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreate, &file_), kOsOk);
  OsInForce().Write = WriteOneByte;
  EXPECT_EQ(OsWriteOnce(file_, "abc", 3), 1);
  EXPECT_EQ(ReadFile(path_), "a");
}

TEST_F(OsLoops, EveryOtherCallPassesItsFailureOn) {
  ASSERT_EQ(OsOpen(path_.c_str(), kOsCreate, &file_), kOsOk);
  door_.FailFrom(Call::kAny, 1);
  EXPECT_EQ(OsSize(file_), -1);
  EXPECT_EQ(OsSyncFile(file_), -1);
  EXPECT_EQ(OsSyncFiles(".", nullptr, 0), -1);
  EXPECT_EQ(OsSyncDirectory("."), -1);
  EXPECT_EQ(OsSetSize(file_, 0), -1);
  EXPECT_EQ(OsClose(&file_), -1);
  EXPECT_FALSE(file_.IsOpen());
}
