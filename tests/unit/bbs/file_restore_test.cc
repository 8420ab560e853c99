#include "bbs/file_restore.h"

#include "unit/support/site_fixture.h"

namespace {

class FileRestore : public SiteFixture {
 protected:
  int Restore(bool existed, int32_t size) const { return RestoreFile(path_.c_str(), {existed, size}); }

  const std::string path_ = site_.Msg("CVMSG01.DAT");
};

}  // namespace

TEST_F(FileRestore, AFileThatExistedGetsItsSizeBack) {
  WriteFile(path_, "old and new");
  EXPECT_EQ(Restore(true, 3), 0);
  EXPECT_EQ(ReadFile(path_), "old");
  EXPECT_EQ(Restore(true, 3), 0);
  EXPECT_EQ(ReadFile(path_), "old");
  EXPECT_EQ(Restore(true, 0), 0);
  EXPECT_EQ(ReadFile(path_), "");
}

TEST_F(FileRestore, AFileThatDidNotExistIsRemoved) {
  WriteFile(path_, "new");
  EXPECT_EQ(Restore(false, 0), 0);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(FileRestore, AFileThatIsGoneAlreadyIsRemoved) { EXPECT_EQ(Restore(false, 0), 0); }

TEST_F(FileRestore, AFileThatExistedAndIsGoneCannotBeRestored) {
  EXPECT_EQ(Restore(true, 0), -1);
  EXPECT_EQ(Restore(true, 3), -1);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(FileRestore, ASizeWithoutExistenceCutsTheFileAndDoesNotHold) {
  WriteFile(path_, "old and new");
  EXPECT_EQ(Restore(false, 3), -1);
  EXPECT_EQ(ReadFile(path_), "old");
}

TEST_F(FileRestore, EachFailingCallIsAFailure) {
  for (const Call call : {Call::kOpen, Call::kSetSize, Call::kClose, Call::kStat}) {
    WriteFile(path_, "old and new");
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Restore(true, 3), -1);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
  for (const Call call : {Call::kRemove, Call::kStat}) {
    WriteFile(path_, "new");
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Restore(false, 0), -1);
    EXPECT_TRUE(door_.HasStruck());
  }
}

TEST_F(FileRestore, WhatTheSystemClaimsIsVerified) {
  WriteFile(path_, "old and new");
  door_.BeforeNth(Call::kStat, 1, [&] { WriteFile(path_, "olden"); });
  EXPECT_EQ(Restore(true, 3), -1);
  WriteFile(path_, "new");
  door_.BeforeNth(Call::kStat, 1, [&] { WriteFile(path_, ""); });
  EXPECT_EQ(Restore(false, 0), -1);
  WriteFile(path_, "old and new");
  door_.BeforeNth(Call::kStat, 1, [&] { RemoveFile(path_); });
  EXPECT_EQ(Restore(true, 3), -1);
}
