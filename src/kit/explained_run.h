// The lines of a run in TOSSER.LOG that the operator's guide explains.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kit/guide_table.h"

// A row of the guide, and the lines that belong to it.
struct ExplainedLine {
  const GuideEntry* entry = nullptr;
  std::string line;  // the first of them, decoded, without its stamp
  size_t count = 1;
};

struct ExplainedRun {
  std::string start;                 // its first line, decoded; empty when the log has no such run
  std::vector<ExplainedLine> lines;  // one for each row, in the order in which the rows first appear
};

// Returns the lines of the last run of a mode ("-toss"), or of any mode for an empty text: those up to the next line
// that begins a run. Reads the rotated parts of the log as far as necessary. Throws NotAnswered.
ExplainedRun ExplainLastRun(const std::string& log, std::string_view mode);

// Returns the line, showable, with the number of those like it.
std::string TextOf(const ExplainedLine& line);
