#include "kit/log_tail.h"

#include <algorithm>

#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/log_reader.h"
#include "kit/site_files.h"

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

// Splits a stream of bytes into lines, and calls `take` with each and with its position in the stream.
class LineSplitter {
 public:
  explicit LineSplitter(std::function<void(std::string_view line, int64_t at)> take) : take_(std::move(take)) {}

  void Add(std::string_view bytes) {
    size_t at = 0;
    for (size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n', at)) {
      begun_ += bytes.substr(at, end - at);
      take_(WithoutReturn(begun_), line_at_);
      begun_.clear();
      at = end + 1;
      line_at_ = position_ + static_cast<int64_t>(at);
    }
    if (begun_.size() < kLongestTailLine) begun_ += bytes.substr(at);
    position_ += static_cast<int64_t>(bytes.size());
  }

  // Returns the number of bytes so far.
  int64_t Position() const { return position_; }

 private:
  std::function<void(std::string_view line, int64_t at)> take_;
  std::string begun_;  // the start of a line whose end has not come yet
  int64_t line_at_ = 0;
  int64_t position_ = 0;
};

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
  const auto beside = [](const std::string& path) { return DirectoryPart(path) + kTailLogName; };
  const std::string log = beside(config);
  const std::string other = beside(BesideKit());
  return !IsThere(log) && IsThere(other) ? other : log;
}

LogTail::LogTail(const std::string& path) : path_(path) {
  const OsResult opened = OsOpen(path_.c_str(), kOsRead, &file_);
  if (opened == kOsMissing) return;
  size_ = opened == kOsOk ? OsSize(file_) : -1;
  if (size_ < 0) throw NotAnswered("the log " + ShownName(path_) + " cannot be read");
}

std::string LogTail::Read(int64_t at, size_t size) const {
  std::string bytes(size, '\0');
  const OsReadResult read = OsReadAt(file_, at, bytes.data(), size);
  if (read.failed) throw NotAnswered("the log " + ShownName(path_) + " cannot be read");
  bytes.resize(read.bytes);
  return bytes;
}

bool LogTail::EachMarkOfLog(const std::function<bool(std::string_view line, int64_t at)>& look) const {
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
      if (IsMark(line) && !look(line, start + static_cast<int64_t>(first))) return false;
      if (first == 0) break;
      left = left.substr(0, first - 1);
    }
    behind = left;
    end = start;
  }
  return true;
}

void LogTail::EachMarkBackwards(const std::function<bool(std::string_view line, int64_t at)>& look) {
  parts_.clear();
  if (!EachMarkOfLog(look)) return;
  struct Mark {
    std::string line;
    int64_t at;
  };
  std::vector<std::string> older = FindLogParts(path_);
  if (!older.empty() && older.back() == path_) older.pop_back();
  for (int64_t end = 0; !older.empty(); older.pop_back()) {
    std::vector<Mark> marks;
    LineSplitter lines([&marks](std::string_view line, int64_t at) {
      if (IsMark(line)) marks.push_back({std::string(line), at});
    });
    ReadLogBytes(older.back(), [&lines](const char* bytes, size_t size) {
      lines.Add({bytes, size});
      return true;
    });
    end -= lines.Position();
    parts_.push_back({older.back(), end});
    for (auto mark = marks.rbegin(); mark != marks.rend(); ++mark) {
      if (!look(mark->line, end + mark->at)) return;
    }
  }
}

void LogTail::EachLine(int64_t from, const std::function<void(std::string_view line)>& take) const {
  for (auto part = parts_.rbegin(); part != parts_.rend(); ++part) {
    const int64_t end = part + 1 == parts_.rend() ? 0 : (part + 1)->begin;
    if (from >= end) continue;
    LineSplitter lines([&](std::string_view line, int64_t at) {
      if (part->begin + at >= from) take(line);
    });
    ReadLogBytes(part->path, [&lines](const char* bytes, size_t size) {
      lines.Add({bytes, size});
      return true;
    });
  }
  LineSplitter lines([&take](std::string_view line, int64_t) { take(line); });
  for (int64_t at = std::max<int64_t>(from, 0); at < size_;) {
    const std::string block = Read(at, std::min(kTailBlockSize, static_cast<size_t>(size_ - at)));
    if (block.empty()) return;  // the log was shortened meanwhile
    at += static_cast<int64_t>(block.size());
    lines.Add(block);
  }
}
