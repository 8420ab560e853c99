// cvkit tidy: which old processed files, bad packets and logs may be removed?
#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_period.h"
#include "kit/log_tail.h"
#include "kit/shown_facts.h"
#include "kit/site_change.h"
#include "kit/site_state.h"
#include "kit/tidy_site.h"
#include "platform/os.h"

namespace {

struct TidyOptions : CommonOptions {
  std::string older = "90d";
  std::string rotate = "20M";
  std::string log;
  bool apply = false;
};

// The number in "90d" or "20M", times what its unit stands for; nothing when it is neither.
std::optional<int64_t> Amount(const std::string& text, char unit, int64_t factor) {
  if (text.size() < 2 || text.size() > 6 || text.back() != unit) return {};
  int64_t number = 0;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return {};
    number = number * 10 + (text[i] - '0');
  }
  return number * factor;
}

TidyQuestion QuestionOf(const TidyOptions& options) {
  TidyQuestion question;
  const std::optional<int64_t> older = Amount(options.older, 'd', kDaySeconds);
  if (!older) throw NotAnswered("--older takes days, as in 90d");
  question.older = *older;
  const std::optional<int64_t> size = Amount(options.rotate, 'M', int64_t{1} << 20);
  const std::optional<int64_t> age = Amount(options.rotate, 'd', kDaySeconds);
  if (!size && !age) throw NotAnswered("--rotate takes megabytes or days, as in 20M or 30d");
  if (size) question.log_size = *size;
  if (age) question.log_age = *age;
  question.log = options.log.empty() ? LogBeside(options.config) : options.log;
  return question;
}

int64_t DaysOld(const TidyItem& item) { return (OsNow() - item.modified) / kDaySeconds; }

void ShowText(const TidyOptions& options, const TidyQuestion& question, const Tidying& tidying,
              const std::vector<std::string>& failed) {
  size_t count = 0;
  int64_t size = 0;
  for (const TidyItem& item : tidying.items) {
    const std::string what =
        fmt::format("{:<10}{:>10}  {:>4} days  {}", item.kind, item.size, DaysOld(item), ShownName(item.path));
    Show(item.kept.empty() ? what + "\n" : Coloured(kFaint, what + "  stays: it " + item.kept) + "\n");
    count += item.kept.empty() ? 1 : 0;
    size += item.kept.empty() ? item.size : 0;
  }
  if (!tidying.rotate_to.empty()) {
    Show("rotated   " + ShownName(question.log) + " to " + ShownName(tidying.rotate_to) + "\n");
  }
  if (!tidying.unsettled.empty()) Show("Unsettled: " + tidying.unsettled + ".\n");
  for (const std::string& text : failed) Show(Coloured(kBad, text) + "\n");
  Show(fmt::format("{} of {} {}\n", Count(count, "file"), Count(size, "byte"),
                   options.apply ? "removed." : "would be removed: --apply does it."));
}

void ShowFacts(const TidyOptions& options, const TidyQuestion& question, const Tidying& tidying,
               const std::vector<std::string>& failed) {
  Json items = Json::array();
  for (const TidyItem& item : tidying.items) {
    items.push_back({{"kind", item.kind},
                     {"path", item.path},
                     {"size", item.size},
                     {"days", DaysOld(item)},
                     {"kept", item.kept.empty() ? Json() : Json(item.kept)}});
  }
  Json rotated;
  if (!tidying.rotate_to.empty()) rotated = {{"from", question.log}, {"to", tidying.rotate_to}};
  ShowJson({{"applied", options.apply},
            {"items", items},
            {"rotated", rotated},
            {"failed", failed},
            {"unsettled", TextOrNull(tidying.unsettled)}});
}

int Tidy(const TidyOptions& options) {
  const TidyQuestion question = QuestionOf(options);
  const KitSite site = LoadKitSite(options.config);
  std::unique_ptr<QuietSite> quiet;
  if (options.apply) quiet = std::make_unique<QuietSite>(site.config);
  Tidying tidying = PlanTidying(site, question);
  if (options.apply) tidying.unsettled.clear();  // the lock is ours
  if (!options.apply && tidying.unsettled.empty()) tidying.unsettled = LookAtSite(site.config).Unsettled();
  std::vector<std::string> failed;
  if (quiet) failed = DoTidying(tidying, question.log, [&quiet] { quiet->Keep(); });
  options.json ? ShowFacts(options, question, tidying, failed) : ShowText(options, question, tidying, failed);
  return failed.empty() ? kAllIsWell : kNeedsAttention;
}

}  // namespace

void AddTidy(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("tidy", "Which old files may be removed?");
  const auto options = std::make_shared<TidyOptions>();
  AddCommonOptions(command, options.get());
  command->add_option("--older", options->older, "What counts as old (default: 90d)")->type_name("DAYS");
  command->add_option("--rotate", options->rotate, "When TOSSER.LOG is rotated, as 20M or 30d (default: 20M)")
      ->type_name("SIZE|DAYS");
  command->add_option("--log", options->log, "The log (default: TOSSER.LOG of the site)")->type_name("FILE");
  command->add_flag("--apply", options->apply, "Remove and rotate, under the run lock");
  command->callback([options, status] { *status = Tidy(*options); });
}
