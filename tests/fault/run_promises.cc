#include "fault/run_promises.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "unit/support/test_files.h"

namespace {

bool BeginsWith(const std::string& text, const std::string& start) { return text.compare(0, start.size(), start) == 0; }

bool IsOfCriticalConference(const std::string& path, const std::vector<std::string>& lines) {
  const std::string start = "msg/CVMSG";
  return BeginsWith(path, start) && IsCritical(lines, std::stoi(path.substr(start.size())));
}

}  // namespace

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
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return BeginsWith(line, start); });
}

bool HasSevereLine(const std::vector<std::string>& lines) {
  return std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    const size_t first = line.find_first_not_of(' ');
    const std::string text = first != std::string::npos ? line.substr(first) : "";
    for (const char* word : {"FATAL:", "ERROR:", "CRITICAL:", "Aborting:", "retaining "}) {
      if (BeginsWith(text, word)) return true;
    }
    return text.find("COMMIT ERRORS") != std::string::npos;
  });
}

bool IsCritical(const std::vector<std::string>& lines, int conference) {
  return HasLine(lines, "CRITICAL: conf " + std::to_string(conference) + " ") ||
         HasLine(lines, "CRITICAL: could not mark conf " + std::to_string(conference) + " ");
}

void ExpectCleanEnd(const Site& site, const ScopedDoor& door, const FakeProcess& process,
                    const std::vector<std::string>& lines, int status) {
  EXPECT_EQ(door.OpenHandles(), 0);
  if (!PathExists(site.LockFile())) {
    EXPECT_EQ(process.break_file, "");
  } else if (HasLine(lines, "WARNING: could not remove lock file ")) {
    EXPECT_EQ(process.break_file, site.LockFile());  // a break may still remove it
  } else {
    // Neither written whole nor removable: it was never held.
    EXPECT_TRUE(HasLine(lines, "Aborting: another ")) << "a lock is left without a word";
    EXPECT_EQ(process.break_file, "");
  }
  EXPECT_EQ(status, HasSevereLine(lines) ? 1 : 0);
}

void ExpectNothingDamaged(const SiteFiles& before, const SiteFiles& after) {
  for (const auto& [path, bytes] : before) {
    const auto found = after.find(path);
    if (found == after.end()) {
      ADD_FAILURE() << path << " is gone";
    } else {
      EXPECT_TRUE(BeginsWith(found->second, bytes)) << path << " is damaged";
    }
  }
}

void ExpectNothingLeftBehind(const SiteFiles& before, const SiteFiles& faultless, const SiteFiles& after,
                             const std::vector<std::string>& lines) {
  for (const auto& [path, bytes] : after) {
    if (IsOfCriticalConference(path, lines)) continue;
    EXPECT_TRUE(before.count(path) != 0 || faultless.count(path) != 0 || path == "msg/CVTOSS.BSY")
        << path << " was left behind, " << bytes.size() << " bytes";
  }
}
