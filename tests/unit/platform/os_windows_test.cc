// What only the Windows side of the platform layer has to do.
#ifdef _WIN32

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include "platform/os.h"
#include "platform/os_windows_break.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

// Another program that has a file open without sharing it for deletion.
HANDLE HoldOpen(const std::string& path) {
  return CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                     nullptr);
}

// What `call` answers while the file is held open at first and let go soon after. A machine that is busy with other
// things may let go too late: then it is tried again.
template <class Call>
OsResult AnswerWhenLetGo(const std::string& path, Call call) {
  OsResult answer = kOsFailed;
  for (int tries = 0; tries < 20 && answer == kOsFailed; ++tries) {
    const HANDLE held = HoldOpen(path);
    EXPECT_NE(held, INVALID_HANDLE_VALUE);
    std::thread holder([held] {
      Sleep(30);
      (void)CloseHandle(held);
    });
    answer = call();
    holder.join();
  }
  return answer;
}

}  // namespace

TEST(OsWindows, TheEventsThatEndAProcessRemoveTheBreakFile) {
  const TemporaryDirectory directory;
  const std::string path = directory / "CVTOSS.BSY";
  const struct {
    unsigned long event;
    bool ends;
  } kCases[] = {{CTRL_C_EVENT, true}, {CTRL_BREAK_EVENT, true},  {CTRL_CLOSE_EVENT, true},    {3, false},
                {4, false},           {CTRL_LOGOFF_EVENT, true}, {CTRL_SHUTDOWN_EVENT, true}, {7, false}};
  for (const auto& one : kCases) {
    WriteFile(path, "x");
    WindowsSetBreakFile(path.c_str(), "x");
    EXPECT_EQ(WindowsBreak(one.event), one.ends) << one.event;
    EXPECT_EQ(PathExists(path), !one.ends) << one.event;
  }
  for (const char* const other : {"", "xx", "y"}) {
    WriteFile(path, other);
    EXPECT_TRUE(WindowsBreak(CTRL_C_EVENT));
    EXPECT_TRUE(PathExists(path)) << "another run's lock: " << other;
  }
  WriteFile(path, "x");
  WindowsSetBreakFile("", "");
  EXPECT_TRUE(WindowsBreak(CTRL_C_EVENT));
  EXPECT_TRUE(PathExists(path));
}

TEST(OsWindows, AFileThatIsHeldOpenForAMomentIsRemovedMovedAndClearedAllTheSame) {
  const TemporaryDirectory directory;
  const std::string path = directory / "a";
  const std::string target = directory / "b";
  WriteFile(path, "x");
  EXPECT_EQ(AnswerWhenLetGo(path, [&] { return OsRemove(path.c_str()); }), kOsOk);
  WriteFile(path, "x");
  EXPECT_EQ(AnswerWhenLetGo(path, [&] { return OsRename(path.c_str(), target.c_str()); }), kOsOk);
  WriteFile(path, "x");
  EXPECT_EQ(AnswerWhenLetGo(path, [&] { return OsRemoveUnchanged(path.c_str(), ModifiedAt(path)); }), kOsOk);
}

TEST(OsWindows, AFileThatStaysHeldOpenIsNeitherRemovedNorMoved) {
  const TemporaryDirectory directory;
  const std::string path = directory / "a";
  WriteFile(path, "x");
  const HANDLE held = HoldOpen(path);
  EXPECT_EQ(OsRemove(path.c_str()), kOsFailed);
  EXPECT_EQ(OsRemoveUnchanged(path.c_str(), ModifiedAt(path)), kOsFailed);
  EXPECT_EQ(OsRename(path.c_str(), (directory / "b").c_str()), kOsFailed);
  WindowsSetBreakFile(path.c_str(), "x");
  EXPECT_TRUE(WindowsBreak(CTRL_C_EVENT));
  WindowsSetBreakFile("", "");
  (void)CloseHandle(held);
  EXPECT_TRUE(PathExists(path));
}

#endif
