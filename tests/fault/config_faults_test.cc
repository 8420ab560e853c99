// Loading the configuration while its calls fail one after the other.
#include <gtest/gtest.h>

#include <cstring>

#include "app/config.h"
#include "fault/fault_loop.h"
#include "unit/support/captured_log.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

// Long enough for several reads, whatever their size; the last line is far behind the others.
std::string LongConfiguration() {
  std::string text = "INBOUND C:/bbs/in\nKEEPPROCESSED no\n";
  while (text.size() < 100000) text += "; a comment of the sysop's, as long as it likes to be\n";
  return text + "MSGDIR C:/bbs/msg\n";
}

// A file that cannot be opened or closed is reported; one that cannot be read further ends there.
std::string MessageFor(const ScopedDoor& door, const std::string& path) {
  for (const CallRecord& record : door.Calls()) {
    const bool opening = record.call == Call::kOpen || record.call == Call::kSize;
    if (record.struck && opening) return "Could not open config file: " + path + "\n";
    if (record.struck && record.call == Call::kClose) return "Could not close config file cleanly: " + path + "\n";
  }
  return "";
}

// Either the whole configuration is loaded, or a line says why not. A read that fails ends the text as the end of the
// file does: then exactly the lines before it have been read.
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
  EXPECT_EQ(log.StandardError(), MessageFor(door, path));
  EXPECT_EQ(loaded, log.StandardError().empty());
  if (loaded) {
    const bool cut = door.HasStruck();
    EXPECT_TRUE(strcmp(config.MsgDir, "C:\\bbs\\msg") == 0 || (cut && config.HaveMsgDir == 0)) << config.MsgDir;
    EXPECT_TRUE(config.KeepProcessed == 0 || (cut && config.HaveMsgDir == 0));
  }
  EXPECT_EQ(log.StandardOutput(), "");
  return door.HasStruck();
}

}  // namespace

TEST(ConfigurationFaults, Loading) {
  FaultLoop loop;
  loop.more_than = 10;
  (void)TryFaults(PlayConfig, loop);
}
