#include "base/whole_file.h"

#include <gtest/gtest.h>

#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class WholeFile : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";
  ScopedDoor door_;
  ByteBuffer content_;

  int Read() { return ReadWholeFile(path_.c_str(), &content_); }
  std::string Content() const { return {reinterpret_cast<const char*>(content_.data), content_.size}; }
};

}  // namespace

TEST_F(WholeFile, IsReadByteForByteAndClosed) {
  const std::string bytes = FromHex("00 0D 0A 1A FF 00");
  WriteFile(path_, bytes);
  ASSERT_EQ(Read(), 0);
  EXPECT_EQ(Content(), bytes);
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(WholeFile, AnEmptyFileIsReadIntoMemoryOfItsOwn) {
  WriteFile(path_, "");
  ASSERT_EQ(Read(), 0);
  EXPECT_EQ(content_.size, 0U);
  EXPECT_NE(content_.data, nullptr);
}

TEST_F(WholeFile, TheMemoryIsUsedAgainWhereItSuffices) {
  WriteFile(path_, "abcdef");
  ASSERT_EQ(Read(), 0);
  WriteFile(path_, "xyz");
  ASSERT_EQ(Read(), 0);
  EXPECT_EQ(Content(), "xyz");
  EXPECT_EQ(door_.Count(Call::kReallocate), 1);
}

TEST_F(WholeFile, AMissingFileAndADirectoryAreRefused) {
  EXPECT_EQ(Read(), -1);
  EXPECT_EQ(ReadWholeFile(directory_.Path().c_str(), &content_), -1);
  EXPECT_EQ(content_.size, 0U);
}

TEST_F(WholeFile, AfterAnyFailureTheContentIsEmptyAndNothingIsOpen) {
  WriteFile(path_, "abcdef");
  for (const Call call : {Call::kOpen, Call::kSize, Call::kReallocate, Call::kReadAt, Call::kClose}) {
    FreeBytes(&content_);
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Read(), -1) << static_cast<int>(call);
    EXPECT_TRUE(door_.HasStruck()) << static_cast<int>(call);
    EXPECT_EQ(content_.size, 0U);
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
}

TEST_F(WholeFile, AFileThatGetsShorterMeanwhileIsRefused) {
  WriteFile(path_, "abcdef");
  door_.BeforeNth(Call::kReadAt, 1, [&] { WriteFile(path_, "abc"); });
  EXPECT_EQ(Read(), -1);
  EXPECT_EQ(content_.size, 0U);
}

TEST_F(WholeFile, AFileBeyondTheLimitIsRefusedBeforeMemoryIsTaken) {
  WriteFile(path_, "abcdef");
  EXPECT_EQ(ReadWholeFile(path_.c_str(), &content_, 5), -1);
  EXPECT_EQ(door_.Count(Call::kReallocate) + door_.Count(Call::kReadAt), 0);
  EXPECT_EQ(ReadWholeFile(path_.c_str(), &content_, 6), 0);
}

TEST_F(WholeFile, ItsPartsAreWrittenOneAfterAnother) {
  WriteFile(path_, "what was there before is longer");
  EXPECT_EQ(WriteWholeFile(path_.c_str(), {{"abc", 3}, {nullptr, 0}, {"\n\0\x1A", 3}}), 0);
  EXPECT_EQ(ReadFile(path_), std::string("abc\n\0\x1A", 6));
  EXPECT_EQ(WriteWholeFile(path_.c_str(), {}), 0);
  EXPECT_EQ(ReadFile(path_), "");
  EXPECT_EQ(door_.OpenHandles(), 0);
}

TEST_F(WholeFile, AFailedWriteLeavesNoFileBehind) {
  for (const Call call : {Call::kWrite, Call::kSyncFile, Call::kClose}) {
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(WriteWholeFile(path_.c_str(), {{"abc", 3}, {"def", 3}}, kWaitForDisk), -1) << static_cast<int>(call);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_FALSE(PathExists(path_));
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
  door_.Clear();
  door_.FailNth(Call::kWrite, 2);
  EXPECT_EQ(WriteWholeFile(path_.c_str(), {{"abc", 3}, {"def", 3}}), -1);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(WholeFile, AnEarlierFileThatCannotBeWrittenToIsRemovedAsWell) {
  WriteFile(path_, "left");
  door_.FailNth(Call::kOpen, 1);
  EXPECT_EQ(WriteWholeFile(path_.c_str(), {{"abc", 3}}), -1);
  EXPECT_FALSE(PathExists(path_));
}
