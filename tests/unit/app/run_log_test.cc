#include "app/run_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class RunLog : public testing::Test {
 protected:
  ~RunLog() override { CloseRunLog(); }

  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "TOSSER.LOG";
  FakeClock clock_;
  FakeProcess process_{directory_ / "cvtoss32"};
  CapturedLog log_;

  // The log file with its line ends turned into plain ones.
  std::string FileText() const {
    std::string text = ReadFile(path_);
    const std::string line_end = kOsLineEnd;
    for (size_t at = 0; (at = text.find(line_end, at)) != std::string::npos; ++at) {
      text.replace(at, line_end.size(), "\n");
    }
    return text;
  }
};

std::string opened;

// Where OpenRunLog looks for the log of a program at `program_path`.
std::string LogPathOf(const std::string& program_path) {
  const ScopedDoor door;
  const FakeProcess process(program_path);
  OsInForce().Open = [](const OsPlace& place, OsOpenMode mode, intptr_t*, int*) {
    EXPECT_EQ(mode, kOsAppendText);
    opened = place.path;
    return kOsFailed;
  };
  opened.clear();
  OpenRunLog();
  return opened;
}

}  // namespace

TEST(RunLogPath, IsBesideTheProgram) {
  EXPECT_EQ(LogPathOf("C:\\bbs\\cvtoss32.exe"), "C:\\bbs/TOSSER.LOG");
  EXPECT_EQ(LogPathOf("/opt/bbs/cvtoss32"), "/opt/bbs/TOSSER.LOG");
}

TEST(RunLogPath, TheLastBackslashCountsBeforeAnySlash) {
  EXPECT_EQ(LogPathOf("C:\\bbs/bin/cvtoss32.exe"), "C:/TOSSER.LOG");
  EXPECT_EQ(LogPathOf("C:/bbs\\bin\\cvtoss32.exe"), "C:/bbs\\bin/TOSSER.LOG");
}

TEST(RunLogPath, IsTheCurrentDirectoryWhenThePathHasNone) {
  EXPECT_EQ(LogPathOf("cvtoss32.exe"), "./TOSSER.LOG");
  EXPECT_EQ(LogPathOf("\\cvtoss32.exe"), "./TOSSER.LOG");
  EXPECT_EQ(LogPathOf("/cvtoss32"), "./TOSSER.LOG");
}

TEST(RunLogPath, IsTheCurrentDirectoryWhenThePathIsUnknown) { EXPECT_EQ(LogPathOf(""), "./TOSSER.LOG"); }

TEST(RunLogPath, AProgramPathOf259CharactersIsUsedAndOneOf260IsNot) {
  const std::string directory = "/" + std::string(249, 'd');
  EXPECT_EQ(LogPathOf(directory + "/cvtoss32"), directory + "/TOSSER.LOG");
  EXPECT_EQ(LogPathOf(directory + "x/cvtoss32"), "./TOSSER.LOG");
  EXPECT_EQ(LogPathOf(directory + "/" + std::string(500, 'c')), "./TOSSER.LOG");
}

TEST_F(RunLog, ALineHasItsLocalTimeOnTheConsoleAndInTheFile) {
  clock_.now = 1794702684;  // 2026-11-15 00:31:24 UTC
  clock_.local_offset = -3600;
  OpenRunLog();
  LogLine("Found: %s", "0000a1b2.pkt");
  EXPECT_EQ(log_.StandardOutput(), "[2026-11-14 23:31:24] Found: 0000a1b2.pkt\n");
  EXPECT_EQ(FileText(), log_.StandardOutput());
  EXPECT_EQ(log_.StandardError(), "");
}

TEST_F(RunLog, EveryLineHasTheTimeOfItsOwnCall) {
  clock_.now = 1000000000;  // 2001-09-09 01:46:40
  LogLine("a");
  LogLine("b");
  ++clock_.now;
  LogLine("c");
  clock_.now = 1000000020;
  LogLine("d");
  clock_.now = 1000000000;
  LogLine("e");
  EXPECT_EQ(log_.StandardOutput(),
            "[2001-09-09 01:46:40] a\n[2001-09-09 01:46:40] b\n[2001-09-09 01:46:41] c\n[2001-09-09 01:47:00] d\n"
            "[2001-09-09 01:46:40] e\n");
}

TEST_F(RunLog, TimeStampIsWhatALineBeginsWith) {
  clock_.now = 951782399;  // 2000-02-28 23:59:59
  EXPECT_STREQ(TimeStamp(), "2000-02-28 23:59:59");
  ++clock_.now;
  EXPECT_STREQ(TimeStamp(), "2000-02-29 00:00:00");
}

TEST_F(RunLog, AMessageOf2000CharactersIsWrittenAsItsFirst1023) {
  OpenRunLog();
  std::string message;
  for (int i = 0; message.size() < 2000; ++i) message += static_cast<char>('!' + i % 90);
  LogLine("%s", message.c_str());
  EXPECT_EQ(log_.Lines(), Strings{message.substr(0, 1023)});
  EXPECT_EQ(FileText(), log_.StandardOutput());
}

TEST_F(RunLog, AMessageOf1023CharactersIsWholeAndOneOf1024IsCut) {
  LogLine("%s", std::string(1023, 'x').c_str());
  LogLine("%s", std::string(1024, 'x').c_str());
  EXPECT_EQ(log_.Lines(), (Strings{std::string(1023, 'x'), std::string(1023, 'x')}));
}

TEST_F(RunLog, AnEmptyMessageIsALineOfItsOwn) {
  LogLine("%s", "");
  EXPECT_EQ(log_.Lines(), Strings{""});
}

TEST_F(RunLog, APercentSignInAnArgumentIsText) {
  LogLine("%s", "100%d");
  EXPECT_EQ(log_.Lines(), Strings{"100%d"});
}

TEST_F(RunLog, TwoRunsLeaveBothTheirLinesTheOlderFirst) {
  OpenRunLog();
  LogLine("first run");
  CloseRunLog();
  clock_.now += 60;
  OpenRunLog();
  LogLine("second run");
  CloseRunLog();
  EXPECT_EQ(FileText(), log_.StandardOutput());
  EXPECT_EQ(log_.Lines(), (Strings{"first run", "second run"}));
}

TEST_F(RunLog, EarlierLinesAreKept) {
  WriteFile(path_, std::string("older") + kOsLineEnd);
  OpenRunLog();
  LogLine("newer");
  CloseRunLog();
  EXPECT_EQ(FileText(), "older\n" + log_.StandardOutput());
}

TEST_F(RunLog, ALineIsInTheFileAtOnce) {
  ScopedDoor door;
  OpenRunLog();
  LogLine("just before a crash");
  EXPECT_EQ(FileText(), log_.StandardOutput());
  EXPECT_EQ(door.Count(Call::kWrite, "TOSSER.LOG"), 1);
  EXPECT_EQ(door.Count(Call::kClose), 0);
}

TEST_F(RunLog, WithoutALogFileEveryLineIsStillOnTheConsole) {
  ScopedDoor door;
  door.FailFrom(Call::kOpen, 1);
  OpenRunLog();
  LogLine("a");
  LogLine("b");
  CloseRunLog();
  EXPECT_TRUE(door.HasStruck());
  EXPECT_EQ(log_.Lines(), (Strings{"a", "b"}));
  EXPECT_EQ(log_.StandardError(), "");
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(door.Count(Call::kWrite), 0);
}

TEST_F(RunLog, FailuresToWriteAreIgnored) {
  ScopedDoor door;
  OpenRunLog();
  door.FailFrom(Call::kWrite, 1, "TOSSER.LOG");
  LogLine("a");
  LogLine("b");
  CloseRunLog();
  EXPECT_TRUE(door.HasStruck());
  EXPECT_EQ(log_.Lines(), (Strings{"a", "b"}));
  EXPECT_EQ(log_.StandardError(), "");
}

TEST_F(RunLog, AfterClosingLinesGoToTheConsoleOnly) {
  OpenRunLog();
  LogLine("both");
  CloseRunLog();
  const std::string in_file = FileText();
  LogLine("console");
  EXPECT_EQ(FileText(), in_file);
  EXPECT_EQ(log_.Lines(), (Strings{"both", "console"}));
}

TEST_F(RunLog, IsClosedOnceHoweverOftenItIsAsked) {
  ScopedDoor door;
  CloseRunLog();
  EXPECT_EQ(door.Count(Call::kClose), 0);
  OpenRunLog();
  CloseRunLog();
  CloseRunLog();
  EXPECT_EQ(door.Count(Call::kClose), 1);
}

TEST_F(RunLog, AStartupMessageGoesToStandardErrorAsItIs) {
  OpenRunLog();
  StartupMessage("Could not open config file: %s\n", "x");
  EXPECT_EQ(log_.StandardError(), "Could not open config file: x\n");
  EXPECT_EQ(log_.StandardOutput(), "");
  EXPECT_EQ(FileText(), "");
}
