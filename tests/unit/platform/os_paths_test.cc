#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "platform/os.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class OsPaths : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string a_ = directory_ / "a";
  const std::string b_ = directory_ / "b";
  OsStatus status_;
};

std::set<std::string> NamesIn(const std::string& path) {
  std::set<std::string> names;
  OsList list;
  EXPECT_EQ(OsListOpen(path.c_str(), &list), kOsOk);
  char name[kOsNameSize];
  OsResult result = OsListNext(&list, name);
  for (; result == kOsOk; result = OsListNext(&list, name)) names.insert(name);
  EXPECT_EQ(result, kOsMissing);
  names.erase(".");
  names.erase("..");
  return names;
}

}  // namespace

TEST_F(OsPaths, StatReturnsKindSizeAndTimeOfAFile) {
  WriteFile(a_, "abc");
  SetModifiedAt(a_, 1234567890);
  ASSERT_EQ(OsStat(a_.c_str(), &status_), kOsOk);
  EXPECT_EQ(status_.kind, kOsRegularFile);
  EXPECT_EQ(status_.size, 3);
  EXPECT_EQ(status_.modified, 1234567890);
}

TEST_F(OsPaths, StatRecognisesADirectory) {
  ASSERT_EQ(OsStat(directory_.Path().c_str(), &status_), kOsOk);
  EXPECT_EQ(status_.kind, kOsDirectory);
}

TEST_F(OsPaths, StatReportsAMissingFile) { EXPECT_EQ(OsStat(a_.c_str(), &status_), kOsMissing); }

TEST_F(OsPaths, SameFileRecognisesAnotherSpelling) {
  MakeDirectory(directory_ / "sub");
  WriteFile(a_, "");
  EXPECT_EQ(OsSameFile(a_.c_str(), a_.c_str()), kOsSame);
  EXPECT_EQ(OsSameFile(a_.c_str(), (directory_ / "./a").c_str()), kOsSame);
  EXPECT_EQ(OsSameFile((directory_ / "sub/../a").c_str(), a_.c_str()), kOsSame);
  EXPECT_EQ(OsSameFile(a_.c_str(), (directory_ / ".\\a").c_str()), kOsSame);
}

TEST_F(OsPaths, SameFileTreatsNamesInTwoDirectoriesAsTwoFiles) {
  MakeDirectory(directory_ / "sub");
  WriteFile(a_, "x");
  const std::string other = directory_ / "sub/a";
  std::filesystem::create_hard_link(a_, other);
  EXPECT_EQ(OsSameFile(a_.c_str(), other.c_str()), kOsDifferent);
  EXPECT_EQ(OsSameFile(other.c_str(), a_.c_str()), kOsDifferent);
  EXPECT_EQ(OsSameFile(other.c_str(), (directory_ / "sub/../sub/a").c_str()), kOsSame);
}

TEST_F(OsPaths, SameFileFindsTheDirectoryOfAPathOfAnyForm) {
  WriteFile(a_, "x");
  std::filesystem::create_hard_link(a_, b_);
  const std::string before = std::filesystem::current_path().string();
  std::filesystem::current_path(directory_.Path());
  EXPECT_EQ(OsSameFile("a", a_.c_str()), kOsSame);
  EXPECT_EQ(OsSameFile("./a", ".\\a"), kOsSame);
  std::filesystem::current_path(before);
}

TEST_F(OsPaths, SameFileDistinguishesTwoFilesOfEqualContent) {
  WriteFile(a_, "x");
  WriteFile(b_, "x");
  EXPECT_EQ(OsSameFile(a_.c_str(), b_.c_str()), kOsDifferent);
}

TEST_F(OsPaths, SameFileNeedsBoth) {
  WriteFile(a_, "");
  EXPECT_EQ(OsSameFile(a_.c_str(), b_.c_str()), kOsDifferent);
  EXPECT_EQ(OsSameFile(b_.c_str(), a_.c_str()), kOsDifferent);
}

TEST_F(OsPaths, RemoveRemovesAFileAndReportsAMissingOne) {
  WriteFile(a_, "");
  EXPECT_EQ(OsRemove(a_.c_str()), kOsOk);
  EXPECT_FALSE(PathExists(a_));
  EXPECT_EQ(OsRemove(a_.c_str()), kOsMissing);
}

TEST_F(OsPaths, RemoveNeverRemovesADirectory) {
  MakeDirectory(a_);
  EXPECT_EQ(OsRemove(a_.c_str()), kOsFailed);
  EXPECT_TRUE(PathExists(a_));
}

TEST_F(OsPaths, RemoveUnchangedRemovesTheFileOfThatTime) {
  WriteFile(a_, "");
  SetModifiedAt(a_, 1000000000);
  EXPECT_EQ(OsRemoveUnchanged(a_.c_str(), 1000000000), kOsOk);
  EXPECT_FALSE(PathExists(a_));
}

TEST_F(OsPaths, RemoveUnchangedLeavesAFileOfAnotherTime) {
  WriteFile(a_, "new");
  SetModifiedAt(a_, 1000000000);
  EXPECT_EQ(OsRemoveUnchanged(a_.c_str(), 999999999), kOsExists);
  EXPECT_EQ(OsRemoveUnchanged(a_.c_str(), 1000000001), kOsExists);
  EXPECT_EQ(ReadFile(a_), "new");
}

TEST_F(OsPaths, RemoveUnchangedReportsAMissingFile) {
  EXPECT_EQ(OsRemoveUnchanged(a_.c_str(), 1000000000), kOsMissing);
}

// Calls through an open directory have the same results as calls with the whole path.
TEST_F(OsPaths, CallsAnswerAlikeInAnOpenDirectory) {
  MakeDirectory(directory_ / "sub");
  OsDirectory open;
  ASSERT_EQ(OsOpenDirectory(directory_.Path().c_str(), kOsTrustPath, &open), kOsOk);
  const OsPlace a(a_.c_str(), open.handle);
  const std::string b_path = directory_.Path() + "\\b";
  const OsPlace b(b_path.c_str(), open.handle);
  OsFile file;
  EXPECT_EQ(OsOpen(a, kOsUpdate, &file), kOsMissing);
  ASSERT_EQ(OsOpen(a, kOsCreate, &file), kOsOk);
  EXPECT_EQ(OsWrite(file, "abc", 3), 0);
  EXPECT_EQ(OsClose(&file), 0);
  EXPECT_EQ(ReadFile(a_), "abc");
  ASSERT_EQ(OsStat(a, &status_), kOsOk);
  EXPECT_EQ(status_.size, 3);
  EXPECT_EQ(OsSameFile(a, (directory_ / "sub/../a").c_str()), kOsSame);
  EXPECT_EQ(OsSameFile(a, b), kOsDifferent);
  EXPECT_EQ(OsRename(a, b), kOsOk);
  EXPECT_EQ(OsStat(a, &status_), kOsMissing);
  EXPECT_EQ(ReadFile(b_), "abc");
  EXPECT_EQ(OsRename(b, (directory_ / "sub/b").c_str()), kOsOk);
  EXPECT_EQ(OsRemove(b), kOsMissing);
  EXPECT_EQ(OsRename((directory_ / "sub/b").c_str(), a), kOsOk);
  EXPECT_EQ(OsRemove(a), kOsOk);
  EXPECT_FALSE(PathExists(a_));
}

TEST_F(OsPaths, ADirectoryThatCannotBeOpenedIsWalkedTo) {
  for (const std::string& path : {directory_ / "missing", a_, std::string(5000, 'd')}) {
    WriteFile(a_, "abc");
    OsDirectory open;
    (void)OsOpenDirectory(path.c_str(), kOsTrustPath, &open);
    EXPECT_EQ(open.handle, kOsNone);
    EXPECT_EQ(OsStat({a_.c_str(), open.handle}, &status_), kOsOk);
    EXPECT_EQ(OsRemove({a_.c_str(), open.handle}), kOsOk);
  }
}

TEST_F(OsPaths, TouchUpdatesTheTimeOfAFileAndKeepsItsBytes) {
  WriteFile(a_, "abc");
  SetModifiedAt(a_, 1000000000);
  OsFile file;
  ASSERT_EQ(OsOpen(a_.c_str(), kOsUpdate, &file), kOsOk);
  EXPECT_EQ(OsTouch(file), 0);
  EXPECT_EQ(OsClose(&file), 0);
  EXPECT_LE(OsNow() - ModifiedAt(a_), 60);
  EXPECT_EQ(ReadFile(a_), "abc");
}

TEST_F(OsPaths, RenameMovesAFile) {
  MakeDirectory(directory_ / "sub");
  const std::string target = directory_ / "sub/b";
  WriteFile(a_, "abc");
  EXPECT_EQ(OsRename(a_.c_str(), target.c_str()), kOsOk);
  EXPECT_FALSE(PathExists(a_));
  EXPECT_EQ(ReadFile(target), "abc");
}

TEST_F(OsPaths, RenameNeverReplaces) {
  WriteFile(a_, "source");
  WriteFile(b_, "target");
  EXPECT_EQ(OsRename(a_.c_str(), b_.c_str()), kOsExists);
  EXPECT_EQ(ReadFile(a_), "source");
  EXPECT_EQ(ReadFile(b_), "target");
}

TEST_F(OsPaths, RenameOntoADirectoryLeavesBoth) {
  WriteFile(a_, "source");
  MakeDirectory(b_);
  EXPECT_NE(OsRename(a_.c_str(), b_.c_str()), kOsOk);
  EXPECT_EQ(ReadFile(a_), "source");
  EXPECT_TRUE(NamesIn(b_).empty());
}

TEST_F(OsPaths, RenameFailsWithoutSourceOrTargetDirectory) {
  EXPECT_EQ(OsRename(a_.c_str(), b_.c_str()), kOsFailed);
  WriteFile(a_, "source");
  EXPECT_EQ(OsRename(a_.c_str(), (directory_ / "none/b").c_str()), kOsFailed);
  EXPECT_EQ(ReadFile(a_), "source");
}

TEST_F(OsPaths, MakeDirectoryCreatesOneAndReportsAnExistingOne) {
  EXPECT_EQ(OsMakeDirectory(a_.c_str()), kOsOk);
  ASSERT_EQ(OsStat(a_.c_str(), &status_), kOsOk);
  EXPECT_EQ(status_.kind, kOsDirectory);
  EXPECT_EQ(OsMakeDirectory(a_.c_str()), kOsExists);
}

TEST_F(OsPaths, MakeDirectoryFindsAFileInItsWayAndNeedsAParent) {
  WriteFile(a_, "abc");
  EXPECT_EQ(OsMakeDirectory(a_.c_str()), kOsExists);
  EXPECT_EQ(ReadFile(a_), "abc");
  EXPECT_NE(OsMakeDirectory((directory_ / "none/sub").c_str()), kOsOk);
}

TEST_F(OsPaths, ListReturnsEveryName) {
  WriteFile(a_, "");
  WriteFile(b_, "");
  MakeDirectory(directory_ / "sub");
  EXPECT_EQ(NamesIn(directory_.Path()), (std::set<std::string>{"a", "b", "sub"}));
}

TEST_F(OsPaths, ListOfAnEmptyDirectoryEndsAtOnce) { EXPECT_TRUE(NamesIn(directory_.Path()).empty()); }

TEST_F(OsPaths, ListReportsAMissingDirectory) {
  OsList list;
  EXPECT_NE(OsListOpen(a_.c_str(), &list), kOsOk);
  EXPECT_EQ(list.handle, nullptr);
  WriteFile(a_, "");
  EXPECT_NE(OsListOpen(a_.c_str(), &list), kOsOk);
  EXPECT_EQ(list.handle, nullptr);
}

TEST_F(OsPaths, ListMayBeClosedTwice) {
  OsList list;
  ASSERT_EQ(OsListOpen(directory_.Path().c_str(), &list), kOsOk);
  OsListClose(&list);
  EXPECT_EQ(list.handle, nullptr);
  OsListClose(&list);
  EXPECT_EQ(list.handle, nullptr);
}

TEST_F(OsPaths, FailuresOfTheSystemArePassedOn) {
  WriteFile(a_, "");
  ScopedDoor door;
  OsList list;
  ASSERT_EQ(OsListOpen(directory_.Path().c_str(), &list), kOsOk);
  door.FailFrom(Call::kAny, 1);
  char name[kOsNameSize];
  EXPECT_EQ(OsListNext(&list, name), kOsFailed);
  EXPECT_EQ(OsStat(a_.c_str(), &status_), kOsFailed);
  EXPECT_EQ(OsSameFile(a_.c_str(), a_.c_str()), kOsNotTold);
  EXPECT_EQ(OsRemove(a_.c_str()), kOsFailed);
  EXPECT_EQ(OsRemoveUnchanged(a_.c_str(), 0), kOsFailed);
  EXPECT_EQ(OsRename(a_.c_str(), b_.c_str()), kOsFailed);
  EXPECT_EQ(OsMakeDirectory(b_.c_str()), kOsFailed);
}
