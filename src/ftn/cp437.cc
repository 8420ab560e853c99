#include "ftn/cp437.h"

namespace {

struct Mapping {
  uint32_t code_point;
  uint8_t byte;
};

// Code page 437 has more characters of Latin-1 (the pound sign, the sharp s) than this table. They are left out:
// readers of the message base have always been shown "?" for them, and replies quote what was shown.
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

// The characters of the bytes from 0x80 on.
constexpr uint16_t kCodePoints[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
    0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
    0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

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

// Returns how many continuation bytes follow a lead byte of 0x80 or more; -1 when it is no lead byte.
int ContinuationBytes(uint8_t lead) {
  if ((lead & 0xE0) == 0xC0) return 1;
  if ((lead & 0xF0) == 0xE0) return 2;
  if ((lead & 0xF8) == 0xF0) return 3;
  return -1;
}

// Decodes the sequence at `text`, which has `left` bytes. Returns its length, or 0 when it is no valid sequence.
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

size_t Cp437ToUtf8(uint8_t byte, char (&utf8)[kLongestUtf8]) {
  if (byte < 0x80) {
    utf8[0] = static_cast<char>(byte);
    return 1;
  }
  const uint32_t value = kCodePoints[byte - 0x80];
  if (value < 0x800) {
    utf8[0] = static_cast<char>(0xC0 | (value >> 6));
    utf8[1] = static_cast<char>(0x80 | (value & 0x3F));
    return 2;
  }
  utf8[0] = static_cast<char>(0xE0 | (value >> 12));
  utf8[1] = static_cast<char>(0x80 | ((value >> 6) & 0x3F));
  utf8[2] = static_cast<char>(0x80 | (value & 0x3F));
  return 3;
}
