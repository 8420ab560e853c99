// cvkit status: is everything all right?
#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>

#include "bbs/records.h"
#include "kit/attention_output.h"
#include "kit/kit_answer.h"
#include "kit/kit_command.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_period.h"
#include "kit/log_tail.h"
#include "kit/shown_facts.h"
#include "kit/status_facts.h"

namespace {

struct StatusOptions {
  CommonOptions common;
  std::string log;
  bool verbose = false;
  bool prometheus = false;
};

const char* WordOf(LockHolder holder) {
  switch (holder) {
    case LockHolder::kAtWork: return "at work";
    case LockHolder::kAbandoned: return "abandoned";
    case LockHolder::kNobody: break;
  }
  return "none";
}

std::string TossText(const LastRuns& runs) {
  if (!runs.toss) return "no toss";
  return fmt::format("toss {}: {}, {} stored", runs.toss->started, Count(runs.toss->done, "file"), runs.toss->stored);
}

std::string ScanText(const LastRuns& runs) {
  if (!runs.scan) return "no scan";
  return fmt::format("scan {}: {} sent", runs.scan->started, runs.scan->done);
}

std::string FullestText(const FullestConference& fullest) {
  if (fullest.conference == 0) return "no conference holds texts";
  return fmt::format("fullest conference {} at {}%", fullest.conference, 100 * fullest.records / kMostDatRecords);
}

// Returns what follows on the line: the mail that waits, and whether anybody is at work.
std::string AsideText(const StatusFacts& facts) {
  const WaitingFiles waiting = CountInbound(facts.inbound, false);
  std::string text;
  if (waiting.count != 0) {
    text += fmt::format("; {} in INBOUND {} for a toss {}", Count(waiting.count, "file"),
                        waiting.count == 1 ? "waits" : "wait", SinceText(waiting));
  }
  const std::string unsettled = facts.state.Unsettled();
  return unsettled.empty() ? text : text + "; unsettled: " + unsettled;
}

void ShowLine(const StatusFacts& facts) {
  if (facts.attention.empty()) {
    Show(fmt::format("{} {}; {}; {}{}\n", Coloured(kGood, "OK"), TossText(facts.runs), ScanText(facts.runs),
                     FullestText(facts.fullest), AsideText(facts)));
    return;
  }
  std::string line = Coloured(kBad, "ATTENTION");
  for (const Attention& one : facts.attention) line += (&one == facts.attention.data() ? " " : "; ") + one.text;
  Show(line + AsideText(facts) + "\n");
}

void ShowDetails(const StatusFacts& facts) {
  const LastRuns& runs = facts.runs;
  std::string text = "  " + TossText(runs);
  if (runs.toss) text += fmt::format(" ({})", WordOf(*runs.toss));
  text += "\n  " + ScanText(runs);
  if (runs.scan) text += fmt::format(" ({})", WordOf(*runs.scan));
  text += fmt::format("\n  INBOUND: {}, {} retained\n", Count(facts.inbound.size(), "file"),
                      CountInbound(facts.inbound, true).count);
  for (const InboundFile& file : facts.inbound) {
    text += fmt::format("    {}  since {}{}\n", ShownName(file.name), StampOf(file.modified),
                        file.retained ? ", retained" : "");
  }
  text += fmt::format("  OUTDIR: {}\n", Count(facts.bundles, "bundle"));
  for (const std::string& area : facts.new_areas) text += "  new unknown area: " + ShownName(area) + "\n";
  text += "  " + FullestText(facts.fullest);
  if (!facts.fullest.full_on.empty()) text += ", full on " + facts.fullest.full_on;
  text += fmt::format("\n  lock: {}{}\n", WordOf(facts.state.holder), facts.state.caller ? "; a caller is on" : "");
  Show(text);
  ShowAttention(facts.attention);
}

std::string IsoStamp(std::string stamp) {
  if (stamp.size() > 10) stamp[10] = 'T';
  return stamp;
}

Json RunJson(const std::optional<LoggedRun>& run) {
  if (!run) return nullptr;
  return {{"started", IsoStamp(run->started)},
          {"ended", IsoStamp(run->last)},
          {"result", WordOf(*run)},
          {"done", run->done},
          {"stored", run->stored},
          {"duplicates", run->duplicates},
          {"dropped", run->dropped},
          {"damaged", run->damaged},
          {"retained", run->retained},
          {"errors", run->errors}};
}

void ShowObject(const StatusFacts& facts) {
  Json answer = AttentionJson(facts.attention);
  answer["toss"] = RunJson(facts.runs.toss);
  answer["scan"] = RunJson(facts.runs.scan);
  answer["inbound"] = Json::array();
  for (const InboundFile& file : facts.inbound) {
    answer["inbound"].push_back(
        {{"file", file.name}, {"retained", file.retained}, {"since", IsoStamp(StampOf(file.modified))}});
  }
  answer["bundles"] = facts.bundles;
  answer["new_areas"] = facts.new_areas;
  answer["unsound"] = facts.unsound;
  const FullestConference& fullest = facts.fullest;
  answer["fullest"] = nullptr;
  if (fullest.conference != 0) {
    answer["fullest"] = {{"conference", fullest.conference},
                         {"name", fullest.name},
                         {"dat_records", fullest.records},
                         {"full_on", fullest.full_on.empty() ? Json() : Json(fullest.full_on)}};
  }
  answer["lock"] = WordOf(facts.state.holder);
  answer["caller"] = facts.state.caller;
  answer["unsettled"] = TextOrNull(facts.state.Unsettled());
  ShowJson(answer);
}

// A label's value: a backslash, a quote or a line end in it has an escape.
std::string Label(const std::string& value) {
  std::string escaped;
  for (const char c : value) {
    if (c == '\\' || c == '"') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

struct Metrics {
  std::string text;

  void Begin(const char* name, const char* help) {
    text += fmt::format("# HELP {} {}\n# TYPE {} gauge\n", name, help, name);
  }
  template <class Value>
  void Add(const std::string& name, Value value) {
    text += fmt::format("{} {}\n", name, value);
  }
  template <class Value>
  void One(const char* name, const char* help, Value value) {
    Begin(name, help);
    Add(name, value);
  }
};

bool IsOlder(const InboundFile& left, const InboundFile& right) { return left.modified < right.modified; }

void ShowMetrics(const StatusFacts& facts) {
  Metrics metrics;
  const LastRuns& runs = facts.runs;
  metrics.One("cvtoss_ok", "Whether nothing needs attention.", facts.attention.empty() ? 1 : 0);
  if (!facts.attention.empty()) metrics.Begin("cvtoss_attention", "What needs attention, by its code.");
  std::map<std::string, int> codes;
  for (const Attention& one : facts.attention) ++codes[one.code];
  for (const auto& [code, count] : codes) metrics.Add(fmt::format("cvtoss_attention{{code=\"{}\"}}", code), count);
  const auto each_run = [&](const std::string& name, const char* help, auto value) {
    if (!runs.toss && !runs.scan) return;
    metrics.Begin(name.c_str(), help);
    if (runs.toss) metrics.Add(name + "{mode=\"toss\"}", value(*runs.toss));
    if (runs.scan) metrics.Add(name + "{mode=\"scan\"}", value(*runs.scan));
  };
  each_run("cvtoss_last_run_timestamp_seconds", "When the last run began.",
           [](const LoggedRun& run) { return SecondsOfStamp(run.started); });
  each_run("cvtoss_last_run_complete", "Whether the last run came to its end without errors.",
           [](const LoggedRun& run) { return run.end == RunEnd::kComplete ? 1 : 0; });
  each_run("cvtoss_last_run_messages", "Messages that the last run stored or sent.",
           [](const LoggedRun& run) { return run.mode == RunMode::kToss ? run.stored : run.done; });
  metrics.One("cvtoss_inbound_files", "Packets and bundles in INBOUND.", facts.inbound.size());
  metrics.One("cvtoss_inbound_retained_files", "Of these, the ones that the last toss has left.",
              CountInbound(facts.inbound, true).count);
  if (!facts.inbound.empty()) {
    metrics.One("cvtoss_inbound_oldest_timestamp_seconds", "When the oldest of them was last changed.",
                std::min_element(facts.inbound.begin(), facts.inbound.end(), IsOlder)->modified);
  }
  metrics.One("cvtoss_outbound_bundles", "Bundles in OUTDIR.", facts.bundles);
  metrics.One("cvtoss_new_unknown_areas", "Areas without a conference that came first within a week.",
              facts.new_areas.size());
  metrics.One("cvtoss_unsound_conferences", "Conferences whose message base every run refuses.", facts.unsound.size());
  if (facts.fullest.conference != 0) {
    metrics.Begin("cvtoss_fullest_conference_ratio", "How full the fullest conference is, up to 1.");
    metrics.Add(fmt::format("cvtoss_fullest_conference_ratio{{conference=\"{}\",name=\"{}\"}}",
                            facts.fullest.conference, Label(ShownName(facts.fullest.name))),
                static_cast<double>(facts.fullest.records) / kMostDatRecords);
  }
  metrics.One("cvtoss_caller", "Whether a caller is on the BBS.", facts.state.caller ? 1 : 0);
  Show(metrics.text);
}

int Status(const StatusOptions& options) {
  const std::string& config = options.common.config;
  const StatusFacts facts = ReadStatus(LoadKitSite(config), options.log.empty() ? LogBeside(config) : options.log);
  if (options.common.json) {
    ShowObject(facts);
  } else if (options.prometheus) {
    ShowMetrics(facts);
  } else {
    ShowLine(facts);
    if (options.verbose) ShowDetails(facts);
  }
  return facts.attention.empty() ? kAllIsWell : kNeedsAttention;
}

}  // namespace

void AddStatus(CLI::App* program, int* status) {
  CLI::App* const command = program->add_subcommand("status", "Is everything all right?");
  const auto options = std::make_shared<StatusOptions>();
  AddCommonOptions(command, &options->common);
  command->add_option("--log", options->log, "The log (default: TOSSER.LOG beside the configuration)")
      ->type_name("FILE");
  command->add_flag("-v,--verbose", options->verbose, "Show the details, with what to do");
  command->add_flag("--prometheus", options->prometheus, "Print the text form of metrics");
  command->callback([options, status] { *status = Status(*options); });
}
