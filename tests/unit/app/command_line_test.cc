#include "app/command_line.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "unit/support/captured_log.h"
#include "unit/support/fake_clock.h"
#include "unit/support/fake_process.h"
#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class CommandLine : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string config_ = directory_ / "a.cfg";
  FakeProcess process_{directory_ / "cvtoss32"};
  CapturedLog log_;
  ScopedDoor door_;

  int Run(const Strings& arguments) {
    std::vector<const char*> argv = {"cvtoss32"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    const int count = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    return RunCommandLine(count, argv.data());
  }

  // The lines on standard error of a run in `mode` with this configuration, which must end with status 1 before a run
  // begins.
  Strings Refused(const std::string& mode, const std::string& configuration) {
    WriteFile(config_, configuration);
    log_.Clear();
    EXPECT_EQ(Run({mode, config_}), 1);
    EXPECT_EQ(log_.StandardOutput(), "");
    return log_.StartupLines();
  }
};

}  // namespace

TEST_F(CommandLine, NotEvenAProgramNameIsSurvived) {
  const char* const argv[] = {nullptr};
  EXPECT_EQ(RunCommandLine(0, argv), 1);
  EXPECT_EQ(log_.StartupLines().size(), 5U);
}

TEST_F(CommandLine, TheBreakHandlerIsInstalledFirstOfAll) {
  EXPECT_EQ(Run({}), 1);
  EXPECT_EQ(process_.break_handlers, 1);
  door_.BeforeNth(Call::kOpen, 1, [&] { EXPECT_EQ(process_.break_handlers, 2); });
  EXPECT_EQ(Run({"-toss", "none.cfg"}), 1);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(CommandLine, AnUnknownModeIsQuotedWholeHoweverLongItIs) {
  const std::string mode(10000, 'm');
  const Strings lines = Refused(mode, "");
  const std::string expected = "Unknown mode '" + mode + "' -- expected -toss, -scan, or -check";
  EXPECT_TRUE(lines == Strings{expected}) << lines.size() << " line(s), " << log_.StandardError().size() << " bytes";
  EXPECT_EQ(log_.StandardError().size(), expected.size() + 1);
}

TEST_F(CommandLine, WithoutMemoryALongMessageIsCutButKeepsItsLineEnd) {
  door_.FailFrom(Call::kReallocate, 1);
  const Strings lines = Refused(std::string(10000, 'm'), "");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].substr(0, 20), "Unknown mode 'mmmmmm");
  EXPECT_EQ(lines[0].size(), 1023U);
  EXPECT_EQ(log_.StandardError().back(), '\n');
}

TEST_F(CommandLine, AMessageOfAnyLengthEndsInOneLineEnd) {
  for (size_t length = 940; length < 1040; ++length) {
    const std::string mode(length, 'm');
    EXPECT_EQ(Refused(mode, ""), Strings{"Unknown mode '" + mode + "' -- expected -toss, -scan, or -check"});
  }
}
