// The bytes of one fuzz input, read from the front.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

// A read beyond the end returns zero or an empty text: every input is valid.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}

  size_t Left() const { return left_; }

  uint8_t TakeByte() { return left_ == 0 ? uint8_t{0} : (--left_, *at_++); }

  uint16_t TakeWord() {
    const uint16_t low = TakeByte();
    return static_cast<uint16_t>(low | (TakeByte() << 8));
  }

  // At most `size` bytes.
  std::string TakeBytes(size_t size) {
    const size_t taken = size < left_ ? size : left_;
    const std::string bytes(reinterpret_cast<const char*>(at_), taken);
    at_ += taken;
    left_ -= taken;
    return bytes;
  }

  // A length byte and that many bytes, at most `most` of them.
  std::string TakeText(size_t most) {
    const size_t size = TakeByte();
    return TakeBytes(size < most ? size : most);
  }

  std::string TakeRest() { return TakeBytes(left_); }

 private:
  const uint8_t* at_;
  size_t left_;
};

// A copy on the heap that ends where the bytes end, so that the sanitizer sees the first byte read beyond them.
class ExactCopy {
 public:
  explicit ExactCopy(const std::string& bytes) : data_(static_cast<uint8_t*>(malloc(bytes.size()))) {
    if (!bytes.empty()) memcpy(data_, bytes.data(), bytes.size());
  }
  ExactCopy(const ExactCopy&) = delete;
  ExactCopy& operator=(const ExactCopy&) = delete;
  ~ExactCopy() { free(data_); }

  uint8_t* Data() const { return data_; }

 private:
  uint8_t* data_;
};

// Returns the bytes before the first NUL.
inline std::string UpToNul(const std::string& bytes) { return bytes.substr(0, bytes.find('\0')); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
