// Names that are given to another file, or replaced by a link, at any moment.
#ifndef _WIN32

#include "platform/os_posix_identity.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "platform/os_posix_rename.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

using Mover = OsResult (*)(const OsPlace& from, const OsPlace& to, const OsIdentity* only);

class PosixMoveOnly : public testing::TestWithParam<Mover> {
 protected:
  PosixMoveOnly() {
    WriteFile(from_, "read");
    OsFile file;
    EXPECT_EQ(OsOpen(from_.c_str(), kOsRead, &file), kOsOk);
    EXPECT_EQ(OsIdentify(file, &read_), kOsOk);
  }

  OsResult Move() const { return GetParam()(from_.c_str(), to_.c_str(), &read_); }

  void ExpectNotMoved() const {
    EXPECT_EQ(Move(), kOsFailed);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(from_)));
    EXPECT_FALSE(PathExists(to_));
    EXPECT_EQ(OsRemove(from_.c_str(), &read_), kOsFailed);
  }

  TemporaryDirectory directory_;
  const std::string from_ = directory_ / "from";
  const std::string to_ = directory_ / "to";
  const std::string other_ = directory_ / "other";
  OsIdentity read_;
};

const char* leased;

// What its holder does when somebody opens the leased file.
extern "C" void PutPipeInPlace(int) {
  (void)unlink(leased);
  (void)mkfifo(leased, 0600);
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(EachWay, PosixMoveOnly,
                         testing::Values(PosixRenameWithoutReplacing, PosixMoveByLink, PosixMoveByLooking,
                                         PosixMoveByCopy));

TEST_P(PosixMoveOnly, TakesTheFileThatWasRead) {
  EXPECT_EQ(Move(), kOsOk);
  EXPECT_EQ(ReadFile(to_), "read");
  EXPECT_FALSE(PathExists(from_));
}

TEST_P(PosixMoveOnly, LeavesAnotherFile) {
  WriteFile(other_, "read");
  std::filesystem::rename(other_, from_);
  ExpectNotMoved();
}

TEST_P(PosixMoveOnly, LeavesAFileOfAnotherSizeOrTime) {
  ResizeFile(from_, 5);
  ExpectNotMoved();
  ResizeFile(from_, 4);
  const timespec times[2] = {{0, UTIME_OMIT}, {read_.modified / 1000000000, (read_.modified + 1) % 1000000000}};
  ASSERT_EQ(utimensat(AT_FDCWD, from_.c_str(), times, 0), 0);
  ExpectNotMoved();
}

TEST_P(PosixMoveOnly, LeavesAPipeAndADirectoryAndALinkToAnotherFile) {
  RemoveFile(from_);
  ASSERT_EQ(mkfifo(from_.c_str(), 0600), 0);
  ExpectNotMoved();
  RemoveFile(from_);
  MakeDirectory(from_);
  ExpectNotMoved();
  std::filesystem::remove(from_);
  WriteFile(other_, "read");
  ASSERT_EQ(symlink(other_.c_str(), from_.c_str()), 0);
  ExpectNotMoved();
}

TEST_P(PosixMoveOnly, TakesALinkToTheFileThatWasRead) {
  std::filesystem::rename(from_, other_);
  ASSERT_EQ(symlink(other_.c_str(), from_.c_str()), 0);
  EXPECT_EQ(Move(), kOsOk);
  EXPECT_EQ(ReadFile(to_), "read");
  EXPECT_EQ(ReadFile(other_), "read");
}

TEST(PosixIdentity, OnlyARegularFileHasOne) {
  OsFile file;
  OsIdentity identity;
  ASSERT_EQ(OsOpen("/dev/null", kOsRead, &file), kOsOk);
  EXPECT_EQ(OsIdentify(file, &identity), kOsFailed);
}

// Run in a child: what hangs there is ended by its alarm.
TEST(OsPosixDeathTest, APipeThatTakesTheNameOfALeasedFileDoesNotHang) {
  const TemporaryDirectory directory;
  const std::string path = directory / "a";
  EXPECT_EXIT(
      {
        leased = path.c_str();
        WriteFile(path, "x");
        const int holder = open(leased, O_RDWR | O_CLOEXEC);
        (void)signal(SIGIO, PutPipeInPlace);
        (void)alarm(30);
        if (fcntl(holder, F_SETLEASE, F_WRLCK) != 0) _exit(7);  // a file system without leases
        OsFile file;
        const bool opened = OsOpen(leased, kOsRead, &file) == kOsOk;
        _exit(opened && OsSize(file) == -1 ? 7 : 8);
      },
      testing::ExitedWithCode(7), "");
}

// A link of the same user is followed; the links that are not can be made by root only, in the end-to-end tests.
TEST(PosixOpenDirectory, OwnersAreTrustedAndFilesAreNoDirectories) {
  const TemporaryDirectory directory;
  MakeDirectory(directory / "store");
  WriteFile(directory / "store/a", "x");
  ASSERT_EQ(symlink("store", (directory / "link").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", (directory / "dangling").c_str()), 0);
  ASSERT_EQ(symlink("store/a", (directory / "to-a-file").c_str()), 0);
  ASSERT_EQ(chmod(directory.Path().c_str(), 0777), 0);
  for (const char* name : {"store", "link"}) {
    OsDirectory open;
    ASSERT_EQ(OsOpenDirectory((directory / name).c_str(), kOsTrustOwners, &open), kOsOk) << name;
    OsStatus status;
    EXPECT_EQ(OsStat({"a", open.handle}, &status), kOsOk);
  }
  for (const char* name : {"none", "none/store", "dangling"}) {
    OsDirectory open;
    EXPECT_EQ(OsOpenDirectory((directory / name).c_str(), kOsTrustOwners, &open), kOsMissing) << name;
  }
  for (const char* name : {"store/a", "to-a-file", "store/a/b"}) {
    OsDirectory open;
    EXPECT_EQ(OsOpenDirectory((directory / name).c_str(), kOsTrustOwners, &open), kOsFailed) << name;
  }
}

#endif
