// Decompresses a gzip file piece by piece.
#pragma once

#include <zlib.h>

#include <functional>
#include <vector>

enum class GzipResult { kGoOn, kStopped, kDamaged };

class GzipReader {
 public:
  GzipReader() = default;
  GzipReader(const GzipReader&) = delete;
  GzipReader& operator=(const GzipReader&) = delete;
  ~GzipReader();

  // Decompresses the next bytes and passes the result to `take`; stops when that returns false.
  GzipResult Add(const char* bytes, size_t size, const std::function<bool(const char*, size_t)>& take);

  // Whether the bytes so far form a complete file.
  bool IsWhole() const { return !damaged_ && !within_; }

 private:
  z_stream stream_ = {};
  bool started_ = false;
  bool within_ = true;  // within a member
  bool damaged_ = false;
  std::vector<char> unpacked_;
};
