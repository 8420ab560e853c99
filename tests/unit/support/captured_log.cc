#include "unit/support/captured_log.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>

namespace {

constexpr char kStampForm[] = "[dddd-dd-dd dd:dd:dd] ";

CapturedLog* current = nullptr;

void Show(OsStream stream, const char* text, size_t size) { current->Add(stream, text, size); }

bool HasForm(const std::string& text, const std::string& form) {
  if (text.size() < form.size()) return false;
  for (size_t i = 0; i < form.size(); ++i) {
    const bool is_digit = isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (form[i] == 'd' ? !is_digit : text[i] != form[i]) return false;
  }
  return true;
}

}  // namespace

CapturedLog::CapturedLog() : before_(OsInForce()) {
  if (current != nullptr) abort();  // only one can capture the lines
  current = this;
  OsInForce().Show = Show;
}

CapturedLog::~CapturedLog() {
  OsInForce().Show = before_.Show;
  current = nullptr;
}

std::vector<std::string> CapturedLog::Lines() const {
  if (!output_.empty() && output_.back() != '\n') ADD_FAILURE() << "the last line has no end: " << output_;
  std::vector<std::string> lines;
  for (const std::string& line : SplitLines(output_)) lines.push_back(WithoutTimeStamp(line));
  return lines;
}

std::vector<std::string> CapturedLog::StartupLines() const { return SplitLines(error_); }

int CapturedLog::CountOf(const std::string& wanted) const {
  int count = 0;
  for (const std::string& line : Lines()) count += line == wanted ? 1 : 0;
  return count;
}

int CapturedLog::CountOfStart(const std::string& start) const {
  int count = 0;
  for (const std::string& line : Lines()) count += line.compare(0, start.size(), start) == 0 ? 1 : 0;
  return count;
}

void CapturedLog::Clear() {
  output_.clear();
  error_.clear();
}

void CapturedLog::Add(OsStream stream, const char* text, size_t size) {
  (stream == kOsStdout ? output_ : error_).append(text, size);
}

std::string WithoutTimeStamp(const std::string& line) {
  if (HasForm(line, kStampForm)) return line.substr(sizeof kStampForm - 1);
  ADD_FAILURE() << "no time stamp: " << line;
  return line;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}
