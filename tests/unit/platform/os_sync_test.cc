// Waiting for the disk, as far as a test can see it: which files are synced, and what counts as a failure.
#include <gtest/gtest-death-test.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/os.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>
#endif

namespace {

// A few files are synced one by one, many together.
class OsSyncing : public testing::TestWithParam<size_t> {
 protected:
  OsSyncing() {
    for (size_t i = 0; i < GetParam(); ++i) {
      names_.push_back("CVMSG" + std::to_string(i));
      WriteFile(directory_ / names_.back(), "x");
    }
  }

  int Sync(intptr_t handle = kOsNone) const {
    std::vector<OsSyncItem> items;
    for (const std::string& name : names_) items.push_back({name.c_str(), items.size() % 4 == 3});
    return OsSyncFiles({directory_.Path().c_str(), handle}, items.data(), items.size());
  }

  TemporaryDirectory directory_;
  std::vector<std::string> names_;
};

INSTANTIATE_TEST_SUITE_P(FewAndMany, OsSyncing, testing::Values(1U, 4U, 40U));

}  // namespace

TEST_P(OsSyncing, FilesByPathAndInAnOpenDirectory) {
  EXPECT_EQ(Sync(), 0);
  OsDirectory open;
  ASSERT_EQ(OsOpenDirectory(directory_.Path().c_str(), kOsTrustPath, &open), kOsOk);
  EXPECT_EQ(Sync(open.handle), 0);
}

TEST_P(OsSyncing, AnAbsentFileIsPassedOver) {
  names_.front() = "absent";
  EXPECT_EQ(Sync(), 0);
}

TEST(OsSync, AFileThatIsOpenAndADirectory) {
  const TemporaryDirectory directory;
  OsFile file;
  ASSERT_EQ(OsOpen((directory / "file").c_str(), kOsCreate, &file), kOsOk);
  EXPECT_EQ(OsWrite(file, "x", 1), 0);
  EXPECT_EQ(OsSyncFile(file), 0);
  EXPECT_EQ(OsSyncDirectory(directory.Path().c_str()), 0);
}

#ifndef _WIN32

namespace {

long OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

// The process ends with 0 when a directory that may be searched but not read is no hindrance.
void SyncWhereNothingMayBeListed(const std::string& directory) {
  if (geteuid() == 0 && setuid(65534) != 0) _exit(1);
  if (access(directory.c_str(), R_OK) == 0) _exit(2);
  const std::vector<OsSyncItem> items(40, OsSyncItem{"file"});
  for (const size_t count : {size_t{1}, items.size()}) {
    if (OsSyncFiles(directory.c_str(), items.data(), count) != 0) _exit(3);
  }
  _exit(OsSyncDirectory(directory.c_str()) == 0 ? 0 : 4);
}

}  // namespace

// Neither can be synced: a device that keeps nothing, on another file system, and a link that leads round in a circle.
TEST_P(OsSyncing, OneFileThatCannotBeSyncedFailsTheRequest) {
  const long open_before = OpenDescriptors();
  for (const char* target : {"/dev/null", "CVMSG0"}) {
    (void)std::filesystem::remove(directory_ / names_.front());
    std::filesystem::create_symlink(target, directory_ / names_.front());
    EXPECT_EQ(Sync(), -1) << target;
  }
  EXPECT_EQ(OpenDescriptors(), open_before);
}

TEST(OsSync, WhatIsNotThereCannotBeSynced) {
  const OsSyncItem item = {"file"};
  EXPECT_EQ(OsSyncFiles("/proc/self/absent", &item, 1), -1);
  EXPECT_EQ(OsSyncDirectory("/proc/self/absent"), -1);
  OsFile closed;
  EXPECT_EQ(OsSyncFile(closed), -1);
}

TEST(OsSync, AFileSystemThatDoesNotSyncDirectoriesIsNoFailure) { EXPECT_EQ(OsSyncDirectory("/proc"), 0); }

TEST(OsSyncDeathTest, ADirectoryThatMayNotBeReadIsNoFailure) {
  const TemporaryDirectory directory;
  WriteFile(directory / "file", "x");
  ASSERT_EQ(chmod((directory / "file").c_str(), 0644), 0);
  ASSERT_EQ(chmod(directory.Path().c_str(), geteuid() == 0 ? 0711 : 0300), 0);
  EXPECT_EXIT(SyncWhereNothingMayBeListed(directory.Path()), testing::ExitedWithCode(0), "");
  ASSERT_EQ(chmod(directory.Path().c_str(), 0700), 0);
}

#endif
