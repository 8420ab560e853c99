// The pictures of the report: inline SVG that is as wide as its place. They have no text in them, which would be
// stretched with them, but titles; their colours are those of the page's style.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct StripBar {
  int64_t value = 0;
  std::string title;  // showable
  bool mark = false;  // a line stands before it
};

// One bar a day from a common base. At least one of the values must be above 0.
std::string DrawStrip(const std::string& label, const std::vector<StripBar>& bars);

struct BarPart {
  int64_t value = 0;
  std::string style;  // its class
  std::string title;  // showable
};

// A bar of that many units, `whole`, filled with its parts from the left. What is not 0 can be seen.
std::string DrawBar(const std::string& label, const std::vector<BarPart>& parts, int64_t whole);
