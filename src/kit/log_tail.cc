#include "kit/log_tail.h"

#include <algorithm>

#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "platform/os.h"

namespace {

constexpr size_t kTailBlockSize = size_t{256} * 1024;
constexpr size_t kLongestTailLine = 4096;  // bytes; the program writes no line of half that size
constexpr size_t kPathSize = 1024;
constexpr char kTailLogName[] = "TOSSER.LOG";

// Text from mail is never at the start of a line and contains no line end.
bool IsMark(std::string_view line) {
  constexpr size_t kStampSize = 22;
  constexpr std::string_view kMark = "=== cvtoss32 ";
  return line.size() > kStampSize && line[0] == '[' && line.substr(kStampSize, kMark.size()) == kMark;
}

std::string_view WithoutReturn(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

std::string BesideKit() {
  char program[kPathSize];
  const size_t size = OsProgramPath(program, sizeof program);
  return size < sizeof program ? std::string(program, size) : std::string();
}

bool IsThere(const std::string& path) {
  OsStatus status;
  return OsStat(path.c_str(), &status) == kOsOk;
}

}  // namespace

std::string LogBeside(const std::string& config) {
  const auto beside = [](const std::string& path) {
    const size_t separator = path.find_last_of("/\\");
    return (separator == std::string::npos ? "" : path.substr(0, separator + 1)) + kTailLogName;
  };
  const std::string log = beside(config);
  const std::string other = beside(BesideKit());
  return !IsThere(log) && IsThere(other) ? other : log;
}

LogTail::LogTail(const std::string& path) : path_(path) {
  OsFile file;
  const OsResult opened = OsOpen(path_.c_str(), kOsRead, &file);
  if (opened == kOsMissing) throw NotAnswered("there is no log " + ShownName(path_) + " (--log names another)");
  size_ = opened == kOsOk ? OsSize(file) : -1;
  if (size_ < 0) throw NotAnswered("the log " + ShownName(path_) + " cannot be read");
}

std::string LogTail::Read(int64_t at, size_t size) const {
  OsFile file;
  std::string bytes(size, '\0');
  const bool opened = OsOpen(path_.c_str(), kOsRead, &file) == kOsOk;
  const OsReadResult read = opened ? OsReadAt(file, at, bytes.data(), size) : OsReadResult{0, true};
  if (read.failed) throw NotAnswered("the log " + ShownName(path_) + " cannot be read");
  bytes.resize(read.bytes);
  return bytes;
}

void LogTail::EachMarkBackwards(const std::function<bool(std::string_view line, int64_t at)>& look) const {
  int64_t end = size_;  // the bytes from here on have been read
  std::string behind;   // the rest of the line that is cut in two at `end`
  while (end > 0) {
    const int64_t start = std::max<int64_t>(end - static_cast<int64_t>(kTailBlockSize), 0);
    std::string block = Read(start, static_cast<size_t>(end - start));
    block += behind.substr(0, kLongestTailLine);
    std::string_view left = block;
    for (;;) {
      const size_t before = left.empty() ? std::string_view::npos : left.rfind('\n', left.size() - 1);
      const size_t first = before == std::string_view::npos ? 0 : before + 1;
      if (first == 0 && start > 0) break;
      const std::string_view line = WithoutReturn(left.substr(first));
      if (IsMark(line) && !look(line, start + static_cast<int64_t>(first))) return;
      if (first == 0) break;
      left = left.substr(0, first - 1);
    }
    behind = left;
    end = start;
  }
}

void LogTail::EachLine(int64_t from, const std::function<void(std::string_view line)>& take) const {
  std::string begun;
  while (from < size_) {
    const std::string block = Read(from, std::min(kTailBlockSize, static_cast<size_t>(size_ - from)));
    if (block.empty()) return;  // the log was shortened meanwhile
    from += static_cast<int64_t>(block.size());
    size_t at = 0;
    for (size_t end = block.find('\n'); end != std::string::npos; end = block.find('\n', at)) {
      begun += block.substr(at, end - at);
      take(WithoutReturn(begun));
      begun.clear();
      at = end + 1;
    }
    if (begun.size() < kLongestTailLine) begun += block.substr(at);
  }
}
