#include "kit/explained_run.h"

#include <cstdint>
#include <map>
#include <optional>

#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_tail.h"

namespace {

// Whether a line begins a run of the mode.
bool Begins(std::string_view line, std::string_view mode) {
  constexpr std::string_view kMark = "=== cvtoss32 ";
  line = BareLine(line);
  const size_t at = line.substr(0, kMark.size()) == kMark ? line.find(" starting ") : std::string_view::npos;
  return at != std::string_view::npos && line.substr(0, at).find(mode) != std::string_view::npos;
}

}  // namespace

ExplainedRun ExplainLastRun(const std::string& log, std::string_view mode) {
  ExplainedRun run;
  LogTail tail(log);
  std::optional<int64_t> start;
  tail.EachMarkBackwards([&](std::string_view line, int64_t at) {
    if (!Begins(line, mode)) return true;
    run.start = DecodedMail(line);
    start = at;
    return false;
  });
  if (!start) return run;
  std::map<const GuideEntry*, size_t> places;
  int runs = 0;
  tail.EachLine(*start, [&](std::string_view line) {
    if (runs > 1 || (Begins(line, {}) && ++runs > 1)) return;
    const GuideEntry* const entry = FindGuideLine(line);
    if (entry == nullptr) return;
    const auto [place, is_new] = places.emplace(entry, run.lines.size());
    if (is_new) {
      run.lines.push_back({entry, DecodedMail(BareLine(line))});
    } else {
      ++run.lines[place->second].count;
    }
  });
  return run;
}

std::string TextOf(const ExplainedLine& line) {
  const std::string shown = ShownName(line.line);
  return line.count == 1 ? shown : fmt::format("{} (and {} like it)", shown, Count(line.count - 1, "line"));
}
