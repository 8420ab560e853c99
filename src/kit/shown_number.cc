#include "kit/shown_number.h"

#include <array>

std::string Grouped(int64_t number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
  return text;
}

std::string ShownSize(int64_t bytes) {
  constexpr std::array<const char*, 4> kUnits = {" B", " kB", " MB", " GB"};
  int64_t tenths = bytes * 10;
  size_t unit = 0;
  for (; tenths >= 10000 && unit + 1 < kUnits.size(); ++unit) tenths /= 1000;
  std::string text = Grouped(tenths / 10);
  if (unit != 0 && tenths < 1000) text += "." + std::to_string(tenths % 10);
  return text + kUnits[unit];
}

std::string ShownShare(int64_t part, int64_t whole) {
  const int64_t tenths = 1000 * part / whole;
  if (part > 0 && tenths == 0) return "<0.1%";
  if (part == 0 || tenths >= 100) return std::to_string(tenths / 10) + "%";
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "%";
}

std::string ShownDuration(int64_t seconds) {
  std::string rest = std::to_string(seconds % 60) + " s";
  if (seconds < 60) return rest;
  const std::string minutes = std::to_string(seconds / 60 % 60) + " min";
  return seconds < 3600 ? minutes + " " + rest : std::to_string(seconds / 3600) + " h " + minutes;
}
