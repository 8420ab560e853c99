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

using Strings = std::vector<std::string>;

const Strings kUsage = {
    "Usage: cvtoss32 -toss|-scan|-check [config-file-path]",
    "  -toss   inbound: scan packets into the Corvane message base",
    "  -scan   outbound: scan the message base and build packets to send",
    "  -check  read-only: validate config, node status, and FTN message bases",
    "With no config-file-path, looks for CVTOSS32.CFG in the current directory.",
};

constexpr char kNoInbound[] = "Config missing required INBOUND directive (needed for -toss)";
constexpr char kNoConfDir[] = "Config missing required CONFDIR directive";
constexpr char kNoMsgDir[] = "Config missing required MSGDIR directive";
constexpr char kNoAddress[] = "Config missing required ADDRESS directive (needed for -scan)";
constexpr char kNoHub[] = "Config missing required HUB directive (needed for -scan)";
constexpr char kNoSystem[] = "Config missing required SYSTEM directive (needed for -scan)";
constexpr char kNoOutDir[] = "Config missing required OUTDIR directive (needed for -scan)";

class CommandLine : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string config_ = directory_ / "a.cfg";
  FakeClock clock_;
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

  // Directives that lead into the temporary directory.
  std::string Directive(const std::string& keyword) const { return keyword + " " + directory_.Path() + "\n"; }
};

}  // namespace

TEST_F(CommandLine, NoArgumentShowsTheUsageWithoutReadingAnyConfiguration) {
  EXPECT_EQ(Run({}), 1);
  EXPECT_EQ(log_.StartupLines(), kUsage);
  EXPECT_EQ(log_.StandardError().back(), '\n');
  EXPECT_EQ(log_.StandardOutput(), "");
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}

TEST_F(CommandLine, TheUsageNamesTheProgramAsItWasCalled) {
  const char* const argv[] = {"C:\\bbs\\toss.exe", nullptr};
  EXPECT_EQ(RunCommandLine(1, argv), 1);
  ASSERT_EQ(log_.StartupLines().size(), 5U);
  EXPECT_EQ(log_.StartupLines()[0], "Usage: C:\\bbs\\toss.exe -toss|-scan|-check [config-file-path]");
}

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

TEST_F(CommandLine, TheDefaultConfigurationIsInTheCurrentDirectory) {
  std::error_code error;
  const std::filesystem::path before = std::filesystem::current_path(error);
  std::filesystem::current_path(directory_.Path(), error);
  ASSERT_FALSE(error);
  EXPECT_EQ(Run({"-toss"}), 1);
  WriteFile("CVTOSS32.CFG", "HUB x\n");
  EXPECT_EQ(Run({"-toss"}), 1);
  std::filesystem::current_path(before, error);
  ASSERT_FALSE(error);
  EXPECT_EQ(log_.StartupLines(), (Strings{"Could not open config file: CVTOSS32.CFG", "Invalid HUB value: x"}));
}

TEST_F(CommandLine, TheSecondArgumentNamesTheConfigurationAndLaterOnesAreIgnored) {
  WriteFile(config_, "HUB from a.cfg\n");
  EXPECT_EQ(Run({"-toss", config_, "extra"}), 1);
  EXPECT_EQ(log_.StartupLines(), Strings{"Invalid HUB value: from a.cfg"});
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
}

TEST_F(CommandLine, AnyOtherModeIsUnknown) {
  for (const std::string mode : {"-TOSS", "-Scan", "toss", "--toss", "-toss ", "-tos", "-tosss", "/check", ""}) {
    EXPECT_EQ(Refused(mode, Directive("CONFDIR") + Directive("MSGDIR")),
              Strings{"Unknown mode '" + mode + "' -- expected -toss, -scan, or -check"});
  }
}

TEST_F(CommandLine, AnUnknownModeIsNotReportedForABrokenConfiguration) {
  EXPECT_EQ(Refused("-TOSS", "HUB x\nSYSTEM\n"),
            (Strings{"Invalid HUB value: x", "Config directive SYSTEM has an empty value"}));
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

TEST_F(CommandLine, ConfigurationErrorsAreReportedWhateverTheMode) {
  for (const char* mode : {"-toss", "-scan", "-check"}) {
    EXPECT_EQ(Refused(mode, "HUB x\n"), Strings{"Invalid HUB value: x"});
  }
}

TEST_F(CommandLine, TossRequiresInboundConfDirAndMsgDirInThisOrder) {
  EXPECT_EQ(Refused("-toss", ""), (Strings{kNoInbound, kNoConfDir, kNoMsgDir}));
  EXPECT_EQ(Refused("-toss", "INBOUND x\nMSGDIR x\n"), Strings{kNoConfDir});
  EXPECT_EQ(Refused("-toss", "CONFDIR x\n"), (Strings{kNoInbound, kNoMsgDir}));
}

TEST_F(CommandLine, ScanRequiresSixDirectivesInThisOrder) {
  EXPECT_EQ(Refused("-scan", ""), (Strings{kNoAddress, kNoHub, kNoSystem, kNoConfDir, kNoMsgDir, kNoOutDir}));
  EXPECT_EQ(Refused("-scan", "ADDRESS 1:2/3\nHUB 1:2/0\nSYSTEM x\nCONFDIR x\n"), (Strings{kNoMsgDir, kNoOutDir}));
  EXPECT_EQ(Refused("-scan", "MSGDIR x\nOUTDIR x\nCONFDIR x\n"), (Strings{kNoAddress, kNoHub, kNoSystem}));
}

TEST_F(CommandLine, CheckRequiresConfDirAndMsgDirInThisOrder) {
  EXPECT_EQ(Refused("-check", ""), (Strings{kNoConfDir, kNoMsgDir}));
  EXPECT_EQ(Refused("-check", "CONFDIR x\n"), Strings{kNoMsgDir});
  EXPECT_EQ(Refused("-check", "MSGDIR x\n"), Strings{kNoConfDir});
}

TEST_F(CommandLine, CheckNeedsNeitherInboundNorOutDirNorAddressNorHubNorSystem) {
  WriteFile(config_, Directive("CONFDIR") + Directive("MSGDIR"));
  EXPECT_EQ(Run({"-check", config_}), 1);  // there is no conference file
  EXPECT_EQ(log_.StartupLines(), Strings{});
  ASSERT_FALSE(log_.Lines().empty());
  EXPECT_EQ(log_.Lines()[0], "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ===");
}

TEST_F(CommandLine, ARunThatFindsALockExitsWith1AndLeavesTheLock) {
  const std::string lock = directory_ / "CVTOSS.BSY";
  WriteFile(config_, Directive("INBOUND") + Directive("CONFDIR") + Directive("MSGDIR") + Directive("OUTDIR") +
                         "SYSTEM x\nADDRESS 1:2/3\nHUB 1:2/0\n");
  for (const std::string mode : {"-toss", "-scan"}) {
    log_.Clear();
    WriteFile(lock, "somebody\n");
    SetModifiedAt(lock, clock_.now - 60);
    EXPECT_EQ(Run({mode, config_}), 1);
    EXPECT_EQ(ReadFile(lock), "somebody\n");
    EXPECT_EQ(log_.StartupLines(), Strings{});
    ASSERT_FALSE(log_.Lines().empty());
    EXPECT_EQ(log_.Lines()[0], "=== cvtoss32 v1.05 Beta 5 " + mode + " run starting ===");
    EXPECT_EQ(log_.CountOf("Lock owner: somebody"), 1);
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
}
