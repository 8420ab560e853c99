// A site on which one run is played again and again, each time with another fault.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/run_promises.h"
#include "unit/support/fake_clock.h"

// What a run said, and how it left the site.
struct RunOutcome {
  int status = 0;
  std::vector<std::string> lines;  // with <site> for the site's path
  SiteFiles files;

  // Whether the run said nothing that a faultless one does not say as well.
  bool IsSilentBeside(const RunOutcome& faultless) const;
};

// One play: at its end the site is as it was before.
class RunStage {
 public:
  using Spoil = std::function<void(ScopedDoor*)>;

  // `before` are the files of the site; `spoil`, when there is one, sets faults that last from the start.
  RunStage(const Site& site, const SiteFiles& before, const Spoil& spoil);
  RunStage(const RunStage&) = delete;
  RunStage& operator=(const RunStage&) = delete;
  ~RunStage();

  ScopedDoor& Door() { return door_; }

  // Takes all faults away, and a lock that could not be removed, as the operator does. Returns what the next run finds.
  const SiteFiles& EndOfFaults();

 protected:
  // Plays the run and asserts that it ends as every run has to.
  RunOutcome Play(int (*run)(const TosserConfig& config));

  const Site& site_;
  const SiteFiles& before_;

 private:
  SiteFiles present_;
  FakeClock clock_;
  FakeProcess process_{site_.ProgramFile()};
  CapturedLog log_;
  ScopedDoor door_;
};
