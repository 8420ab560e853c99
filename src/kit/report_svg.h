// The pictures of the report: inline SVG, stretched to the width of its parent. A picture has titles but no text, which
// would be stretched with it. Its colours come from the style sheet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct StripBar {
  int64_t value = 0;
  std::string title;  // showable
  bool mark = false;  // a vertical line is drawn before it
};

// Returns a bar chart with one bar for each value. At least one value must be above 0.
std::string DrawStrip(const std::string& label, const std::vector<StripBar>& bars);

struct BarPart {
  int64_t value = 0;
  std::string style;  // its class
  std::string title;  // showable
};

// Returns a bar for `whole` units that is filled with the parts from the left. A part that is not 0 is always visible.
std::string DrawBar(const std::string& label, const std::vector<BarPart>& parts, int64_t whole);
