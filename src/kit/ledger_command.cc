#include <CLI/CLI.hpp>
#include <memory>

#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_output.h"
#include "kit/ledger_render.h"
#include "kit/log_period.h"
#include "kit/log_reader.h"
#include "kit/log_tail.h"
#include "kit/progress.h"

namespace {

struct LedgerOptions {
  CommonOptions common;
  LedgerQuestion question;
  bool sum = false;
};

LedgerSums ShowLedger(const KitSite& site, const LedgerOptions& options, LedgerJson* json) {
  Progress progress("accounting");
  const bool as_json = options.common.json;
  LedgerReader reader;
  const LedgerFile* shown = nullptr;  // the file whose line was printed last
  reader.progress = [&progress](size_t done, size_t all) { progress.Reached(done, all); };
  reader.file = [&](const LedgerFile& file) {
    shown = nullptr;
    if (as_json) return json->Add(file);
    if (options.sum) return;
    progress.Clear();
    Show(LedgerText(file));
  };
  reader.message = [&](const LedgerFile& file, const LedgerMessage& message) {
    if (as_json) return json->Add(file, message);
    if (options.sum && message.fate != Fate::kUnaccounted) return;
    progress.Clear();
    if (options.sum && shown == nullptr) Show(LedgerText(file));
    shown = &file;
    Show(LedgerText(message));
  };
  return MakeLedger(site, options.question, reader);
}

int RunLedger(LedgerOptions options) {
  LedgerQuestion& question = options.question;
  if (!question.since.empty()) question.since = StampPrefix(question.since);
  if (!question.until.empty()) question.until = StampPrefix(question.until);
  const KitSite site = LoadKitSite(options.common.config);
  if (question.log.empty()) question.log = LogBeside(options.common.config);
  const bool has_log = !FindLogParts(question.log).empty();
  LedgerJson json;
  if (options.common.json) json.Begin();
  const LedgerSums sums = ShowLedger(site, options, &json);
  if (options.common.json) {
    json.End(sums, question);
  } else {
    if (!has_log) Show("There is no " + ShownName(question.log) + ".\n");
    if (sums.Of(Fate::kRemoved) != 0) {
      Show("Removed: packed by the BBS, or cut; cvkit verify tells whether the message base is sound.\n");
    }
    if (!sums.unsettled.empty()) Show("Unsettled: " + sums.unsettled + ".\n");
    if (sums.files == 0 && !(question.files.empty() && question.msgid.empty())) {
      Show("Neither the log nor any file that is there knows of it.\n");
    }
    Show(Coloured(sums.Of(Fate::kUnaccounted) == 0 ? kGood : kBad, SumLine(sums)) + "\n");
  }
  const bool not_known = sums.files == 0 && !(question.files.empty() && question.msgid.empty());
  return sums.Of(Fate::kUnaccounted) != 0 || not_known ? kNeedsAttention : kAllIsWell;
}

}  // namespace

void AddLedger(CLI::App* program, int* status) {
  const auto options = std::make_shared<LedgerOptions>();
  CLI::App* const command =
      program->add_subcommand("ledger", "Was any mail lost? Every inbound message, and where it is");
  AddCommonOptions(command, &options->common);
  LedgerQuestion& question = options->question;
  command->add_option("FILE", question.files, "Only inbound files of these names")->type_name("");
  command->add_option("--since", question.since, "Only files handled since then: a date, today, yesterday, or 7d")
      ->type_name("DATE");
  command->add_option("--until", question.until, "Only files handled until then, that day included")->type_name("DATE");
  command->add_option("--msgid", question.msgid, "Only messages with this MSGID")->type_name("MSGID");
  command->add_option("--log", question.log, "The log of cvtoss32 (default: beside the configuration)")
      ->type_name("FILE");
  command->add_flag("--sum", options->sum, "Show only the sum, and what is unaccounted for");
  command->callback([options, status] { *status = RunLedger(*options); });
}
