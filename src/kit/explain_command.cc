// cvkit explain: the meaning of lines in the log, from the operator's guide.
#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "kit/explained_run.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_reader.h"
#include "kit/log_tail.h"
#include "kit/shown_facts.h"

namespace {

struct ExplainOptions {
  CommonOptions common;
  std::string line;
  std::string log;
};

std::vector<ExplainedLine> ExplainLine(const std::string& line) {
  if (const GuideEntry* entry = FindGuideLine(line)) return {{entry, DecodedMail(BareLine(line))}};
  std::vector<ExplainedLine> explained;
  for (const GuideEntry* entry : SearchGuideLines(line)) explained.push_back({entry, entry->line});
  if (explained.empty()) throw NotAnswered("the operator's guide has no such line: it asks for nothing");
  return explained;
}

void ShowText(const std::vector<ExplainedLine>& all, const std::string& run) {
  if (!run.empty()) Show(ShownName(run) + "\n");
  for (const ExplainedLine& one : all) {
    Show(fmt::format("{}\n    {}\n", Coloured(one.entry->asks ? kWarning : kFaint, TextOf(one)), one.entry->remedy));
  }
  if (!run.empty() && all.empty()) Show("Nothing asks for your attention.\n");
}

void ShowObject(const std::vector<ExplainedLine>& all, const std::string& run, bool asks) {
  Json lines = Json::array();
  for (const ExplainedLine& one : all) {
    lines.push_back({{"line", one.line},
                     {"count", one.count},
                     {"entry", one.entry->line},
                     {"attention", one.entry->asks},
                     {"remedy", one.entry->remedy}});
  }
  ShowJson({{"ok", !asks}, {"run", run.empty() ? Json() : Json(run)}, {"lines", lines}});
}

ExplainedRun ExplainLog(const std::string& log) {
  ExplainedRun run = ExplainLastRun(log, {});
  if (!run.start.empty()) return run;
  if (FindLogParts(log).empty()) throw NotAnswered("there is no log " + ShownName(log) + " (--log names another)");
  throw NotAnswered("the log " + ShownName(log) + " has no run");
}

int Explain(const ExplainOptions& options, bool of_line) {
  const std::string log = options.log.empty() ? LogBeside(options.common.config) : options.log;
  const ExplainedRun run = of_line ? ExplainedRun{{}, ExplainLine(options.line)} : ExplainLog(log);
  bool asks = false;
  for (const ExplainedLine& one : run.lines) asks = asks || one.entry->asks;
  options.common.json ? ShowObject(run.lines, run.start, asks) : ShowText(run.lines, run.start);
  return asks ? kNeedsAttention : kAllIsWell;
}

}  // namespace

void AddExplain(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("explain", "What does this line of the log want of me?");
  const auto options = std::make_shared<ExplainOptions>();
  AddCommonOptions(command, &options->common);
  const CLI::Option* const line =
      command->add_option("LINE", options->line, "The line (default: those of the last run)");
  command->add_option("--log", options->log, "The log (default: TOSSER.LOG beside the configuration)")
      ->type_name("FILE");
  command->callback([options, line, status] { *status = Explain(*options, line->count() != 0); });
}
