// What the commands of cvkit have in common. Each has a file of its own, NAME_command.cc.
#pragma once

#include <string>

namespace CLI {
class App;
}

struct CommonOptions {
  std::string config = "CVTOSS32.CFG";
  bool json = false;
};

// Adds --config and --json to a command.
void AddCommonOptions(CLI::App* command, CommonOptions* options);

// Each adds its command to the program. If the command is called, it runs and sets `*status` to the exit status. (The
// list of commands is in kit_command_line.cc.)
using AddCommand = void (*)(CLI::App* program, int* status);
void AddDoctor(CLI::App* program, int* status);
void AddExplain(CLI::App* program, int* status);
void AddLedger(CLI::App* program, int* status);
void AddMessages(CLI::App* program, int* status);
void AddPacket(CLI::App* program, int* status);
void AddRehearse(CLI::App* program, int* status);
void AddReport(CLI::App* program, int* status);
void AddSetup(CLI::App* program, int* status);
void AddStatus(CLI::App* program, int* status);
void AddTidy(CLI::App* program, int* status);
void AddVerify(CLI::App* program, int* status);
