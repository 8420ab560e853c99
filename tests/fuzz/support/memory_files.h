// The platform's table for the fuzz targets: files in memory, a clock that never advances, and the log.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/os.h"

// While it exists, it replaces the platform's table. Files are found by their path, with forward slashes; every
// directory exists. Nothing depends on the machine, so that an input always has the same result.
class MemoryFiles {
 public:
  static constexpr int64_t kNow = 1763166684;                   // 2025-11-15 00:31:24, in UTC and as local time
  static constexpr size_t kMostMemory = size_t{4} << 20;        // the largest block that is granted
  static constexpr const char* kStamp = "2025-11-15 00:31:24";  // kNow as the log shows it

  MemoryFiles();
  MemoryFiles(const MemoryFiles&) = delete;
  MemoryFiles& operator=(const MemoryFiles&) = delete;
  ~MemoryFiles();  // a file that is still open breaks a rule

  // Returns the content of a file; empty when it does not exist.
  std::string Content(const std::string& path) const;

  // Return how many lines of the log begin with `start`, and how many startup messages.
  int CountLogged(const std::string& start) const;
  int CountStartup(const std::string& start) const;

  std::map<std::string, std::string> files;
  std::vector<std::string> log;      // the messages of LogLine, oldest first
  std::vector<std::string> startup;  // those of StartupMessage, with their line ends
  std::string unwritable;            // a write to the file of this path stops half-way

 private:
  OsTable before_;
};

// Returns a message with text from mail as the log has it: its first 1,023 characters, without the bytes that could
// forge a line.
inline std::string AsLogged(const std::string& message) {
  std::string shown = message.substr(0, 1023);
  for (char& c : shown) c = std::string("\b\n\r\x1A\x1B").find(c) == std::string::npos ? c : '?';
  return shown;
}
