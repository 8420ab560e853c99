// What only cvkit asks of the system.
#include "platform/os_companion.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kShowing[] = "DISABLED_ShowsItsArguments";

struct Outcome {
  int status = 0;
  std::string output;
};

void Take(void* context, const char* text, size_t size) { static_cast<std::string*>(context)->append(text, size); }

// Runs this very program, but only one of the disabled tests below.
Outcome RunSelf(const std::string& test, std::vector<const char*> more, const char* directory,
                OsTakeOutput take = Take) {
  char self[4096];
  (void)OsProgramPath(self, sizeof self);
  const std::string filter = "--gtest_filter=OsChild." + test;
  std::vector<const char*> arguments = {self, "--gtest_also_run_disabled_tests", filter.c_str()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  arguments.push_back(nullptr);
  Outcome outcome;
  outcome.status = OsRunProgram(arguments.data(), directory, take, &outcome.output);
  return outcome;
}

}  // namespace

TEST(OsChild, DISABLED_ShowsItsArguments) {
  for (const std::string& argument : testing::internal::GetArgvs())
    OsShow(kOsStdout, ("<" + argument + ">").c_str(), argument.size() + 2);
  OsStatus status;
  if (OsStat("mark", &status) == kOsOk) OsShow(kOsStderr, "the mark is here", 16);
  EXPECT_EQ(testing::internal::GetArgvs().back(), "succeed");
}

TEST(OsRunProgram, HandsOverArgumentsAsTheyAreAndTakesBothOutputs) {
  const TemporaryDirectory directory;
  WriteFile(directory / "mark", "");
  const Outcome outcome =
      RunSelf(kShowing, {"", "a b", "say \"x\" \\\" \\", "C:\\end\\", "succeed"}, directory.Path().c_str());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.output.find("<><a b><say \"x\" \\\" \\><C:\\end\\><succeed>"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("the mark is here"), std::string::npos);
}

TEST(OsRunProgram, WorksHereWhenNoDirectoryIsGivenAndReturnsTheStatus) {
  const Outcome outcome = RunSelf(kShowing, {"fail"}, nullptr);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output.find("the mark is here"), std::string::npos);
}

TEST(OsRunProgram, SaysWhenAProgramCannotBeStarted) {
  const TemporaryDirectory directory;
  const std::string missing = directory / "nothing";
  const char* const arguments[] = {missing.c_str(), nullptr};
  std::string output;
  EXPECT_EQ(OsRunProgram(arguments, nullptr, Take, &output), -1);
  EXPECT_EQ(output, "");
}

// A program that starts another one and ends at once when that is at work.
TEST(OsChild, DISABLED_EndsBeforeItsChild) {
  constexpr OsTakeOutput kEnd = [](void*, const char*, size_t) { std::_Exit(0); };
  (void)RunSelf("DISABLED_WritesAFileLate", {}, nullptr, kEnd);
}

TEST(OsChild, DISABLED_WritesAFileLate) {
  OsSleep(300);
  WriteFile("late", "");
}

TEST(OsRunProgram, LeavesNoProgramBehindWhenItsCallerEnds) {
  const TemporaryDirectory directory;
  const std::string late = directory / "late";
  OsStatus status;
  ASSERT_EQ(RunSelf("DISABLED_EndsBeforeItsChild", {}, directory.Path().c_str()).status, 0);
  OsSleep(600);
  EXPECT_EQ(OsStat(late.c_str(), &status), kOsMissing);
  ASSERT_EQ(RunSelf("DISABLED_WritesAFileLate", {}, directory.Path().c_str()).status, 0);
  EXPECT_EQ(OsStat(late.c_str(), &status), kOsOk);
}

TEST(OsRoom, IsToldOfDirectoriesThatAreThere) {
  const TemporaryDirectory directory;
  EXPECT_GT(OsRoom(directory.Path().c_str()), 0);
  EXPECT_EQ(OsRoom((directory / "nothing").c_str()), -1);
}

TEST(OsTemporaryDirectory, IsADirectoryInWhichFilesMayBeMade) {
  char path[kOsNameSize];
  ASSERT_EQ(OsTemporaryDirectory(path), 0);
  EXPECT_TRUE(OsMayMakeFiles(path));
}

TEST(OsDirectories, AreMadeOnceAndRemovedWhenEmpty) {
  const TemporaryDirectory directory;
  const std::string path = directory / "private";
  EXPECT_EQ(OsMakePrivateDirectory((path + "/deeper").c_str()), kOsMissing);
  ASSERT_EQ(OsMakePrivateDirectory(path.c_str()), kOsOk);
  EXPECT_EQ(OsMakePrivateDirectory(path.c_str()), kOsExists);
  EXPECT_TRUE(OsIsOwnDirectory(path.c_str()));
  WriteFile(path + "/file", "");
  EXPECT_FALSE(OsIsOwnDirectory((path + "/file").c_str()));
  EXPECT_EQ(OsRemoveDirectory((path + "/file").c_str()), kOsFailed);
  EXPECT_EQ(OsRemoveDirectory(path.c_str()), kOsExists);
  ASSERT_EQ(OsRemove((path + "/file").c_str()), kOsOk);
  EXPECT_EQ(OsRemoveDirectory(path.c_str()), kOsOk);
  EXPECT_EQ(OsRemoveDirectory(path.c_str()), kOsMissing);
  EXPECT_FALSE(OsIsOwnDirectory(path.c_str()));
  EXPECT_FALSE(OsMayMakeFiles(path.c_str()));
}

TEST(OsReplace, PutsAFileInThePlaceOfAnother) {
  const TemporaryDirectory directory;
  WriteFile(directory / "new", "new");
  WriteFile(directory / "old", "old");
  ASSERT_EQ(OsReplace((directory / "new").c_str(), (directory / "old").c_str()), kOsOk);
  EXPECT_EQ(ReadFile(directory / "old"), "new");
  EXPECT_EQ(OsReplace((directory / "new").c_str(), (directory / "old").c_str()), kOsFailed);
  EXPECT_EQ(OsMakeExecutable((directory / "old").c_str()), 0);
}
