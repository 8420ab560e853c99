#include "app/command_line.h"

#include <cstddef>
#include <cstring>

#include "app/config.h"
#include "app/run_log.h"
#include "check/check_run.h"
#include "platform/os.h"
#include "scan/scan_run.h"
#include "toss/toss_run.h"

namespace {

constexpr char kDefaultConfig[] = "CVTOSS32.CFG";

int ShowUsage(const char* program) {
  StartupMessage("Usage: %s -toss|-scan|-check [config-file-path]\n", program);
  StartupMessage("  -toss   inbound: scan packets into the Corvane message base\n");
  StartupMessage("  -scan   outbound: scan the message base and build packets to send\n");
  StartupMessage("  -check  read-only: validate config, node status, and FTN message bases\n");
  StartupMessage("With no config-file-path, looks for CVTOSS32.CFG in the current directory.\n");
  return 1;
}

struct Requirement {
  int have;
  const char* missing;
};

// Reports every directive that is missing. Returns true when none is.
template <size_t kCount>
bool HasAll(const Requirement (&requirements)[kCount]) {
  bool all = true;
  for (const Requirement& requirement : requirements) {
    if (requirement.have != 0) continue;
    StartupMessage("%s", requirement.missing);
    all = false;
  }
  return all;
}

bool HasAllForToss(const TosserConfig& config) {
  return HasAll({{config.HaveInbound, "Config missing required INBOUND directive (needed for -toss)\n"},
                 {config.HaveConfDir, "Config missing required CONFDIR directive\n"},
                 {config.HaveMsgDir, "Config missing required MSGDIR directive\n"}});
}

bool HasAllForScan(const TosserConfig& config) {
  return HasAll({{config.HaveAddress, "Config missing required ADDRESS directive (needed for -scan)\n"},
                 {config.HaveHub, "Config missing required HUB directive (needed for -scan)\n"},
                 {config.HaveSystem, "Config missing required SYSTEM directive (needed for -scan)\n"},
                 {config.HaveConfDir, "Config missing required CONFDIR directive\n"},
                 {config.HaveMsgDir, "Config missing required MSGDIR directive\n"},
                 {config.HaveOutDir, "Config missing required OUTDIR directive (needed for -scan)\n"}});
}

bool HasAllForCheck(const TosserConfig& config) {
  return HasAll({{config.HaveConfDir, "Config missing required CONFDIR directive\n"},
                 {config.HaveMsgDir, "Config missing required MSGDIR directive\n"}});
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
  OsInstallBreakHandler();
  OsPrepareProcess();
  if (argc < 2) return ShowUsage(argc > 0 ? argv[0] : "cvtoss32");
  TosserConfig config;
  if (LoadConfig(argc > 2 ? argv[2] : kDefaultConfig, &config) != 0) return 1;

  const char* mode = argv[1];
  if (strcmp(mode, "-toss") == 0) return HasAllForToss(config) ? RunToss(config) : 1;
  if (strcmp(mode, "-scan") == 0) return HasAllForScan(config) ? RunScan(config) : 1;
  if (strcmp(mode, "-check") == 0) return HasAllForCheck(config) ? RunCheckMode(config) : 1;
  StartupMessage("Unknown mode '%s' -- expected -toss, -scan, or -check\n", mode);
  return 1;
}
