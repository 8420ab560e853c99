// Moving without replacing, by each of the ways that a POSIX file system may ask for.
#ifndef _WIN32

#include "platform/os_posix_rename.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

using Mover = OsResult (*)(const OsPlace& from, const OsPlace& to, const OsIdentity* only);

class PosixMove : public testing::TestWithParam<Mover> {
 protected:
  TemporaryDirectory directory_;
  const std::string from_ = directory_ / "from";
  const std::string to_ = directory_ / "to";

  OsResult Move() const { return GetParam()(from_.c_str(), to_.c_str(), nullptr); }
};

// While it lives, no file of this process grows beyond `bytes`.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    (void)getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    (void)setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    (void)setrlimit(RLIMIT_FSIZE, &before_);
    (void)signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_ = {};
  void (*handler_)(int);
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(EachWay, PosixMove,
                         testing::Values(PosixRenameWithoutReplacing, PosixMoveByLink, PosixMoveByLooking,
                                         PosixMoveByCopy));

TEST_P(PosixMove, TakesTheFileWithItsBytes) {
  const std::string content = std::string(70000, 'x') + std::string("\0\x1A\n", 3);
  WriteFile(from_, content);
  EXPECT_EQ(Move(), kOsOk);
  EXPECT_FALSE(PathExists(from_));
  EXPECT_EQ(ReadFile(to_), content);
}

TEST_P(PosixMove, NeverReplacesAFile) {
  WriteFile(from_, "new");
  WriteFile(to_, "old");
  EXPECT_EQ(Move(), kOsExists);
  EXPECT_EQ(ReadFile(from_), "new");
  EXPECT_EQ(ReadFile(to_), "old");
}

TEST_P(PosixMove, FailsWithoutASourceOrADirectoryToMoveTo) {
  EXPECT_EQ(Move(), kOsFailed);
  EXPECT_FALSE(PathExists(to_));
  WriteFile(from_, "new");
  EXPECT_EQ(GetParam()(from_.c_str(), (directory_ / "missing/to").c_str(), nullptr), kOsFailed);
  EXPECT_EQ(ReadFile(from_), "new");
}

// Another file system than the one of temporary files, if there is one.
class PosixMoveAcross : public PosixMove {
 protected:
  const std::string to_ = "/dev/shm/cvtoss-move-" + std::to_string(OsProcessId());

  void SetUp() override {
    struct stat here = {};
    struct stat there = {};
    if (stat("/dev/shm", &there) != 0 || access("/dev/shm", W_OK) != 0 || stat(directory_.Path().c_str(), &here) != 0 ||
        here.st_dev == there.st_dev) {
      GTEST_SKIP() << "no second file system to write to";
    }
  }
  void TearDown() override { (void)unlink(to_.c_str()); }
};

INSTANTIATE_TEST_SUITE_P(EachWay, PosixMoveAcross,
                         testing::Values(PosixRenameWithoutReplacing, PosixMoveByLink, PosixMoveByLooking,
                                         PosixMoveByCopy));

TEST_P(PosixMoveAcross, CopiesWhatOnlyItsOwnerMayReadForItsOwnerOnly) {
  WriteFile(from_, "private");
  ASSERT_EQ(chmod(from_.c_str(), 0600), 0);
  EXPECT_EQ(GetParam()(from_.c_str(), to_.c_str(), nullptr), kOsOk);
  EXPECT_FALSE(PathExists(from_));
  EXPECT_EQ(ReadFile(to_), "private");
  struct stat copy = {};
  ASSERT_EQ(stat(to_.c_str(), &copy), 0);
  EXPECT_EQ(copy.st_mode & 0777, 0600U);
}

TEST_P(PosixMoveAcross, NeverReplacesAFile) {
  WriteFile(from_, "new");
  WriteFile(to_, "old");
  EXPECT_EQ(GetParam()(from_.c_str(), to_.c_str(), nullptr), kOsExists);
  EXPECT_EQ(ReadFile(from_), "new");
  EXPECT_EQ(ReadFile(to_), "old");
}

TEST(PosixMoveByCopyAlone, AHalfCopyIsRemovedAgain) {
  const TemporaryDirectory directory;
  const std::string from = directory / "from";
  const std::string to = directory / "to";
  const std::string content(100000, 'x');
  WriteFile(from, content);
  {
    const FileSizeLimit limit(70000);
    EXPECT_EQ(PosixMoveByCopy(from.c_str(), to.c_str(), nullptr), kOsFailed);
  }
  EXPECT_EQ(ReadFile(from), content);
  EXPECT_FALSE(PathExists(to));
}

// Directories have no second links anywhere, and can be renamed.
TEST(PosixMoveByLinkAlone, WhatCannotBeLinkedIsRenamed) {
  const TemporaryDirectory directory;
  MakeDirectory(directory / "from");
  EXPECT_EQ(PosixMoveByLink((directory / "from").c_str(), (directory / "to").c_str(), nullptr), kOsOk);
  EXPECT_FALSE(PathExists(directory / "from"));
  EXPECT_TRUE(PathExists(directory / "to"));
}

#endif
