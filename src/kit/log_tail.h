// Reads TOSSER.LOG from its end, with its rotated parts before it. A rotated part is read only if what is looked for is
// not in the newer ones, so the cost is that of the last runs' lines, however long the log is.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os.h"

// Returns the path of a site's log: beside the configuration, where the program is, or otherwise beside cvkit.
std::string LogBeside(const std::string& config);

// Positions are in bytes from the start of TOSSER.LOG; those in the rotated parts are negative.
class LogTail {
 public:
  // Throws NotAnswered when the log cannot be opened. A log that does not exist counts as an empty one.
  explicit LogTail(const std::string& path);

  // Goes backwards through the log and then through its rotated parts, and calls `look` with each line that begins or
  // completes a run ("=== cvtoss32 ...") and with its position, until `look` returns false. Throws NotAnswered when
  // something cannot be read.
  void EachMarkBackwards(const std::function<bool(std::string_view line, int64_t at)>& look);

  // Calls `take` with each complete line from that position to the end that the log had when it was opened. Reads the
  // parts that the last EachMarkBackwards has read, so an earlier position means the start of the oldest of these.
  void EachLine(int64_t from, const std::function<void(std::string_view line)>& take) const;

 private:
  struct Part {
    std::string path;
    int64_t begin;  // position
  };

  std::string Read(int64_t at, size_t size) const;
  bool EachMarkOfLog(const std::function<bool(std::string_view line, int64_t at)>& look) const;

  std::string path_;
  OsFile file_;
  int64_t size_ = 0;         // bytes
  std::vector<Part> parts_;  // rotated ones that were read, the newest first
};
