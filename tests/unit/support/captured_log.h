// Captures what the program shows.
#pragma once

#include <string>
#include <vector>

#include "platform/os.h"

// While it exists, nothing reaches the console. Standard output must consist of whole lines of the run log; the form of
// their time stamps is checked, and they are removed.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  // The lines of LogLine, oldest first, without time stamp and line end.
  std::vector<std::string> Lines() const;

  // The lines of StartupMessage, without line end; a last piece without one is a line of its own.
  std::vector<std::string> StartupLines() const;

  // How many of Lines() equal `line`, and how many begin with `start`.
  int CountOf(const std::string& line) const;
  int CountOfStart(const std::string& start) const;

  // What arrived, byte for byte.
  const std::string& StandardOutput() const { return output_; }
  const std::string& StandardError() const { return error_; }

  // Forgets what arrived so far.
  void Clear();

  // For the replaced entry.
  void Add(OsStream stream, const char* text, size_t size);

 private:
  OsTable before_;
  std::string output_;
  std::string error_;
};

// Removes "[YYYY-MM-DD HH:MM:SS] " from a line of the run log; a line that does not begin like that fails the test.
std::string WithoutTimeStamp(const std::string& line);

// Splits a text into its lines; a last piece without line end counts as one.
std::vector<std::string> SplitLines(const std::string& text);
