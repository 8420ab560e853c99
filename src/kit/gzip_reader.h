// Unpacking a gzip file as its bytes come.
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

  // Unpacks the next bytes and hands out what comes of them; stops when `take` returns false.
  GzipResult Add(const char* bytes, size_t size, const std::function<bool(const char*, size_t)>& take);

  // Whether the bytes so far are a whole file.
  bool IsWhole() const { return !damaged_ && !within_; }

 private:
  z_stream stream_ = {};
  bool started_ = false;
  bool within_ = true;  // the end of a member has not come yet
  bool damaged_ = false;
  std::vector<char> unpacked_;
};
