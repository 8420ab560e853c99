// Reads the end of TOSSER.LOG. The cost is that of the last runs' lines, however long the log is.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// Returns the path of a site's log: beside the configuration, where the program is, or otherwise beside cvkit.
std::string LogBeside(const std::string& config);

class LogTail {
 public:
  // Throws NotAnswered when the log cannot be opened.
  explicit LogTail(const std::string& path);

  // Goes through the log backwards and calls `look` with each line that begins or completes a run ("=== cvtoss32 ...")
  // and with its offset, until `look` returns false. Throws NotAnswered when the log cannot be read.
  void EachMarkBackwards(const std::function<bool(std::string_view line, int64_t at)>& look) const;

  // Calls `take` with each complete line from that offset to the end that the log had when it was opened.
  void EachLine(int64_t from, const std::function<void(std::string_view line)>& take) const;

 private:
  std::string Read(int64_t at, size_t size) const;

  std::string path_;
  int64_t size_ = 0;  // bytes
};
