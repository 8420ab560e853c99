#include "kit/gzip_reader.h"

namespace {

constexpr size_t kUnpackedSize = size_t{128} * 1024;
constexpr int kGzipOnly = 16 + MAX_WBITS;

}  // namespace

GzipReader::~GzipReader() {
  if (started_) (void)inflateEnd(&stream_);
}

GzipResult GzipReader::Add(const char* bytes, size_t size, const std::function<bool(const char*, size_t)>& take) {
  if (!started_) {
    started_ = inflateInit2(&stream_, kGzipOnly) == Z_OK;
    if (!started_) return GzipResult::kDamaged;
    unpacked_.resize(kUnpackedSize);
  }
  stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes));
  stream_.avail_in = static_cast<uInt>(size);
  do {
    if (!within_) {  // another member may follow
      if (stream_.avail_in == 0) break;
      (void)inflateReset(&stream_);
      within_ = true;
    }
    stream_.next_out = reinterpret_cast<Bytef*>(unpacked_.data());
    stream_.avail_out = static_cast<uInt>(unpacked_.size());
    const int result = inflate(&stream_, Z_NO_FLUSH);
    damaged_ = result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR;
    if (damaged_) return GzipResult::kDamaged;
    within_ = result != Z_STREAM_END;
    const size_t made = unpacked_.size() - stream_.avail_out;
    if (made != 0 && !take(unpacked_.data(), made)) return GzipResult::kStopped;
  } while (stream_.avail_in != 0 || stream_.avail_out == 0);
  return GzipResult::kGoOn;
}
