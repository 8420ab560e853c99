// cvkit explain: what does a line of the log want of me?
#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "kit/guide_table.h"
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

// A row of the guide, and the lines that belong to it.
struct Explained {
  const GuideEntry* entry;
  std::string line;  // the first of them, showable
  size_t count = 1;
};

std::vector<Explained> ExplainLine(const std::string& line) {
  if (const GuideEntry* entry = FindGuideLine(line)) return {{entry, ShownMail(BareLine(line))}};
  std::vector<Explained> explained;
  for (const GuideEntry* entry : SearchGuideLines(line)) explained.push_back({entry, entry->line});
  if (explained.empty()) throw NotAnswered("the operator's guide has no such line: it asks for nothing");
  return explained;
}

// The lines of the last run, in the order in which each first appeared.
std::vector<Explained> ExplainLastRun(const std::string& path, std::string* run) {
  LogTail log(path);
  std::optional<int64_t> start;
  log.EachMarkBackwards([&](std::string_view line, int64_t at) {
    if (line.find(" starting ") == std::string_view::npos) return true;
    *run = ShownMail(line);
    start = at;
    return false;
  });
  if (!start && FindLogParts(path).empty()) {
    throw NotAnswered("there is no log " + ShownName(path) + " (--log names another)");
  }
  if (!start) throw NotAnswered("the log " + ShownName(path) + " tells of no run");
  std::vector<Explained> explained;
  std::map<const GuideEntry*, size_t> places;
  log.EachLine(*start, [&](std::string_view line) {
    const GuideEntry* entry = FindGuideLine(line);
    if (entry == nullptr) return;
    const auto [place, is_new] = places.emplace(entry, explained.size());
    if (is_new) {
      explained.push_back({entry, ShownMail(BareLine(line))});
    } else {
      ++explained[place->second].count;
    }
  });
  return explained;
}

void ShowText(const std::vector<Explained>& all, const std::string& run) {
  if (!run.empty()) Show(run + "\n");
  for (const Explained& one : all) {
    const std::string more = one.count == 1 ? "" : fmt::format(" (and {} like it)", Count(one.count - 1, "line"));
    Show(fmt::format("{}{}\n    {}\n", Coloured(one.entry->asks ? kWarning : kFaint, one.line), more,
                     one.entry->remedy));
  }
  if (!run.empty() && all.empty()) Show("Nothing asks for your attention.\n");
}

void ShowObject(const std::vector<Explained>& all, const std::string& run, bool asks) {
  Json lines = Json::array();
  for (const Explained& one : all) {
    lines.push_back({{"line", one.line},
                     {"count", one.count},
                     {"entry", one.entry->line},
                     {"attention", one.entry->asks},
                     {"remedy", one.entry->remedy}});
  }
  ShowJson({{"ok", !asks}, {"run", run.empty() ? Json() : Json(run)}, {"lines", lines}});
}

int Explain(const ExplainOptions& options, bool of_line) {
  std::string run;
  const std::string log = options.log.empty() ? LogBeside(options.common.config) : options.log;
  const std::vector<Explained> all = of_line ? ExplainLine(options.line) : ExplainLastRun(log, &run);
  bool asks = false;
  for (const Explained& one : all) asks = asks || one.entry->asks;
  options.common.json ? ShowObject(all, run, asks) : ShowText(all, run);
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
