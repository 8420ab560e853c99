// A site on which one run is repeated, each time with another fault.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/run_promises.h"
#include "fault/steps.h"
#include "unit/support/fake_clock.h"

// The lines of a run, and the site after it.
struct RunOutcome {
  int status = 0;
  std::vector<std::string> lines;  // with <site> for the site's path
  SiteFiles files;

  // Whether the run logged only lines that a run without faults logs too.
  bool IsSilentBeside(const RunOutcome& faultless) const;
};

// The site at the start of every repetition.
struct StagedSite {
  Site site;
  SiteFiles before;
  mutable SiteMap map{site};
};

// One repetition: its destructor restores the site.
class RunStage {
 public:
  using Spoil = std::function<void(ScopedDoor*)>;

  // `spoil`, when there is one, sets faults that last from the start.
  RunStage(const StagedSite& staged, const Spoil& spoil);
  RunStage(const RunStage&) = delete;
  RunStage& operator=(const RunStage&) = delete;
  ~RunStage();

  ScopedDoor& Door() { return door_; }

  // Removes all faults, and a lock that could not be removed, as the operator does.
  void EndOfFaults();

  // The files between two runs, which the operator may change.
  const SiteFiles& Present() const { return present_; }
  void Repair(const std::string& path, const std::string& bytes);
  void RepairByRemoval(const std::string& path);

 protected:
  // Runs and asserts that the run ends as every run has to, with the same lines in its log as on the console.
  RunOutcome Play(int (*run)(const TosserConfig& config));

  // Of the last run: the files that it found, and its calls.
  const SiteFiles& Found() const { return found_; }
  std::vector<Step> Steps() const { return staged_.map.StepsFrom(first_call_, door_); }

  const StagedSite& staged_;
  const Site& site_;
  const SiteFiles& before_;

 private:
  void ExpectWholeLog() const;

  SiteFiles found_;
  SiteFiles present_;
  size_t first_call_ = 0;
  FakeClock clock_;
  FakeProcess process_{site_.ProgramFile()};
  CapturedLog log_;
  ScopedDoor door_;
};
