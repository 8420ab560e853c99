#include "kit/last_scan.h"

#include <string_view>

#include "kit/log_reader.h"
#include "kit/log_tail.h"
#include "kit/site_files.h"

namespace {

constexpr size_t kStamp = 22;  // "[2026-11-22 01:45:00] "

bool Says(std::string_view line, std::string_view start) {
  return line.size() > kStamp && line.substr(kStamp, start.size()) == start;
}

// Returns the path of the bundle that was published last, if no scan has ended since. (A scan that finds a lock begins
// but does nothing.)
std::string UnmarkedBundle(const std::string& log_path) {
  LogTail log(log_path);
  constexpr std::string_view kPublished = "Published complete bundle: ";
  constexpr std::string_view kPathEnd = "  (";
  int64_t from = INT64_MIN;
  log.EachMarkBackwards([&](std::string_view line, int64_t at) {
    if (!Says(line, "=== cvtoss32 -scan run complete: ")) return true;
    from = at;
    return false;
  });
  std::string path;
  log.EachLine(from, [&](std::string_view line) {
    if (!Says(line, kPublished)) return;
    line.remove_prefix(kStamp + kPublished.size());
    path = line.substr(0, line.rfind(kPathEnd));
  });
  return path;
}

}  // namespace

std::string FindFetchedBundle(const KitSite& site) {
  if (site.config.HaveOutDir == 0 || IsLogBlocked(site.log_path)) return {};
  const std::string path = UnmarkedBundle(site.log_path);
  if (path.empty()) return {};
  const std::string name = NamePart(path);
  return LookAtFile(std::string(site.config.OutDir) + "/" + name).exists ? "" : name;
}
