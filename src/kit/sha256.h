// SHA-256 (FIPS 180-4), by which files and messages are recognised.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class Sha256 {
 public:
  void Add(const void* bytes, size_t size);

  // Adds a text with its size, so that "ab" and "c" hash differently from "a" and "bc".
  void AddText(std::string_view text);

  // Returns the 32 bytes of the hash of all that was added. More may be added afterwards.
  std::string Value() const;

 private:
  void Block(const uint8_t* bytes);

  std::array<uint32_t, 8> state_ = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                    0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
  std::array<uint8_t, 64> held_ = {};
  uint64_t size_ = 0;  // bytes added
};

// Returns the hash as 64 hexadecimal digits.
std::string HexOf(std::string_view hash);
