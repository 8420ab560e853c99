#include "ftn/cp437.h"

namespace {

struct Mapping {
  uint32_t code_point;
  uint8_t byte;
};

// These rows and no others: code page 437 has more of Latin-1 (the pound sign, the sharp s), but readers of the message
// base have always been shown "?" for them, and replies quote what was shown.
constexpr Mapping kLatin1[] = {
    {0xA1, 0xAD}, {0xBF, 0xA8}, {0xC4, 0x8E}, {0xC5, 0x8F}, {0xC7, 0x80}, {0xC9, 0x90}, {0xD1, 0xA5}, {0xD6, 0x99},
    {0xDC, 0x9A}, {0xE0, 0x85}, {0xE2, 0x83}, {0xE4, 0x84}, {0xE5, 0x86}, {0xE7, 0x87}, {0xE8, 0x8A}, {0xE9, 0x82},
    {0xEA, 0x88}, {0xEB, 0x89}, {0xEC, 0x8D}, {0xEE, 0x8C}, {0xEF, 0x8B}, {0xF1, 0xA4}, {0xF2, 0x95}, {0xF4, 0x93},
    {0xF6, 0x94}, {0xF9, 0x97}, {0xFB, 0x96}, {0xFC, 0x81}, {0xFF, 0x98},
};
static_assert(sizeof kLatin1 / sizeof kLatin1[0] == 29);

constexpr Mapping kPunctuation[] = {
    {0x2013, '-'}, {0x2014, '-'}, {0x2018, '\''}, {0x2019, '\''}, {0x201C, '"'}, {0x201D, '"'}, {0x2026, '.'},
};

constexpr uint8_t kReplacement = '?';

template <size_t kCount>
uint8_t Find(const Mapping (&mappings)[kCount], uint32_t code_point) {
  for (const Mapping& mapping : mappings) {
    if (mapping.code_point == code_point) return mapping.byte;
  }
  return kReplacement;
}

uint8_t ByteOf(uint32_t code_point) {
  if (code_point < 0x80) return static_cast<uint8_t>(code_point);
  return code_point <= 0xFF ? Find(kLatin1, code_point) : Find(kPunctuation, code_point);
}

// How many continuation bytes follow a lead byte of 0x80 or more; -1 when it is none.
int ContinuationBytes(uint8_t lead) {
  if ((lead & 0xE0) == 0xC0) return 1;
  if ((lead & 0xF0) == 0xE0) return 2;
  if ((lead & 0xF8) == 0xF0) return 3;
  return -1;
}

// Decodes the sequence at `text`, which has `left` bytes. Returns its length, or 0 when it is not one.
size_t Decode(const uint8_t* text, size_t left, uint32_t* code_point) {
  const int continuation = ContinuationBytes(text[0]);
  if (continuation < 0 || left <= static_cast<size_t>(continuation)) return 0;
  uint32_t value = text[0] & (0x3FU >> continuation);
  for (int i = 1; i <= continuation; ++i) {
    if ((text[i] & 0xC0) != 0x80) return 0;
    value = (value << 6) | (text[i] & 0x3FU);
  }
  *code_point = value;
  return static_cast<size_t>(continuation) + 1;
}

}  // namespace

size_t Utf8ToCp437(uint8_t* text, size_t length) {
  size_t out = 0;
  for (size_t in = 0; in < length;) {
    if (text[in] < 0x80) {
      text[out++] = text[in++];
      continue;
    }
    uint32_t code_point = 0;
    const size_t taken = Decode(text + in, length - in, &code_point);
    text[out++] = taken != 0 ? ByteOf(code_point) : kReplacement;
    in += taken != 0 ? taken : 1;
  }
  return out;
}
