// What only the POSIX side of the platform layer has to do.
#ifndef _WIN32

#include <fcntl.h>
#include <gtest/gtest-death-test.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "platform/os.h"
#include "platform/os_posix_rename.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

// The process ends with 0 when both writes fail, and otherwise with the number of the step that went wrong.
void WriteWhereNothingCanBeWritten() {
  OsPrepareProcess();
  int ends[2];
  if (pipe(ends) != 0 || close(ends[0]) != 0) _exit(1);
  if (write(ends[1], "x", 1) >= 0 || errno != EPIPE) _exit(2);
  const TemporaryDirectory directory;
  const rlimit none = {0, 0};
  OsFile file;
  if (setrlimit(RLIMIT_FSIZE, &none) != 0) _exit(3);
  if (OsOpen((directory / "file").c_str(), kOsCreate, &file) != kOsOk) _exit(4);
  _exit(OsWrite(file, "x", 1) == 0 ? 5 : 0);
}

// The process ends with 0 when all three streams are there and the next file gets another number.
void PrepareWithoutStreams() {
  for (const int descriptor : {0, 1, 2}) (void)close(descriptor);
  OsPrepareProcess();
  for (const int descriptor : {0, 1, 2}) {
    if (fcntl(descriptor, F_GETFD) < 0) _exit(1);
  }
  _exit(open("/dev/null", O_RDONLY) > 2 ? 0 : 2);
}

}  // namespace

TEST(OsPosix, TheLockIsForTheOwnersEyesOnly) {
  const TemporaryDirectory directory;
  OsFile file;
  ASSERT_EQ(OsOpen((directory / "lock").c_str(), kOsCreateLock, &file), kOsOk);
  EXPECT_EQ(ModeOf(directory / "lock"), 0600U);
}

TEST(OsPosix, APathThatIsTooLongFailsAndIsNeverTakenForAbsent) {
  for (const size_t length : {4096U, 4097U, 10000U}) {
    const std::string path = "/" + std::string(length - 1, '/');
    OsFile file;
    OsStatus status;
    EXPECT_EQ(OsStat(path.c_str(), &status), kOsFailed);
    EXPECT_EQ(OsOpen(path.c_str(), kOsRead, &file), kOsFailed);
    EXPECT_EQ(OsRemove(path.c_str()), kOsFailed);
    EXPECT_EQ(OsSameFile(path.c_str(), path.c_str()), kOsNotTold);
    EXPECT_EQ(OsRename(path.c_str(), path.c_str()), kOsFailed);
  }
  OsStatus status;
  EXPECT_EQ(OsStat(std::string(4095, '/').c_str(), &status), kOsOk);
}

// If another directory takes the name of an open one in the middle of a message, all its files go to the open one.
TEST(OsPosix, AnOpenDirectoryIsTheOneThatStoodThereWhenItWasOpened) {
  const TemporaryDirectory directory;
  const std::string path = directory / "msg";
  MakeDirectory(path);
  WriteFile(path + "/a", "first");
  OsDirectory open;
  ASSERT_EQ(OsOpenDirectory(path.c_str(), kOsTrustPath, &open), kOsOk);
  std::filesystem::rename(path, directory / "moved");
  MakeDirectory(path);
  WriteFile(path + "/b", "second");
  OsStatus status;
  EXPECT_EQ(OsStat({(path + "/a").c_str(), open.handle}, &status), kOsOk);
  EXPECT_EQ(OsStat({(path + "\\b").c_str(), open.handle}, &status), kOsMissing);
  EXPECT_EQ(OsStat((path + "/a").c_str(), &status), kOsMissing);
  EXPECT_EQ(OsStat((path + "/b").c_str(), &status), kOsOk);
}

// Someone may run the program under a lock on that very directory.
TEST(OsPosix, ALockOfAnotherProgramDoesNotProtectAStaleFile) {
  const TemporaryDirectory directory;
  const std::string path = directory / "lock";
  WriteFile(path, "");
  const int other = open(directory.Path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  EXPECT_EQ(OsRemoveUnchanged(path.c_str(), ModifiedAt(path) - 1), kOsExists);
  EXPECT_EQ(OsRemoveUnchanged(path.c_str(), ModifiedAt(path)), kOsOk);
  EXPECT_FALSE(PathExists(path));
  ASSERT_EQ(close(other), 0);
}

TEST(OsPosix, RemoveUnchangedFindsTheDirectoryOfAnyPath) {
  const TemporaryDirectory directory;
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(directory.Path());
  WriteFile("lock", "");
  EXPECT_EQ(OsRemoveUnchanged("lock", ModifiedAt("lock")), kOsOk);
  std::filesystem::current_path(before);
  EXPECT_EQ(OsRemoveUnchanged("/cvtoss32-no-such-file", 0), kOsMissing);
}

// A program that holds a lease on a file is asked to give it up, and the file opens when it has done so.
TEST(OsPosix, AFileUnderALeaseOpensAfterItsHolderHasGivenItUp) {
  const TemporaryDirectory directory;
  const std::string path = directory / "file";
  WriteFile(path, "x");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const int descriptor = open(path.c_str(), O_RDWR);
    if (fcntl(descriptor, F_SETLEASE, F_WRLCK) != 0 || write(ready[1], "x", 1) != 1) _exit(1);
    for (;;) (void)pause();  // the request is a signal, which ends this process and with it the lease
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  OsFile file;
  EXPECT_EQ(OsOpen(path.c_str(), kOsUpdate, &file), kOsOk);
  int status = 0;
  EXPECT_EQ(waitpid(holder, &status, 0), holder);
  EXPECT_TRUE(WIFSIGNALED(status));
  (void)close(ready[0]);
  (void)close(ready[1]);
}

TEST(OsPosix, APreparedProcessSurvivesAPipeWithoutReaderAndAFileAtItsLimit) {
  EXPECT_EXIT(WriteWhereNothingCanBeWritten(), testing::ExitedWithCode(0), "");
}

TEST(OsPosix, APreparedProcessHasItsThreeStreams) {
  EXPECT_EXIT(PrepareWithoutStreams(), testing::ExitedWithCode(0), "");
}

TEST(OsPosix, OtherFilesFollowTheUmask) {
  const TemporaryDirectory directory;
  OsFile file;
  const mode_t earlier = umask(027);
  ASSERT_EQ(OsOpen((directory / "file").c_str(), kOsCreate, &file), kOsOk);
  umask(earlier);
  EXPECT_EQ(ModeOf(directory / "file"), 0640U);
}

TEST(OsPosix, ABackslashSeparatesInEveryCallThatTakesAPath) {
  const TemporaryDirectory directory;
  MakeDirectory(directory / "sub");
  OsFile file;
  OsStatus status;
  ASSERT_EQ(OsOpen((directory / "sub\\a").c_str(), kOsCreateNew, &file), kOsOk);
  EXPECT_TRUE(PathExists(directory / "sub/a"));
  EXPECT_EQ(OsStat((directory / "sub\\a").c_str(), &status), kOsOk);
  EXPECT_EQ(OsSameFile((directory / "sub\\a").c_str(), (directory / "sub/a").c_str()), kOsOk);
  EXPECT_EQ(OsRename((directory / "sub\\a").c_str(), (directory / "sub\\b").c_str()), kOsOk);
  EXPECT_TRUE(PathExists(directory / "sub/b"));
  EXPECT_EQ(OsRemoveUnchanged((directory / "sub\\b").c_str(), ModifiedAt(directory / "sub/b")), kOsOk);
  WriteFile(directory / "sub/c", "");
  EXPECT_EQ(OsRemove((directory / "sub\\c").c_str()), kOsOk);
  EXPECT_EQ(OsMakeDirectory((directory / "sub\\d").c_str()), kOsOk);
  EXPECT_TRUE(PathExists(directory / "sub/d"));
  OsList list;
  EXPECT_EQ(OsListOpen((directory / "sub\\d").c_str(), &list), kOsOk);
}

TEST(OsPosix, AListedNameWithABackslashIsLeftOut) {
  const TemporaryDirectory directory;
  const int made = open((directory / "..\\x").c_str(), O_CREAT | O_WRONLY, 0600);
  ASSERT_GE(made, 0);
  close(made);
  WriteFile(directory / "y", "");
  OsList list;
  ASSERT_EQ(OsListOpen(directory.Path().c_str(), &list), kOsOk);
  std::set<std::string> names;
  char name[kOsNameSize];
  while (OsListNext(&list, name) == kOsOk) names.insert(name);
  EXPECT_EQ(names, (std::set<std::string>{".", "..", "y"}));
}

TEST(OsPosix, LinksAreFollowed) {
  const TemporaryDirectory directory;
  WriteFile(directory / "file", "abc");
  ASSERT_EQ(symlink((directory / "file").c_str(), (directory / "link").c_str()), 0);
  OsStatus status;
  ASSERT_EQ(OsStat((directory / "link").c_str(), &status), kOsOk);
  EXPECT_EQ(status.kind, kOsRegularFile);
  EXPECT_EQ(status.size, 3);
}

TEST(OsPosix, ALinkThatLeadsNowhereIsNotAbsent) {
  const TemporaryDirectory directory;
  WriteFile(directory / "file", "abc");
  for (const char* const target : {"nowhere", "link", "file/below"}) {
    SCOPED_TRACE(target);
    ASSERT_EQ(symlink(target, (directory / "link").c_str()), 0);
    OsStatus status;
    EXPECT_EQ(OsStat((directory / "link").c_str(), &status), kOsDangling);
    RemoveFile(directory / "link");
  }
}

TEST(OsPosix, OnlyALinkOnTheLeftIsTheSameFile) {
  const TemporaryDirectory directory;
  MakeDirectory(directory / "sub");
  WriteFile(directory / "file", "abc");
  const std::string file = directory / "file";
  const std::string link = directory / "sub/file";
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  EXPECT_EQ(OsSameFile(link.c_str(), file.c_str()), kOsOk);
  EXPECT_EQ(OsSameFile(file.c_str(), link.c_str()), kOsMissing);
  ASSERT_EQ(symlink("nowhere", (directory / "dangling").c_str()), 0);
  EXPECT_EQ(OsSameFile(file.c_str(), (directory / "dangling").c_str()), kOsMissing);
}

TEST(OsPosix, APathBeyondAllMeasureIsNeverTheSameFile) {
  const TemporaryDirectory directory;
  WriteFile(directory / "a", "");
  std::filesystem::create_hard_link(directory / "a", directory / "b");
  const std::string around(1100, '/');
  EXPECT_EQ(OsSameFile((directory / "a").c_str(), (directory.Path() + around + "b").c_str()), kOsNotTold);
  EXPECT_EQ(OsSameFile((directory.Path() + around + "b").c_str(), (directory / "a").c_str()), kOsNotTold);
}

TEST(OsPosix, APipeNeitherHangsNorHasPositions) {
  const TemporaryDirectory directory;
  const std::string path = directory / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  OsStatus status;
  ASSERT_EQ(OsStat(path.c_str(), &status), kOsOk);
  EXPECT_EQ(status.kind, kOsOtherKind);
  OsFile file;
  ASSERT_EQ(OsOpen(path.c_str(), kOsUpdate, &file), kOsOk);
  EXPECT_EQ(OsWriteAt(file, 0, "x", 1), kOsUnseekable);
  EXPECT_EQ(OsSize(file), -1);
}

TEST(OsPosix, WhatIsCreatedOrEmptiedIsNeverReachedThroughALink) {
  const TemporaryDirectory directory;
  WriteFile(directory / "file", "abc");
  std::filesystem::create_symlink("file", directory / "link");
  std::filesystem::create_symlink("none", directory / "nowhere");
  for (const char* name : {"link", "nowhere"}) {
    OsFile file;
    EXPECT_EQ(OsOpen((directory / name).c_str(), kOsCreate, &file), kOsFailed);
  }
  EXPECT_EQ(ReadFile(directory / "file"), "abc");
  EXPECT_FALSE(PathExists(directory / "none"));
}

TEST(OsPosix, APathThatTheSystemCannotTakeOpensNothing) {
  const std::string path(5000, 'x');
  OsFile file;
  OsStatus status;
  EXPECT_NE(OsOpen(path.c_str(), kOsCreate, &file), kOsOk);
  EXPECT_NE(OsStat(path.c_str(), &status), kOsOk);
  EXPECT_EQ(OsRename(path.c_str(), "y"), kOsFailed);
  EXPECT_EQ(OsRename("y", path.c_str()), kOsFailed);
}

TEST(OsPosixDeathTest, EachBreakSignalRemovesTheFileAndThenKills) {
  for (const int number : {SIGINT, SIGQUIT, SIGHUP, SIGTERM}) {
    const TemporaryDirectory directory;
    MakeDirectory(directory / "msg");
    WriteFile(directory / "msg/CVTOSS.BSY", "x");
    EXPECT_EXIT(
        {
          (void)signal(number, SIG_DFL);
          OsInstallBreakHandler();
          OsSetBreakFile((directory / "msg\\CVTOSS.BSY").c_str(), "x");
          (void)raise(number);
        },
        testing::KilledBySignal(number), "");
    EXPECT_FALSE(PathExists(directory / "msg/CVTOSS.BSY")) << number;
  }
}

TEST(OsPosixDeathTest, ABreakLeavesAFileThatHoldsSomethingElse) {
  for (const char* const other : {"", "own", "own line, and more"}) {
    const TemporaryDirectory directory;
    WriteFile(directory / "CVTOSS.BSY", other);
    EXPECT_EXIT(
        {
          (void)signal(SIGTERM, SIG_DFL);
          OsInstallBreakHandler();
          OsSetBreakFile((directory / "CVTOSS.BSY").c_str(), "own line");
          (void)raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
    EXPECT_EQ(ReadFile(directory / "CVTOSS.BSY"), other);
  }
}

TEST(OsPosixDeathTest, ABreakRemovesNothingOnceNoFileIsSet) {
  const TemporaryDirectory directory;
  WriteFile(directory / "CVTOSS.BSY", "x");
  EXPECT_EXIT(
      {
        (void)signal(SIGINT, SIG_DFL);  // a background job of a shell starts with it switched off
        OsInstallBreakHandler();
        OsSetBreakFile((directory / "CVTOSS.BSY").c_str(), "x");
        OsSetBreakFile("", "");
        (void)raise(SIGINT);
      },
      testing::KilledBySignal(SIGINT), "");
  EXPECT_TRUE(PathExists(directory / "CVTOSS.BSY"));
}

TEST(OsPosixDeathTest, ASignalThatTheParentSwitchedOffStaysOff) {
  EXPECT_EXIT(
      {
        (void)signal(SIGHUP, SIG_IGN);
        OsInstallBreakHandler();
        (void)raise(SIGHUP);
        _exit(7);
      },
      testing::ExitedWithCode(7), "");
}

#endif
