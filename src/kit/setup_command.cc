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

// Asks until the answer is valid. Returns an empty text when a directive that is not required gets no answer.
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

// Throws NotAnswered when there is no cvtoss32 to set up.
SitePrograms RequirePrograms(const SetupOptions& options) {
  SitePrograms programs = FindPrograms(options.config, options.program);
  const bool named = !options.program.empty();
  if (programs.tosser.installed.empty() && (named || options.update || !LookAtFile(programs.tosser.place).exists)) {
    throw NotAnswered((named ? ShownName(options.program) + " is not there" : "no installed cvtoss32 was found") +
                      ": name cvtoss32 with --program");
  }
  return programs;
}

void CopyPrograms(const SitePrograms& programs, std::vector<std::string>* done) {
  for (const SiteProgram* program : programs.Both()) {
    if (LookAtFile(program->place).exists || program->installed.empty()) continue;
    InstallProgram(program->installed, program->place);
    done->push_back(program == &programs.tosser
                        ? "the program is in " + ShownName(program->place) + ", for its log is kept beside it"
                        : "cvkit is in " + ShownName(program->place) + ", where the exchange scripts call it");
  }
}

// Returns the path of the cvtoss32 that is to work on the site: a copy beside the configuration when the installed one
// cannot keep its log.
std::string PlacePrograms(const SetupOptions& options, const SitePrograms& programs, std::vector<std::string>* done) {
  const std::string& copy = programs.tosser.place;
  if (!LookAtFile(copy).exists && !options.copy && MayKeepLogBeside(programs.tosser.installed)) {
    return programs.tosser.installed;
  }
  for (const SiteProgram* program : programs.Both()) {
    if (program->outdated) done->push_back(TellOutdatedCopy(*program) + ": renew it with cvkit setup --update");
  }
  CopyPrograms(programs, done);
  return DirectoryPart(copy).empty() ? "./" + copy : copy;
}

void AddScheduleAdvice(const SetupProposals& found, const SetupValues& values, std::vector<std::string>* done) {
  const auto outdir = values.find("OUTDIR");
  if (found.box.empty() || outdir == values.end() || outdir->second == found.box) return;
  done->push_back("the mailer sends what lies in " + ShownName(found.box) +
                  ": let cvtoss32-exchange hand finished bundles over to it");
}

int WriteSetup(const SetupOptions& options) {
  const SitePrograms programs = RequirePrograms(options);
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
  const std::string program = PlacePrograms(options, programs, &done);
  AddScheduleAdvice(found, values, &done);
  std::string output;
  const int checked = Check(program, options.config, &output);
  if (options.json) {
    ShowJson({{"config", options.config},
              {"program", program},
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

int RenewCopies(const SetupOptions& options) {
  const SitePrograms programs = RequirePrograms(options);
  std::vector<std::string> done;
  const bool lacks_kit = programs.tosser.copied && !LookAtFile(programs.kit.place).exists;
  if (programs.tosser.outdated || programs.kit.outdated || lacks_kit) {
    TosserConfig config;
    if (LoadConfig(options.config.c_str(), &config) != 0 || config.HaveMsgDir == 0) {
      throw NotAnswered("the configuration " + ShownName(options.config) + " cannot be used");
    }
    const QuietSite quiet(config);
    for (const SiteProgram* program : programs.Both()) {
      if (!program->outdated) continue;
      InstallProgram(program->installed, program->place);
      done.push_back(ShownName(program->place) + " is renewed.");
    }
    if (lacks_kit) CopyPrograms(programs, &done);
  } else {
    for (const SiteProgram* program : programs.Both()) {
      if (program->copied) done.push_back(ShownName(program->place) + " is the installed program.");
    }
    if (done.empty()) done = {"There is no copy of the programs beside the configuration: nothing to renew."};
  }
  if (options.json) ShowJson({{"done", done}});
  for (size_t i = 0; !options.json && i < done.size(); ++i) Show(done[i] + "\n");
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
  command->add_option("--program", options->program, "The installed cvtoss32 (default: beside cvkit, or on the PATH)")
      ->type_name("FILE");
  command->add_flag("--yes", options->yes, "Ask nothing: take what is proposed");
  command->add_flag("--force", options->force, "Replace a configuration that is there already");
  command->add_flag("--copy", options->copy, "Put copies of both programs beside the configuration");
  command->add_flag("--update", options->update, "Only renew those copies after an upgrade");
  command->callback([options, status] { *status = options->update ? RenewCopies(*options) : WriteSetup(*options); });
}
