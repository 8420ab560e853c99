#include "kit/log_reader.h"

#include <algorithm>
#include <cstring>

#include "kit/gzip_reader.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/site_files.h"

namespace {

constexpr size_t kBlockSize = size_t{256} * 1024;
constexpr size_t kLongestLine = 4096;  // bytes; the program writes no line of half that size
constexpr char kLogName[] = "TOSSER.LOG";
constexpr std::string_view kStampForm = "[0000-00-00 00:00:00] ";

bool IsStampDigit(char c) { return c >= '0' && c <= '9'; }

bool HasStamp(std::string_view line) {
  if (line.size() < kStampForm.size()) return false;
  for (size_t i = 0; i < kStampForm.size(); ++i) {
    if (kStampForm[i] == '0' ? !IsStampDigit(line[i]) : line[i] != kStampForm[i]) return false;
  }
  return true;
}

// Splits a stream of bytes into lines.
class LineTaker {
 public:
  explicit LineTaker(const std::function<bool(const LogRecord&)>& take) : take_(take) {}

  // Returns false when no more lines are wanted.
  bool Add(const char* bytes, size_t size) {
    const char* const end = bytes + size;
    for (const char* at = bytes; at != end;) {
      const auto* const stop = static_cast<const char*>(memchr(at, '\n', static_cast<size_t>(end - at)));
      const std::string_view piece(at, static_cast<size_t>((stop == nullptr ? end : stop) - at));
      if (stop == nullptr) {
        Keep(piece);
        break;
      }
      if (!(begun_.empty() ? TakeLine(piece) : TakeBegun(piece))) return false;
      at = stop + 1;
    }
    return true;
  }

 private:
  // Only the start of a line that is too long is kept, but enough of it to recognise that.
  void Keep(std::string_view piece) {
    begun_ += piece.substr(0, kLongestLine + 1 - std::min(begun_.size(), kLongestLine));
  }

  bool TakeBegun(std::string_view piece) {
    Keep(piece);
    const bool more = TakeLine(begun_);
    begun_.clear();
    return more;
  }

  bool TakeLine(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.size() > kLongestLine || !HasStamp(line)) return true;
    LogRecord record;
    record.stamp = line.substr(1, kStampForm.size() - 3);
    ReadLogText(line.substr(kStampForm.size()), &record);
    return take_(record);
  }

  const std::function<bool(const LogRecord&)>& take_;
  std::string begun_;  // a line whose end has not come yet
};

bool EndsIn(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && std::string_view(text).substr(text.size() - end.size()) == end;
}

bool ReadPart(const std::string& path, const std::function<bool(const LogRecord&)>& take,
              const std::function<void(size_t)>& look) {
  LineTaker lines(take);
  return ReadLogBytes(
      path, [&lines](const char* bytes, size_t size) { return lines.Add(bytes, size); }, look);
}

// Whether a name is that of the log followed by a number or a date, and by ".gz" if it is compressed.
bool IsRotated(std::string name) {
  constexpr size_t kLongestNumber = 8;
  const size_t size = sizeof kLogName - 1;
  if (name.compare(0, size, kLogName) != 0 || name.size() <= size + 1) return false;
  if (name[size] != '.' && name[size] != '-') return false;
  if (EndsIn(name, ".gz")) name.resize(name.size() - 3);
  return name.size() > size + 1 && name.size() <= size + 1 + kLongestNumber &&
         std::all_of(name.begin() + static_cast<ptrdiff_t>(size) + 1, name.end(), IsStampDigit);
}

}  // namespace

bool ReadLogBytes(const std::string& path, const std::function<bool(const char*, size_t)>& take,
                  const std::function<void(size_t)>& look) {
  OsFile file;
  const OsResult opened = OsOpen(path.c_str(), kOsRead, &file);
  if (opened == kOsMissing) return true;
  const auto fail = [&path] { throw NotAnswered("the log " + ShownName(path) + " cannot be read to its end"); };
  if (opened != kOsOk) fail();
  GzipReader packed;
  const bool is_packed = EndsIn(path, ".gz");
  std::string block(kBlockSize, '\0');
  for (int64_t at = 0;;) {
    const OsReadResult read = OsReadAt(file, at, block.data(), block.size());
    if (read.failed) fail();
    at += static_cast<int64_t>(read.bytes);
    if (is_packed) {
      const GzipResult result = packed.Add(block.data(), read.bytes, take);
      if (result == GzipResult::kStopped) return false;
      if (result == GzipResult::kDamaged) fail();
    } else if (!take(block.data(), read.bytes)) {
      return false;
    }
    if (look) look(read.bytes);
    if (read.bytes < block.size()) break;
  }
  if (is_packed && !packed.IsWhole()) fail();
  return true;
}

bool IsLogBlocked(const std::string& log) {
  OsStatus status;
  return OsStat(log.c_str(), &status) == kOsOk && status.kind != kOsRegularFile;
}

std::string FirstStamp(const std::string& path) {
  std::string stamp;
  ReadPart(path,
           [&stamp](const LogRecord& record) {
             stamp = record.stamp;
             return false;
           },
           {});
  return stamp;
}

std::vector<std::string> FindLogParts(const std::string& log) {
  if (IsLogBlocked(log)) throw NotAnswered("the log " + ShownName(log) + " is not a file");
  const std::string directory = DirectoryOf(log);
  const std::vector<std::string> names = ListNames(directory);
  struct Part {
    std::string stamp;
    std::string path;
  };
  std::vector<Part> parts;
  for (const std::string& name : names) {
    // While a part is being compressed, both files exist.
    const bool twice =
        EndsIn(name, ".gz") && std::binary_search(names.begin(), names.end(), name.substr(0, name.size() - 3));
    if (!IsRotated(name) || twice) continue;
    std::string path = directory;
    path.append("/").append(name);
    if (LookAtFile(path).exists) parts.push_back({FirstStamp(path), path});
  }
  std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.stamp < b.stamp; });
  std::vector<std::string> paths;
  paths.reserve(parts.size() + 1);
  for (const Part& part : parts) paths.push_back(part.path);
  if (LookAtFile(log).exists) paths.push_back(log);
  return paths;
}

void ReadLog(const std::vector<std::string>& parts, const std::function<bool(const LogRecord&)>& take,
             const std::function<void(size_t)>& look) {
  for (const std::string& part : parts) {
    if (!ReadPart(part, take, look)) return;
  }
}
