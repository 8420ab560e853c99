// cvkit setup: a working configuration from a few questions, checked at once.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/program_copy.h"
#include "kit/program_files.h"
#include "kit/shown_facts.h"
#include "kit/site_change.h"
#include "kit/site_files.h"
#include "kit/site_setup.h"
#include "platform/os_companion.h"

namespace {

struct SetupOptions : CommonOptions {
  SetupValues values;
  std::string binkd;
  std::string program;
  bool yes = false;
  bool force = false;
  bool copy = false;
  bool update = false;
};

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// An answer that a run takes; empty where nothing is wanted.
std::string Ask(const SetupDirective& directive, const std::string& proposal) {
  for (;;) {
    Show(std::string(directive.question) + (proposal.empty() ? " " : " [" + ShownName(proposal) + "] "));
    std::cout.flush();
    std::string answer;
    if (!std::getline(std::cin, answer)) throw NotAnswered("the questions were not answered: nothing was written");
    answer = Trimmed(answer);
    if (answer.empty()) answer = proposal;
    if (answer.empty() && !directive.needed) return {};
    const std::string wrong = WhyNot(directive, answer);
    if (wrong.empty()) return answer;
    Show("That cannot be used: " + wrong + ".\n");
  }
}

void TakeAnswers(const SetupOptions& options, const SetupProposals& found, SetupValues* values) {
  const bool asks = OsIsTyped() && !options.yes;
  SetupValues proposals = found.values;
  for (const SetupDirective& directive : SetupDirectives()) {
    if (values->count(directive.keyword) != 0) continue;
    LookForBase(*values, &proposals);
    const auto proposed = proposals.find(directive.keyword);
    const std::string proposal = proposed == proposals.end() ? "" : proposed->second;
    const bool asked = asks && *directive.question != '\0';
    const std::string value = asked ? Ask(directive, proposal) : options.yes ? proposal : "";
    if (!value.empty()) values->emplace(directive.keyword, value);
    if (value.empty() && directive.needed) {
      throw NotAnswered(fmt::format("there is no {}: give it, or call this on a terminal", directive.option));
    }
  }
  values->emplace("KEEPPROCESSED", "yes");
}

void CheckGiven(const SetupValues& values) {
  for (const SetupDirective& directive : SetupDirectives()) {
    const auto given = values.find(directive.keyword);
    if (given == values.end()) continue;
    const std::string wrong = WhyNot(directive, given->second);
    if (!wrong.empty()) throw NotAnswered(fmt::format("{} {}: {}", directive.option, ShownName(given->second), wrong));
  }
}

void AppendOutput(void* text, const char* piece, size_t size) { static_cast<std::string*>(text)->append(piece, size); }

// Returns the exit status of the check.
int Check(const std::string& program, const std::string& config, std::string* output) {
  const char* const arguments[] = {program.c_str(), "-check", config.c_str(), nullptr};
  const int status = OsRunProgram(arguments, nullptr, AppendOutput, output);
  if (status < 0) throw NotAnswered(ShownName(program) + " cannot be started");
  output->erase(std::remove(output->begin(), output->end(), '\r'), output->end());
  return status;
}

std::string InstalledProgram(const SetupOptions& options) {
  std::string program = options.program.empty() ? ProgramIn(OwnDirectory()) : options.program;
  if (!LookAtFile(program).exists) {
    throw NotAnswered(ShownName(program) + " is not there: name cvtoss32 with --program");
  }
  return program;
}

// Where the program stands that is to work on the site: a copy beside the configuration when the installed one could
// not keep its log. Returns its path.
std::string PlaceProgram(const SetupOptions& options, const std::string& installed, std::vector<std::string>* done) {
  const std::string copy = ProgramIn(DirectoryPart(options.config));
  if (LookAtFile(copy).exists) {
    const SitePrograms programs = ComparePrograms(installed, copy);
    if (programs.outdated) done->push_back(TellOutdatedCopy(programs) + ": renew it with cvkit setup --update");
    return DirectoryPart(copy).empty() ? "./" + copy : copy;
  }
  const std::string home = DirectoryPart(installed);
  if (!options.copy && OsMayMakeFiles(home.empty() ? "." : home.c_str())) return installed;
  InstallProgram(installed, copy);
  done->push_back("the program is in " + ShownName(copy) + ", for its log is kept beside it");
  return DirectoryPart(copy).empty() ? "./" + copy : copy;
}

void AddScheduleAdvice(const SetupProposals& found, const SetupValues& values, std::vector<std::string>* done) {
  const auto outdir = values.find("OUTDIR");
  if (found.box.empty() || outdir == values.end() || outdir->second == found.box) return;
  done->push_back("the mailer sends what lies in " + ShownName(found.box) +
                  ": let cvtoss32-exchange hand finished bundles over to it");
}

int WriteSetup(const SetupOptions& options) {
  const std::string installed = InstalledProgram(options);
  OsStatus status;
  if (!options.force && OsStat(options.config.c_str(), &status) != kOsMissing) {
    throw NotAnswered(ShownName(options.config) + " is there already (--force replaces it)");
  }
  CheckGiven(options.values);
  const SetupProposals found = LookForMail(options.binkd);
  SetupValues values = options.values;
  TakeAnswers(options, found, &values);
  InstallText(ConfigurationText(values), options.config, options.force);
  std::vector<std::string> done = {ShownName(options.config) + " is written"};
  const std::string program = PlaceProgram(options, installed, &done);
  AddScheduleAdvice(found, values, &done);
  std::string output;
  const int checked = Check(program, options.config, &output);
  if (options.json) {
    ShowJson({{"config", ShownName(options.config)},
              {"program", ShownName(program)},
              {"done", done},
              {"check", Escaped(output)},
              {"status", checked}});
  } else {
    Show(Escaped(output));
    for (const std::string& text : done) Show(text + "\n");
    Show(checked == 0 ? "Next: cvkit doctor, then the schedule.\n" : "The check found something: see above.\n");
  }
  return checked == 0 ? kAllIsWell : kNeedsAttention;
}

int RenewCopy(const SetupOptions& options) {
  const SitePrograms programs = ComparePrograms(InstalledProgram(options), ProgramIn(DirectoryPart(options.config)));
  std::string text = "There is no copy of the program beside the configuration: nothing to renew.";
  if (!programs.copy.empty() && !programs.outdated) text = ShownName(programs.copy) + " is the installed program.";
  if (programs.outdated) {
    TosserConfig config;
    if (LoadConfig(options.config.c_str(), &config) != 0 || config.HaveMsgDir == 0) {
      throw NotAnswered("the configuration " + ShownName(options.config) + " cannot be used");
    }
    const QuietSite quiet(config);
    InstallProgram(programs.installed, programs.copy);
    text = ShownName(programs.copy) + " is renewed.";
  }
  options.json ? ShowJson({{"done", {text}}}) : Show(text + "\n");
  return kAllIsWell;
}

}  // namespace

void AddSetup(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("setup", "A working configuration from a few questions");
  const auto options = std::make_shared<SetupOptions>();
  AddCommonOptions(command, options.get());
  for (const SetupDirective& directive : SetupDirectives()) {
    const std::string keyword = directive.keyword;
    command
        ->add_option_function<std::string>(
            directive.option, [options, keyword](const std::string& value) { options->values[keyword] = value; },
            "The value of " + keyword)
        ->type_name(directive.directory ? "DIRECTORY" : "TEXT");
  }
  command->add_option("--binkd", options->binkd, "The mailer's configuration, for proposals")->type_name("FILE");
  command->add_option("--program", options->program, "The program (default: cvtoss32 beside cvkit)")->type_name("FILE");
  command->add_flag("--yes", options->yes, "Ask nothing: take what is proposed");
  command->add_flag("--force", options->force, "Replace a configuration that is there already");
  command->add_flag("--copy", options->copy, "Put a copy of the program beside the configuration");
  command->add_flag("--update", options->update, "Only renew that copy after an upgrade");
  command->callback([options, status] { *status = options->update ? RenewCopy(*options) : WriteSetup(*options); });
}
