// The runs recorded in TOSSER.LOG, in the order in which they ended.
//
// Several runs may write to the log at the same time: a run that finds the lock held logs that between the lines of the
// holder, and a check takes no lock. Work that only the holder of the lock does is counted as the holder's.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "kit/log_patterns.h"

enum class RunMode { kToss, kScan, kCheck };

enum class RunEnd {
  kComplete,    // exit status 0
  kWithErrors,  // exit status 1 at its regular end, or a check that found issues
  kRefused,     // another run was at work
  kAborted,     // ended early, with a line that gives the reason
  kNotEnded,    // the log does not have its last line: it was killed, or is at work
};

struct LoggedRun {
  RunMode mode = RunMode::kToss;
  RunEnd end = RunEnd::kNotEnded;
  std::string started;  // the stamp of its first line
  std::string last;     // the stamp of its last line
  int64_t done = 0;     // files that a toss processed, messages that a scan exported, issues that a check found
  int64_t stored = 0;   // messages of a toss, and so on
  int64_t duplicates = 0;
  int64_t dropped = 0;
  int64_t damaged = 0;   // packets that were saved for review
  int64_t retained = 0;  // files
  int64_t ignored = 0;   // files
  bool waited = false;   // it was aborted because a caller stayed on
  int64_t errors = 0;    // lines that begin with FATAL, ERROR, CRITICAL or Aborting
};

// How a run ended, in a few words.
const char* WordOf(const LoggedRun& run);

class LogRuns {
 public:
  explicit LogRuns(std::function<void(const LoggedRun&)> report) : report_(std::move(report)) {}

  // Takes the next line of the log.
  void Take(const LogRecord& record);

  // To be called after the last line: reports the runs that have not ended.
  void Finish();

 private:
  void Start(RunMode mode, const LogRecord& record);
  void TakeLoaded();
  void Count(const LogRecord& record);
  void End(std::optional<LoggedRun>* run, RunEnd end, const LogRecord& record);
  void GiveUp(std::optional<LoggedRun>* run);
  std::optional<LoggedRun>* AtWork() { return holder_ || !newcomer_ ? &holder_ : &newcomer_; }

  std::function<void(const LoggedRun&)> report_;
  std::optional<LoggedRun> holder_;    // of the lock
  std::optional<LoggedRun> newcomer_;  // a run whose lines do not show yet whether it got the lock
  std::optional<LoggedRun> check_;
  bool check_loaded_ = false;
};

// Whether a line, given without its stamp, reports an error.
bool TellsOfError(std::string_view text);
