#include "kit/last_scan.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "kit/site_files.h"

namespace {

constexpr int64_t kLogEnd = 4194304;  // bytes at the end of the log that are looked at
constexpr std::string_view kPublished = "Published complete bundle: ";
constexpr std::string_view kBundleEnd = "  (";

std::string ReadEnd(const std::string& path) {
  OsFile file;
  if (OsOpen(path.c_str(), kOsReadShared, &file) != kOsOk) return {};
  const int64_t size = std::max<int64_t>(OsSize(file), 0);
  std::string text(static_cast<size_t>(std::min(size, kLogEnd)), '\0');
  text.resize(OsReadAt(file, size - static_cast<int64_t>(text.size()), text.data(), text.size()).bytes);
  return text;
}

bool Begins(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

// The path that the line of a publication names.
std::string_view PublishedPath(std::string_view message) {
  message.remove_prefix(kPublished.size());
  return message.substr(0, message.rfind(kBundleEnd));
}

// The bundle of the last scan that published one, if no scan has come to its end since. (One that finds a lock begins
// and does nothing.)
std::string UnmarkedBundle(std::string_view log) {
  constexpr size_t kStamp = 22;  // "[2026-11-22 01:45:00] "
  std::string bundle;
  while (!log.empty()) {
    const size_t end = std::min(log.find('\n'), log.size());
    const std::string_view message = log.substr(0, end).substr(std::min(kStamp, end));
    log.remove_prefix(std::min(end + 1, log.size()));
    if (Begins(message, kPublished)) {
      bundle = PublishedPath(message);
    } else if (Begins(message, "=== cvtoss32 -scan run complete: ")) {
      bundle.clear();
    }
  }
  return bundle;
}

}  // namespace

std::string FindFetchedBundle(const KitSite& site) {
  const std::string path = UnmarkedBundle(ReadEnd(site.log_path));
  if (path.empty() || site.config.HaveOutDir == 0) return {};
  const std::string name = path.substr(path.find_last_of("/\\") + 1);
  return LookAtFile(std::string(site.config.OutDir) + "/" + name).exists ? "" : name;
}
