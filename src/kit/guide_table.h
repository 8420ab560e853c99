// The tables of the operator's guide, which are compiled into cvkit: what the lines that the program prints mean, and
// what cvkit itself reports.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct GuideEntry {
  std::string line;                 // the guide's text, with "…" for the parts that vary; or a code of cvkit
  std::vector<std::string> pieces;  // the parts between the "…", without the blanks around the line
  std::string remedy;               // what it means and what to do, as one line of plain text
  bool asks = false;                // the operator has to do something
};

// The sections of the guide, headings included. (Made by cmake/guide_text.cmake.)
const std::vector<std::string_view>& GuideSections();

// The rows of the table of lines.
const std::vector<GuideEntry>& GuideLines();

// Returns a line without its time stamp, surrounding blanks and line end.
std::string_view BareLine(std::string_view line);

// Returns the row that a line of the program belongs to, or nullptr. If several match, it is the one with the longest
// fixed text.
const GuideEntry* FindGuideLine(std::string_view line);

// Returns the rows that contain the text.
std::vector<const GuideEntry*> SearchGuideLines(std::string_view text);

// Returns the remedy for a code that `cvkit doctor` or `cvkit status` reports; empty when there is none.
std::string GuideRemedy(std::string_view code);
