#include "fault/run_stage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "unit/support/test_files.h"

namespace {

std::string LogFile(const Site& site) { return site.Root() + "/TOSSER.LOG"; }

}  // namespace

bool RunOutcome::IsSilentBeside(const RunOutcome& faultless) const {
  const std::vector<std::string>& usual = faultless.lines;
  return std::all_of(lines.begin(), lines.end(), [&usual](const std::string& line) {
    return std::find(usual.begin(), usual.end(), line) != usual.end();
  });
}

RunStage::RunStage(const StagedSite& staged, const Spoil& spoil)
    : staged_(staged), site_(staged.site), before_(staged.before), present_(staged.before) {
  if (spoil) spoil(&door_);
}

RunStage::~RunStage() { site_.Restore(before_, present_); }

void RunStage::EndOfFaults() {
  door_.Clear();
  process_.break_file.clear();  // the next run is another process
  if (present_.count("msg/CVTOSS.BSY") != 0) RepairByRemoval("msg/CVTOSS.BSY");
}

RunOutcome RunStage::Play(int (*run)(const TosserConfig& config)) {
  log_.Clear();
  RemoveFile(LogFile(site_));
  first_call_ = door_.Calls().size();
  RunOutcome outcome;
  outcome.status = run(site_.config);
  outcome.lines = LinesOf(log_, site_);
  found_ = std::move(present_);
  outcome.files = present_ = site_.Files();
  ExpectCleanEnd(site_, door_, process_, outcome.lines);
  ExpectWholeLog();
  return outcome;
}

// A log that cannot be written is given up without a line; any other has what was shown.
void RunStage::ExpectWholeLog() const {
  const std::string path = LogFile(site_);
  const std::vector<CallRecord>& calls = door_.Calls();
  const bool failed = std::any_of(calls.begin() + static_cast<ptrdiff_t>(first_call_), calls.end(),
                                  [&path](const CallRecord& call) { return call.struck && call.path == path; });
  if (failed) return;
  std::string shown;
  for (const char c : log_.StandardOutput()) {
    if (c == '\n') {
      shown += kOsLineEnd;
    } else {
      shown += c;
    }
  }
  EXPECT_EQ(ReadFile(path), shown);
}

void RunStage::Repair(const std::string& path, const std::string& bytes) {
  WriteFile(site_.Root() + "/" + path, bytes);
  present_[path] = bytes;
}

void RunStage::RepairByRemoval(const std::string& path) {
  RemoveFile(site_.Root() + "/" + path);
  present_.erase(path);
}
