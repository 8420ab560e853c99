// States of a real system in which calls of the POSIX side fail.
#ifndef _WIN32

#include <fcntl.h>
#include <gtest/gtest-death-test.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "platform/os.h"
#include "platform/os_posix_rename.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

constexpr uid_t kNeighbour = 65534;

// The rest of a child's life is another user's, if this one may become that user.
void BecomeNeighbour() {
  if (geteuid() == 0 && setuid(kNeighbour) != 0) _exit(1);
}

class PosixFailures : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string a_ = directory_ / "a";
  const std::string b_ = directory_ / "b";
};

using PosixFailuresDeathTest = PosixFailures;

}  // namespace

TEST_F(PosixFailures, AFileOpenedToAppendCannotBeRead) {
  OsFile file;
  ASSERT_EQ(OsOpen(a_.c_str(), kOsAppend, &file), kOsOk);
  char byte = 0;
  EXPECT_TRUE(OsReadAt(file, 0, &byte, 1).failed);
}

TEST_F(PosixFailures, ASleepThatASignalInterruptsLastsAsLong) {
  void (*const before)(int) = signal(SIGALRM, [](int) {});
  const itimerval soon = {{}, {0, 5000}};
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(setitimer(ITIMER_REAL, &soon, nullptr), 0);
  OsSleep(30);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  (void)signal(SIGALRM, before);
}

TEST_F(PosixFailures, NothingIsRemovedFromAMissingDirectory) {
  EXPECT_EQ(OsRemoveUnchanged((directory_ / "none/lock").c_str(), 0), kOsMissing);
}

TEST_F(PosixFailures, AListedNameThatDoesNotFitIsAFailure) {
  WriteFile(directory_ / "name", "");
  void* list = nullptr;
  ASSERT_EQ(kOsNative.ListOpen(directory_.Path().c_str(), &list), kOsOk);
  char name[3];
  OsResult result = kOsOk;
  while (result == kOsOk) result = kOsNative.ListNext(list, name, sizeof name);
  EXPECT_EQ(result, kOsFailed);
  kOsNative.ListClose(list);
}

TEST_F(PosixFailures, NoProcessHasTheNumberZeroOrTheHighest) {
  EXPECT_EQ(OsFindProcess(0), kOsMissing);
  EXPECT_EQ(OsFindProcess(INT32_MAX), kOsMissing);
}

TEST_F(PosixFailures, APathOfTheProgramThatHasNoRoomIsNone) {
  char path[1];
  EXPECT_EQ(OsProgramPath(path, 0), 0U);
}

TEST_F(PosixFailures, AFileIsAnotherThanOneOnAnotherFileSystem) {
  WriteFile(a_, "");
  EXPECT_EQ(OsSameFile(a_.c_str(), "/proc/self/status"), kOsDifferent);
}

TEST_F(PosixFailures, OnlyALinkToTheOtherFileIsTheSameFile) {
  WriteFile(a_, "");
  WriteFile(b_, "");
  std::filesystem::create_symlink("b", directory_ / "link");
  std::filesystem::create_symlink("none", directory_ / "dangling");
  EXPECT_EQ(OsSameFile((directory_ / "link").c_str(), a_.c_str()), kOsDifferent);
  EXPECT_EQ(OsSameFile((directory_ / "dangling").c_str(), a_.c_str()), kOsNotTold);
  EXPECT_EQ(OsSameFile(a_.c_str(), std::string(5000, 'x').c_str()), kOsNotTold);
}

// The system refuses the first way to move it with the error of a file system that cannot rename without replacing.
TEST_F(PosixFailures, ADirectoryIsNotMovedIntoItself) {
  MakeDirectory(a_);
  EXPECT_EQ(OsRename(a_.c_str(), (a_ + "/b").c_str()), kOsFailed);
  EXPECT_TRUE(PathExists(a_));
}

TEST_F(PosixFailures, NothingIsMovedBelowAFile) {
  WriteFile(a_, "a");
  WriteFile(b_, "b");
  EXPECT_EQ(PosixMoveByLooking(a_.c_str(), (b_ + "/c").c_str(), nullptr), kOsFailed);
  EXPECT_EQ(ReadFile(a_), "a");
}

TEST_F(PosixFailures, ALinkThatLeadsNowhereIsNotTheFileThatWasRead) {
  WriteFile(a_, "a");
  OsFile file;
  OsIdentity read;
  ASSERT_EQ(OsOpen(a_.c_str(), kOsRead, &file), kOsOk);
  ASSERT_EQ(OsIdentify(file, &read), kOsOk);
  std::filesystem::create_symlink("none", b_);
  EXPECT_EQ(OsRemove(b_.c_str(), &read), kOsFailed);
  OsFile closed;
  EXPECT_EQ(OsIdentify(closed, &read), kOsFailed);
}

TEST_F(PosixFailures, AFileOnAnotherFileSystemIsSyncedThroughItsLink) {
  const std::string other = "/dev/shm/cvtoss-sync-" + std::to_string(OsProcessId());
  if (access("/dev/shm", W_OK) != 0) GTEST_SKIP() << "no second file system to write to";
  WriteFile(other, "x");
  std::filesystem::create_symlink(other, a_);
  const std::vector<OsSyncItem> items(20, OsSyncItem{"a"});
  EXPECT_EQ(OsSyncFiles(directory_.Path().c_str(), items.data(), items.size()), 0);
  RemoveFile(other);
}

TEST_F(PosixFailuresDeathTest, AProcessWithoutFreeDescriptorsIsPreparedAsFarAsItCan) {
  EXPECT_EXIT(
      {
        const rlimit none = {};
        if (setrlimit(RLIMIT_NOFILE, &none) != 0) _exit(1);
        OsPrepareProcess();
        _exit(open("/dev/null", O_RDONLY) < 0 ? 0 : 2);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(PosixFailuresDeathTest, AProcessOfAnotherUserIsFound) {
  EXPECT_EXIT(
      {
        BecomeNeighbour();
        _exit(OsFindProcess(1) == kOsOk ? 0 : 2);
      },
      testing::ExitedWithCode(0), "");
}

// A link is trusted when its owner is root or this process's user, or when nobody else can make one in its directory.
TEST_F(PosixFailuresDeathTest, ALinkOfAnotherUserIsFollowedOnlyInADirectoryThatOthersCannotWrite) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to give files to another user";
  MakeDirectory(directory_ / "store");
  const std::string link = directory_ / "link";
  std::filesystem::create_symlink("store", link);
  const auto opens = [&link] {
    OsDirectory open;
    return OsOpenDirectory(link.c_str(), kOsTrustOwners, &open) == kOsOk;
  };
  const char* const path = directory_.Path().c_str();
  EXPECT_TRUE(opens());
  ASSERT_EQ(lchown(link.c_str(), kNeighbour, kNeighbour), 0);
  EXPECT_TRUE(opens());
  ASSERT_EQ(chmod(path, 0777), 0);
  EXPECT_FALSE(opens());
  EXPECT_EXIT((BecomeNeighbour(), _exit(opens() ? 0 : 2)), testing::ExitedWithCode(0), "");
  ASSERT_EQ(chmod(path, 0755), 0);
  ASSERT_EQ(chown(path, kNeighbour, kNeighbour), 0);
  EXPECT_FALSE(opens());
}

#endif
