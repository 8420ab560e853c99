// Loading the configuration while every call fails in turn.
#include <gtest/gtest.h>

#include <cstring>

#include "app/config.h"
#include "fault/fault_loop.h"
#include "unit/support/captured_log.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

// Long enough for several reads, whatever their size; the last line stands far behind the others.
std::string LongConfiguration() {
  std::string text = "INBOUND C:/bbs/in\nKEEPPROCESSED no\n";
  while (text.size() < 100000) text += "; a comment of the sysop's, as long as it likes to be\n";
  return text + "MSGDIR C:/bbs/msg\n";
}

// Either the whole configuration is loaded, or a line says why not. A read that fails ends the text, as the end of the
// file does: then the lines before it have been taken as they stand, and none but those.
bool PlayConfig(const Fault& fault) {
  const TemporaryDirectory directory;
  const CapturedLog log;
  const std::string path = directory / "test.cfg";
  WriteFile(path, LongConfiguration());
  ScopedDoor door;
  door.Fail(fault);
  TosserConfig config;
  const bool loaded = LoadConfig(path.c_str(), &config) == 0;
  EXPECT_EQ(door.OpenHandles(), 0);
  if (!loaded) {
    const std::vector<std::string> lines = log.StartupLines();
    EXPECT_EQ(lines.size(), 1U);
    EXPECT_TRUE(log.StandardError() == "Could not open config file: " + path + "\n" ||
                log.StandardError() == "Could not close config file cleanly: " + path + "\n")
        << log.StandardError();
  } else {
    const bool cut = door.HasStruck() && fault.call != Call::kClose;
    EXPECT_EQ(log.StandardError(), "");
    EXPECT_TRUE(strcmp(config.MsgDir, "C:\\bbs\\msg") == 0 || (cut && config.HaveMsgDir == 0)) << config.MsgDir;
    EXPECT_TRUE(config.KeepProcessed == 0 || (cut && config.HaveMsgDir == 0));
  }
  EXPECT_EQ(log.StandardOutput(), "");
  return door.HasStruck();
}

}  // namespace

TEST(ConfigFaults, Loading) {
  FaultLoop loop;
  loop.more_than = 10;
  (void)TryFaults(PlayConfig, loop);
}
