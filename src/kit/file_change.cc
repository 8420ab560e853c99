#include "kit/file_change.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/whole_file.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/sha256.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

constexpr size_t kPiece = 131072;  // bytes compared or copied at once

[[noreturn]] void Fail(const std::string& path, const char* what) {
  throw NotAnswered(ShownName(path) + " could not be " + what);
}

// A file read in pieces; an absent one has no bytes.
class Pieces {
 public:
  explicit Pieces(const std::string& path) : path_(path) {
    if (path.empty()) return;
    const OsResult opened = OsOpen(path.c_str(), kOsRead, &file_);
    if (opened == kOsMissing) return;
    size_ = opened == kOsOk ? OsSize(file_) : -1;
    if (size_ < 0) Fail(path, "read");
    exists_ = true;
  }

  // Reads the piece at that position; it is shorter at the end of the file.
  const std::vector<uint8_t>& At(int64_t at) {
    const int64_t left = std::max<int64_t>(size_ - at, 0);
    bytes_.resize(static_cast<size_t>(std::min<int64_t>(left, kPiece)));
    if (!bytes_.empty() && OsReadAt(file_, at, bytes_.data(), bytes_.size()).bytes != bytes_.size()) {
      Fail(path_, "read");
    }
    return bytes_;
  }

  int64_t Size() const { return size_; }
  bool Exists() const { return exists_; }

 private:
  std::string path_;
  OsFile file_;
  int64_t size_ = 0;
  bool exists_ = false;
  std::vector<uint8_t> bytes_;
};

bool IsSameAs(const Pieces& file, const Pieces& other, bool same_bytes) {
  return file.Exists() == other.Exists() && file.Size() == other.Size() && same_bytes;
}

bool HoldsByte(const std::vector<uint8_t>& bytes, size_t at, uint8_t byte) {
  return at < bytes.size() && bytes[at] == byte;
}

// Writes the bytes of a piece that differ from what the file holds.
void WritePiece(const OsFile& file, const std::string& path, int64_t at, const std::vector<uint8_t>& bytes) {
  std::vector<uint8_t> there(bytes.size());
  if (OsReadAt(file, at, there.data(), there.size()).bytes == there.size() && there == bytes) return;
  if (OsWriteAt(file, at, bytes.data(), bytes.size()) != kOsOk) Fail(path, "written");
}

}  // namespace

Content CompareContent(const std::string& path, const std::string& first, const std::string& second) {
  Pieces file(path);
  Pieces one(first);
  Pieces two(second);
  bool as_one = true;
  bool as_two = true;
  for (int64_t at = 0; at < file.Size(); at += static_cast<int64_t>(kPiece)) {
    const std::vector<uint8_t>& bytes = file.At(at);
    const std::vector<uint8_t>& ones = one.At(at);
    const std::vector<uint8_t>& twos = two.At(at);
    for (size_t i = 0; i < bytes.size(); ++i) {
      const bool in_one = HoldsByte(ones, i, bytes[i]);
      const bool in_two = HoldsByte(twos, i, bytes[i]);
      if (!in_one && !in_two) return Content::kForeign;
      as_one = as_one && in_one;
      as_two = as_two && in_two;
    }
  }
  if (IsSameAs(file, one, as_one)) return Content::kFirst;
  if (IsSameAs(file, two, as_two)) return Content::kSecond;
  return file.Exists() ? Content::kBetween : Content::kForeign;
}

void MakeContent(const std::string& path, const std::string& from) {
  if (from.empty()) {
    const OsResult removed = OsRemove(path.c_str());
    if (removed != kOsOk && removed != kOsMissing) Fail(path, "removed");
  } else {
    Pieces content(from);
    OsFile file;
    OsResult opened = OsOpen(path.c_str(), kOsUpdate, &file);
    if (opened == kOsMissing) opened = OsOpen(path.c_str(), kOsCreateNew, &file);
    if (opened != kOsOk) Fail(path, "opened for writing");
    for (int64_t at = 0; at < content.Size(); at += static_cast<int64_t>(kPiece)) {
      WritePiece(file, path, at, content.At(at));
    }
    if (OsSize(file) != content.Size() && OsSetSize(file, content.Size()) != 0) Fail(path, "cut");
    const bool synced = OsSyncFile(file) == 0;
    if (OsClose(&file) != 0 || !synced) Fail(path, "written");
  }
  (void)OsSyncDirectory(DirectoryOf(path).c_str());
}

void WriteNewFile(const std::string& path, const std::string& content) {
  OsFile file;
  if (OsOpen(path.c_str(), kOsCreate, &file) != kOsOk) Fail(path, "created");
  const bool written = OsWrite(file, content.data(), content.size()) == 0 && OsSyncFile(file) == 0;
  if (OsClose(&file) != 0 || !written) Fail(path, "written");
}

std::string HashOfFile(const std::string& path) {
  Pieces file(path);
  if (!file.Exists()) return {};
  Sha256 hash;
  for (int64_t at = 0; at < file.Size(); at += static_cast<int64_t>(kPiece)) {
    const std::vector<uint8_t>& bytes = file.At(at);
    hash.Add(bytes.data(), bytes.size());
  }
  return HexOf(hash.Value());
}

std::string ReadText(const std::string& path) {
  ByteBuffer content;
  if (!ReadSiteFile(path, &content)) Fail(path, "read");
  if (content.size == 0) return {};
  return {reinterpret_cast<const char*>(content.data), content.size};
}
