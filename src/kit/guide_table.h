// What the operator's guide says of the lines that the program prints, and of what cvkit itself reports: its tables,
// which are compiled into cvkit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct GuideEntry {
  std::string line;                 // as the guide has it, "…" for what differs; or a code of cvkit
  std::vector<std::string> pieces;  // what stands between the "…", without the blanks around the line
  std::string remedy;               // what it means and what to do, as plain text of one line
  bool asks = false;                // there is something to do
};

// The sections of the guide as they stand in it, the headings with them. (Made by cmake/guide_text.cmake.)
const std::vector<std::string_view>& GuideSections();

// The rows of the table of lines.
const std::vector<GuideEntry>& GuideLines();

// A line without its time stamp, the blanks around it and its line end.
std::string_view BareLine(std::string_view line);

// The row that a line of the program belongs to: of several that match, the one with the longest fixed text. nullptr
// when there is none.
const GuideEntry* FindGuideLine(std::string_view line);

// The rows that have the text in them.
std::vector<const GuideEntry*> SearchGuideLines(std::string_view text);

// The remedy of a code that `cvkit doctor` or `cvkit status` reports; empty when there is none.
std::string GuideRemedy(std::string_view code);
