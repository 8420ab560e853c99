#include "fault/run_stage.h"

#include <algorithm>

#include "unit/support/test_files.h"

bool RunOutcome::IsSilentBeside(const RunOutcome& faultless) const {
  const std::vector<std::string>& usual = faultless.lines;
  return std::all_of(lines.begin(), lines.end(), [&usual](const std::string& line) {
    return std::find(usual.begin(), usual.end(), line) != usual.end();
  });
}

RunStage::RunStage(const Site& site, const SiteFiles& before, const Spoil& spoil)
    : site_(site), before_(before), present_(before) {
  if (spoil) spoil(&door_);
}

RunStage::~RunStage() { site_.Restore(before_, present_); }

const SiteFiles& RunStage::EndOfFaults() {
  door_.Clear();
  if (present_.erase("msg/CVTOSS.BSY") != 0) RemoveFile(site_.LockFile());
  return present_;
}

RunOutcome RunStage::Play(int (*run)(const TosserConfig& config)) {
  log_.Clear();
  RunOutcome outcome;
  outcome.status = run(site_.config);
  outcome.lines = LinesOf(log_, site_);
  outcome.files = present_ = site_.Files();
  ExpectCleanEnd(site_, door_, process_, outcome.lines, outcome.status);
  return outcome;
}
