#include "fault/run_promises.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "unit/support/test_files.h"

std::vector<std::string> LinesOf(const CapturedLog& log, const Site& site) {
  std::vector<std::string> lines = log.Lines();
  const std::string& root = site.Root();
  for (std::string& line : lines) {
    for (size_t at = line.find(root); at != std::string::npos; at = line.find(root)) {
      line.replace(at, root.size(), "<site>");
    }
  }
  return lines;
}

bool HasLine(const std::vector<std::string>& lines, const std::string& start) {
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(start); });
}

bool IsCritical(const std::vector<std::string>& lines, int conference) {
  return HasLine(lines, "CRITICAL: conf " + std::to_string(conference) + " ") ||
         HasLine(lines, "CRITICAL: could not mark conf " + std::to_string(conference) + " ");
}

void ExpectCleanEnd(const Site& site, const ScopedDoor& door, const FakeProcess& process,
                    const std::vector<std::string>& lines) {
  EXPECT_EQ(door.OpenHandles(), 0);
  if (!PathExists(site.LockFile())) {
    EXPECT_EQ(process.break_file, "");
  } else if (HasLine(lines, "WARNING: could not remove lock file ")) {
    EXPECT_EQ(process.break_file, site.LockFile());  // a break may still remove it
  } else {
    // Neither written whole nor removable: it was never held.
    EXPECT_TRUE(HasLine(lines, "Aborting: another ")) << "a lock is left, and no line says so";
    EXPECT_EQ(process.break_file, "");
  }
}

void ExpectNotDamaged(const std::string& path, const std::string& old, const SiteFiles& after) {
  const auto found = after.find(path);
  EXPECT_TRUE(found != after.end() && found->second.starts_with(old)) << path << " is damaged or gone";
}

void ExpectOthersUntouched(const SiteFiles& before, const SiteFiles& after, const std::set<std::string>& own) {
  for (const auto& [path, bytes] : before) {
    if (own.count(path) != 0) continue;
    const auto found = after.find(path);
    EXPECT_TRUE(found != after.end() && found->second == bytes) << path << " was touched";
  }
  for (const auto& [path, bytes] : after) {
    EXPECT_TRUE(own.count(path) != 0 || before.count(path) != 0)
        << path << " was left behind, " << bytes.size() << " bytes";
  }
}
