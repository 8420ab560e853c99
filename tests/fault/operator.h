// What the operator does after a line that says CRITICAL, by the guide.
#pragma once

#include <string>
#include <vector>

#include "fault/run_stage.h"

// Puts every conference right whose rollback has failed in a toss: cuts its four files back to the messages that the
// log says were written, or, where more were written after that line, takes all four from the backup.
void CutBackToWholeMessages(const std::vector<std::string>& lines, const SiteFiles& backup, RunStage* stage);

// A message whose SIG line a scan could not take back.
struct LeftSigLine {
  int conference = 0;
  int number = 0;

  // How often the line stands in the files.
  int CountIn(const SiteFiles& files) const;
};
std::vector<LeftSigLine> LeftSigLines(const std::vector<std::string>& lines);

// Removes them from the ends of their files.
void RemoveLeftSigLines(const std::vector<LeftSigLine>& left, RunStage* stage);
