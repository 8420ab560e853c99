#include <map>

#include "fuzz/model/packet_model.h"

namespace {

// Every character above 0x7F that has a byte.
const std::map<unsigned long, char>& Bytes() {
  static const std::map<unsigned long, char> bytes = [] {
    // U+00A1 to U+00FF: the code points and, below each, its byte.
    constexpr char kPoints[] =
        "\xA1\xBF\xC4\xC5\xC7\xC9\xD1\xD6\xDC\xE0\xE2\xE4\xE5\xE7\xE8\xE9\xEA\xEB\xEC\xEE\xEF\xF1\xF2\xF4\xF6\xF9\xFB\xFC\xFF";
    constexpr char kCodes[] =
        "\xAD\xA8\x8E\x8F\x80\x90\xA5\x99\x9A\x85\x83\x84\x86\x87\x8A\x82\x88\x89\x8D\x8C\x8B\xA4\x95\x93\x94\x97\x96\x81\x98";
    static_assert(sizeof kPoints == 30 && sizeof kCodes == 30);
    std::map<unsigned long, char> made = {{0x2013, '-'}, {0x2014, '-'}, {0x2018, '\''}, {0x2019, '\''},
                                          {0x201C, '"'}, {0x201D, '"'}, {0x2026, '.'}};
    for (size_t i = 0; i < 29; ++i) made[static_cast<unsigned char>(kPoints[i])] = kCodes[i];
    return made;
  }();
  return bytes;
}

// The bits of a byte as a text of eight digits.
std::string Bits(char c) {
  std::string bits;
  for (int bit = 7; bit >= 0; --bit) bits += (static_cast<unsigned char>(c) >> bit) % 2 == 0 ? '0' : '1';
  return bits;
}

// Length and character of the sequence at `at`; length 0 when it is not one.
size_t DecodeAt(const std::string& text, size_t at, unsigned long* character) {
  const std::string lead = Bits(text[at]);
  const size_t ones = lead.find('0');
  const size_t size = ones == 0 ? 1 : ones;  // 0xxxxxxx, 110xxxxx, 1110xxxx, 11110xxx
  if (ones == 1 || ones > 4 || text.size() - at < size) return 0;
  std::string payload = lead.substr(ones);
  for (size_t i = 1; i < size; ++i) {
    const std::string bits = Bits(text[at + i]);
    if (bits.compare(0, 2, "10") != 0) return 0;
    payload += bits.substr(2);
  }
  *character = std::stoul(payload, nullptr, 2);
  return size;
}

}  // namespace

std::string InCp437(const std::string& utf8) {
  std::string converted;
  for (size_t at = 0; at < utf8.size();) {
    unsigned long character = 0;
    const size_t size = DecodeAt(utf8, at, &character);
    const auto found = Bytes().find(character);
    if (size != 0 && character < 0x80) {
      converted += static_cast<char>(character);
    } else {
      converted += size != 0 && found != Bytes().end() ? found->second : '?';
    }
    at += size != 0 ? size : 1;
  }
  return converted;
}
