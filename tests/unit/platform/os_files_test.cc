#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class OsFiles : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";
  OsFile file_;

  OsResult Open(OsOpenMode mode) { return OsOpen(path_.c_str(), mode, &file_); }

  std::string ReadAt(int64_t at, size_t size) {
    std::string bytes(size, '#');
    const OsReadResult got = OsReadAt(file_, at, bytes.data(), size);
    EXPECT_FALSE(got.failed);
    bytes.resize(got.bytes);
    return bytes;
  }
};

}  // namespace

TEST_F(OsFiles, OpeningToReadOrUpdateReportsAMissingFile) {
  int error = 0;
  EXPECT_EQ(OsOpen(path_.c_str(), kOsRead, &file_, &error), kOsMissing);
  EXPECT_NE(error, 0);
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(Open(kOsUpdate), kOsMissing);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(OsFiles, CreatingInAMissingDirectoryIsMissing) {
  EXPECT_EQ(OsOpen((directory_ / "none/file").c_str(), kOsCreate, &file_), kOsMissing);
}

TEST_F(OsFiles, ReadingADirectoryIsRefused) {
  int error = 0;
  EXPECT_EQ(OsOpen(directory_.Path().c_str(), kOsRead, &file_, &error), kOsFailed);
  EXPECT_NE(error, 0);
  EXPECT_FALSE(file_.IsOpen());
}

TEST_F(OsFiles, EitherSlashSeparates) {
  MakeDirectory(directory_ / "sub");
  WriteFile(directory_ / "sub/file", "x");
  std::string turned = directory_ / "sub/file";
  for (char& c : turned) c = c == '/' ? '\\' : c;
  ASSERT_EQ(OsOpen(turned.c_str(), kOsRead, &file_), kOsOk);
  EXPECT_EQ(ReadAt(0, 9), "x");
}

TEST_F(OsFiles, ReadReturnsTheBytesUnchanged) {
  const std::string bytes = FromHex("0D 0A 1A 00 0A FF");
  WriteFile(path_, bytes);
  ASSERT_EQ(Open(kOsRead), kOsOk);
  EXPECT_TRUE(file_.IsOpen());
  EXPECT_EQ(OsSize(file_), 6);
  EXPECT_EQ(ToHex(ReadAt(0, 6)), "0D 0A 1A 00 0A FF");
  EXPECT_EQ(ToHex(ReadAt(2, 2)), "1A 00");
}

TEST_F(OsFiles, ReadBeyondTheEndReturnsTheBytesBeforeIt) {
  WriteFile(path_, "abc");
  ASSERT_EQ(Open(kOsRead), kOsOk);
  EXPECT_EQ(ReadAt(0, 10), "abc");
  EXPECT_EQ(ReadAt(2, 10), "c");
  EXPECT_EQ(ReadAt(3, 10), "");
  EXPECT_EQ(ReadAt(100, 1), "");
}

TEST_F(OsFiles, AFileOpenedToReadTakesNoBytes) {
  WriteFile(path_, "abc");
  ASSERT_EQ(Open(kOsRead), kOsOk);
  EXPECT_EQ(OsWrite(file_, "x", 1), -1);
  EXPECT_EQ(OsWriteOnce(file_, "x", 1), -1);
  EXPECT_EQ(OsWriteAt(file_, 0, "x", 1), kOsFailed);
  EXPECT_EQ(OsSetSize(file_, 0), -1);
  EXPECT_EQ(ReadFile(path_), "abc");
}

TEST_F(OsFiles, CreateEmptiesAFileAndWritesBytesAsTheyAre) {
  WriteFile(path_, "old and longer");
  ASSERT_EQ(Open(kOsCreate), kOsOk);
  EXPECT_EQ(OsSize(file_), 0);
  EXPECT_EQ(OsWrite(file_, "a\nb", 3), 0);
  EXPECT_EQ(OsWrite(file_, "\r\n", 2), 0);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), "61 0A 62 0D 0A");
}

TEST_F(OsFiles, CreateMakesAFile) {
  ASSERT_EQ(Open(kOsCreate), kOsOk);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ReadFile(path_), "");
}

TEST_F(OsFiles, CreateNewReadsAndWritesButNeverOpensAnExistingFile) {
  ASSERT_EQ(Open(kOsCreateNew), kOsOk);
  EXPECT_EQ(OsWrite(file_, "abc", 3), 0);
  EXPECT_EQ(ReadAt(1, 2), "bc");
  EXPECT_EQ(OsClose(&file_), 0);
  int error = 0;
  EXPECT_EQ(OsOpen(path_.c_str(), kOsCreateNew, &file_, &error), kOsExists);
  EXPECT_NE(error, 0);
  EXPECT_EQ(ReadFile(path_), "abc");
}

TEST_F(OsFiles, CreateLockNeverOpensAnExistingFile) {
  ASSERT_EQ(Open(kOsCreateLock), kOsOk);
  EXPECT_EQ(OsWriteOnce(file_, "abc\n", 4), 4);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), "61 62 63 0A");
  EXPECT_EQ(Open(kOsCreateLock), kOsExists);
  EXPECT_EQ(OsOpen((directory_ / "none/file").c_str(), kOsCreateLock, &file_), kOsMissing);
}

TEST_F(OsFiles, ExclusiveCreationFindsADirectoryInItsWay) {
  EXPECT_EQ(OsOpen(directory_.Path().c_str(), kOsCreateNew, &file_), kOsExists);
  EXPECT_EQ(OsOpen(directory_.Path().c_str(), kOsCreateLock, &file_), kOsExists);
}

TEST_F(OsFiles, UpdateKeepsTheContentsAndWritesInPlace) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(Open(kOsUpdate), kOsOk);
  EXPECT_EQ(OsWriteAt(file_, 2, "XY", 2), kOsOk);
  EXPECT_EQ(ReadAt(0, 9), "abXYef");
  EXPECT_EQ(OsWriteAt(file_, 6, "gh", 2), kOsOk);
  EXPECT_EQ(OsSize(file_), 8);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ReadFile(path_), "abXYefgh");
}

TEST_F(OsFiles, WritingBeyondTheEndFillsTheGapWithZeros) {
  WriteFile(path_, "a");
  ASSERT_EQ(Open(kOsUpdate), kOsOk);
  EXPECT_EQ(OsWriteAt(file_, 3, "b", 1), kOsOk);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), "61 00 00 62");
}

TEST_F(OsFiles, WritingNothingSucceeds) {
  ASSERT_EQ(Open(kOsCreateNew), kOsOk);
  EXPECT_EQ(OsWriteAt(file_, 0, "", 0), kOsOk);
  EXPECT_EQ(OsWrite(file_, "", 0), 0);
  EXPECT_EQ(OsSize(file_), 0);
}

TEST_F(OsFiles, AppendGoesToTheEndAndCreates) {
  ASSERT_EQ(Open(kOsAppend), kOsOk);
  EXPECT_EQ(OsWrite(file_, "a\n", 2), 0);
  EXPECT_EQ(OsClose(&file_), 0);
  ASSERT_EQ(Open(kOsAppend), kOsOk);
  EXPECT_EQ(OsSize(file_), 2);
  EXPECT_EQ(OsWrite(file_, "b\n", 2), 0);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), "61 0A 62 0A");
}

TEST_F(OsFiles, TwoThatAppendDoNotOverwriteEachOther) {
  OsFile other;
  ASSERT_EQ(Open(kOsAppend), kOsOk);
  ASSERT_EQ(OsOpen(path_.c_str(), kOsAppend, &other), kOsOk);
  EXPECT_EQ(OsWrite(file_, "a", 1), 0);
  EXPECT_EQ(OsWrite(other, "b", 1), 0);
  EXPECT_EQ(OsWrite(file_, "c", 1), 0);
  EXPECT_EQ(ReadFile(path_), "abc");
}

TEST_F(OsFiles, AppendTextWritesThePlatformsLineEnd) {
  WriteFile(path_, "a");
  ASSERT_EQ(Open(kOsAppendText), kOsOk);
  EXPECT_EQ(OsWrite(file_, "b\nc\n", 4), 0);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ReadFile(path_), std::string("ab") + kOsLineEnd + "c" + kOsLineEnd);
}

TEST(OsLineEnd, IsThePlatformsOwn) {
#ifdef _WIN32
  EXPECT_STREQ(kOsLineEnd, "\r\n");
#else
  EXPECT_STREQ(kOsLineEnd, "\n");
#endif
}

TEST_F(OsFiles, SetSizeCutsAndLengthens) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(Open(kOsUpdate), kOsOk);
  EXPECT_EQ(OsSetSize(file_, 2), 0);
  EXPECT_EQ(OsSize(file_), 2);
  EXPECT_EQ(OsSetSize(file_, 4), 0);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), "61 62 00 00");
}

TEST_F(OsFiles, SetSizeRefusesANegativeSize) {
  WriteFile(path_, "abc");
  ASSERT_EQ(Open(kOsUpdate), kOsOk);
  EXPECT_EQ(OsSetSize(file_, -1), -1);
  EXPECT_EQ(ReadFile(path_), "abc");
}

TEST_F(OsFiles, CloseLeavesTheFileClosedAndAClosedFileClosesWell) {
  ASSERT_EQ(Open(kOsCreate), kOsOk);
  EXPECT_EQ(OsClose(&file_), 0);
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(OsClose(&file_), 0);
}

TEST_F(OsFiles, GoingOutOfScopeCloses) {
  {
    OsFile file;
    ASSERT_EQ(OsOpen(path_.c_str(), kOsCreate, &file), kOsOk);
    ASSERT_EQ(OsWrite(file, "abc", 3), 0);
  }
  // An open file could not be removed on every platform.
  EXPECT_EQ(OsRemove(path_.c_str()), kOsOk);
}

TEST_F(OsFiles, PositionsBeyondFourGigabytesAreKept) {
  constexpr int64_t kFar = (int64_t{1} << 32) + 5;
  ASSERT_EQ(Open(kOsCreateNew), kOsOk);
  if (OsWriteAt(file_, kFar, "x", 1) != kOsOk) GTEST_SKIP() << "this file system holds no file of 4 GiB";
  EXPECT_EQ(OsSize(file_), kFar + 1);
  EXPECT_EQ(ReadAt(kFar, 2), "x");
}

TEST_F(OsFiles, WhatIsOnlyLookedAtCanBeMovedAndDeleted) {
  WriteFile(path_, "text");
  ASSERT_EQ(Open(kOsReadShared), kOsOk);
  ASSERT_EQ(OsRename(path_.c_str(), (directory_ / "b").c_str()), kOsOk);
  EXPECT_EQ(OsRemove((directory_ / "b").c_str()), kOsOk);
  EXPECT_EQ(ReadAt(0, 4), "text");
}

TEST_F(OsFiles, NeitherADirectoryNorAMissingFileCanBeLookedAt) {
  EXPECT_EQ(Open(kOsReadShared), kOsMissing);
  EXPECT_EQ(OsOpen(directory_.Path().c_str(), kOsReadShared, &file_), kOsFailed);
}
