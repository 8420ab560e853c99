#include "kit/log_runs.h"

#include <algorithm>

bool TellsOfError(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  constexpr std::string_view kWords[] = {"ERROR", "FATAL", "CRITICAL", "Aborting"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [text](std::string_view word) { return text.substr(0, word.size()) == word; });
}

const char* WordOf(const LoggedRun& run) {
  switch (run.end) {
    case RunEnd::kComplete: return "complete";
    case RunEnd::kWithErrors: return "with errors";
    case RunEnd::kAborted: return run.waited ? "gave up: a caller was on" : "aborted";
    case RunEnd::kNotEnded: return "not ended";
    case RunEnd::kRefused: break;
  }
  return "refused";
}

void LogRuns::GiveUp(std::optional<LoggedRun>* run) {
  if (!*run) return;
  (*run)->end = RunEnd::kNotEnded;
  report_(**run);
  run->reset();
}

void LogRuns::End(std::optional<LoggedRun>* run, RunEnd end, const LogRecord& record) {
  if (!*run) return;
  (*run)->end = end;
  (*run)->last = record.stamp;
  (*run)->waited = record.event == LogEvent::kAborted && record.text.rfind("Aborting: node ", 0) == 0;
  if (TellsOfError(record.text)) ++(*run)->errors;
  report_(**run);
  run->reset();
}

void LogRuns::Start(RunMode mode, const LogRecord& record) {
  std::optional<LoggedRun>* const run = mode == RunMode::kCheck ? &check_ : &newcomer_;
  GiveUp(run);
  if (mode == RunMode::kCheck) check_loaded_ = false;
  run->emplace();
  (*run)->mode = mode;
  (*run)->started = (*run)->last = record.stamp;
}

void LogRuns::TakeLoaded() {
  const bool is_of_check =
      check_ && !check_loaded_;  // of two such lines the second is the newcomer's, whoever wrote it
  if (is_of_check) check_loaded_ = true;
  if (!newcomer_ || is_of_check) return;
  GiveUp(&holder_);  // its lock was taken over
  holder_ = std::move(newcomer_);
  newcomer_.reset();
}

void LogRuns::Count(const LogRecord& record) {
  std::optional<LoggedRun>& run = *AtWork();
  if (!run) return;
  if (TellsOfError(record.text)) ++run->errors;
  run->last = record.stamp;
  switch (record.event) {
    case LogEvent::kStored: ++run->stored; break;
    case LogEvent::kDuplicate: ++run->duplicates; break;
    case LogEvent::kNoNetmail:
    case LogEvent::kNoArea: ++run->dropped; break;
    case LogEvent::kPacketFault: ++run->damaged; break;
    case LogEvent::kIgnored: run->ignored += record.numbers[0]; break;
    case LogEvent::kFileRetained:
    case LogEvent::kNotDurable:
    case LogEvent::kNotMoved:
    case LogEvent::kNotDeleted: ++run->retained; [[fallthrough]];
    case LogEvent::kListingCut: run->end = RunEnd::kWithErrors; break;
    default: break;
  }
}

void LogRuns::Take(const LogRecord& record) {
  const auto complete = [&](std::optional<LoggedRun>* run, RunEnd end) {
    if (!*run) return;
    (*run)->done = record.numbers[0];
    End(run, (*run)->end == RunEnd::kWithErrors ? RunEnd::kWithErrors : end, record);
  };
  switch (record.event) {
    case LogEvent::kTossStarted: return Start(RunMode::kToss, record);
    case LogEvent::kScanStarted: return Start(RunMode::kScan, record);
    case LogEvent::kCheckStarted: return Start(RunMode::kCheck, record);
    case LogEvent::kConferencesLoaded: return TakeLoaded();
    case LogEvent::kTossComplete:
    case LogEvent::kScanComplete:
    case LogEvent::kNothingExported: return complete(AtWork(), RunEnd::kComplete);
    case LogEvent::kCommitErrors: return complete(AtWork(), RunEnd::kWithErrors);
    case LogEvent::kCheckFailed: return complete(&check_, RunEnd::kWithErrors);
    case LogEvent::kCheckPassed: return complete(&check_, RunEnd::kComplete);
    case LogEvent::kLockRefused: return End(&newcomer_, RunEnd::kRefused, record);
    case LogEvent::kAborted:
      if (newcomer_) return End(&newcomer_, RunEnd::kAborted, record);
      return End(&holder_, RunEnd::kAborted, record);
    case LogEvent::kLockLost: return End(&holder_, RunEnd::kAborted, record);
    default: return Count(record);
  }
}

void LogRuns::Finish() {
  for (auto* run : {&holder_, &newcomer_, &check_}) GiveUp(run);
}
