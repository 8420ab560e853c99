#include "kit/sha256.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr uint32_t kRound[64] = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

uint32_t BigEndian(const uint8_t* from) {
  return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | from[3];
}

}  // namespace

void Sha256::Block(const uint8_t* bytes) {
  uint32_t words[64];
  for (size_t i = 0; i < 16; ++i) words[i] = BigEndian(bytes + 4 * i);
  for (size_t i = 16; i < 64; ++i) {
    const uint32_t early = words[i - 15];
    const uint32_t late = words[i - 2];
    words[i] = words[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ (early >> 3)) + words[i - 7] +
               (std::rotr(late, 17) ^ std::rotr(late, 19) ^ (late >> 10));
  }
  auto [a, b, c, d, e, f, g, h] = state_;
  for (size_t i = 0; i < 64; ++i) {
    const uint32_t one =
        h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRound[i] + words[i];
    const uint32_t two = (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + one;
    d = c;
    c = b;
    b = a;
    a = one + two;
  }
  const uint32_t rounds[8] = {a, b, c, d, e, f, g, h};
  for (size_t i = 0; i < 8; ++i) state_[i] += rounds[i];
}

void Sha256::Add(const void* bytes, size_t size) {
  const auto* from = static_cast<const uint8_t*>(bytes);
  while (size != 0) {
    const auto held = static_cast<size_t>(size_ % held_.size());
    const size_t taken = std::min(size, held_.size() - held);
    memcpy(held_.data() + held, from, taken);
    size_ += taken;
    from += taken;
    size -= taken;
    if (size_ % held_.size() == 0) Block(held_.data());
  }
}

void Sha256::AddText(std::string_view text) {
  const uint64_t size = text.size();
  uint8_t bytes[8];
  for (size_t i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<uint8_t>(size >> (8 * i));
  Add(bytes, sizeof bytes);
  Add(text.data(), text.size());
}

std::string Sha256::Value() const {
  Sha256 last = *this;
  const uint64_t bits = size_ * 8;
  const uint8_t mark = 0x80;
  last.Add(&mark, 1);
  const uint8_t zero = 0;
  while (last.size_ % 64 != 56) last.Add(&zero, 1);
  uint8_t length[8];
  for (size_t i = 0; i < 8; ++i) length[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
  last.Add(length, sizeof length);
  std::string value;
  for (const uint32_t word : last.state_) {
    for (int shift = 24; shift >= 0; shift -= 8) value += static_cast<char>(word >> shift & 0xFF);
  }
  return value;
}

std::string HexOf(std::string_view hash) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : hash) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}
