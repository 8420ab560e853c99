#include "kit/kit_command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <sstream>
#include <vector>

#include "app/version.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "platform/os_companion.h"

namespace {

constexpr std::initializer_list<AddCommand> kCommands = {AddPacket,   AddMessages, AddVerify, AddExplain,
                                                         AddRehearse, AddLedger,   AddDoctor, AddStatus,
                                                         AddReport,   AddSetup,    AddTidy};

constexpr char kDescription[] =
    "Looks into the mail and the message base of a cvtoss32 site. Only options that say so change anything.";
constexpr char kStatuses[] =
    "Exit status: 0 nothing needs attention, 1 something does, 2 the question could not be answered.";

// Prints the parser's result: help, the version, or what is wrong with the arguments.
int ShowParsed(const CLI::App& program, const CLI::ParseError& parsed) {
  std::ostringstream output;
  std::ostringstream errors;
  const int status = program.exit(parsed, output, errors);
  Show(Escaped(output.str()));
  Complain(Escaped(errors.str()));
  return status == 0 ? kAllIsWell : kNotAnswered;
}

bool IsNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Returns the arguments in reverse order, as the parser expects them. In "cvkit packet", a number after --text is the
// value of that option; anything else is not.
std::vector<std::string> Arguments(int argc, const char* const* argv) {
  std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const bool optional = !arguments.empty() && arguments[0] == "packet";
  for (size_t i = 0; optional && i < arguments.size(); ++i) {
    if (arguments[i] != "--text") continue;
    const bool follows = i + 1 < arguments.size() && IsNumber(arguments[i + 1]);
    arguments[i] += "=" + (follows ? arguments[i + 1] : "0");
    if (follows) arguments.erase(arguments.begin() + static_cast<ptrdiff_t>(i) + 1);
  }
  std::reverse(arguments.begin(), arguments.end());
  return arguments;
}

int Run(int argc, const char* const* argv) {
  CLI::App program(kDescription, "cvkit");
  program.footer(kStatuses);
  program.set_version_flag("--version", std::string("cvkit ") + kVersion + " " + kReleaseLabel);
  program.require_subcommand(1);
  int status = kNotAnswered;
  for (const AddCommand add : kCommands) add(&program, &status);
  try {
    program.parse(Arguments(argc, argv));
  } catch (const CLI::ParseError& parsed) {
    return ShowParsed(program, parsed);
  }
  return status;
}

}  // namespace

void AddCommonOptions(CLI::App* command, CommonOptions* options) {
  command->add_option("--config", options->config, "The configuration of cvtoss32 (default: CVTOSS32.CFG)")
      ->type_name("FILE");
  command->add_flag("--json", options->json, "Print one JSON object instead of text");
}

int RunKit(int argc, const char* const* argv) {
  OsPrepareProcess();
  OsReadWithoutTrace();
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    Complain(std::string("cvkit: ") + error.what() + "\n");
    return kNotAnswered;
  }
}
