#include "kit/kit_output.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>

#include "ftn/cp437.h"
#include "platform/os.h"

namespace {

bool IsControl(unsigned char byte) { return byte < 0x20 || byte == 0x7F; }

void AddEscape(unsigned char byte, std::string* to) { *to += fmt::format("\\x{:02X}", byte); }

std::string Decode(std::string_view text, bool escape) {
  std::string decoded;
  decoded.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (escape && IsControl(byte)) {
      AddEscape(byte, &decoded);
    } else {
      char character[kLongestUtf8];
      decoded.append(character, Cp437ToUtf8(byte, character));
    }
  }
  return decoded;
}

// Returns the length of the UTF-8 character at the start of `text`; 0 if there is none, or if it controls a terminal:
// control characters above 0x7F, and those that change the direction of writing.
size_t ShowableCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return 1;
  const size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return 0;
  uint32_t value = lead & (0xFFU >> (size + 1));
  for (size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return 0;
    value = (value << 6) | (next & 0x3FU);
  }
  constexpr uint32_t kLeast[] = {0, 0, 0xA0, 0x800, 0x10000};
  const bool turns = (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  return value < kLeast[size] || value > 0x10FFFF || turns || surrogate ? 0 : size;
}

std::string Escape(std::string_view text, bool keep_lines) {
  std::string shown;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text[0]);
    const size_t size = IsControl(byte) && !(keep_lines && byte == '\n') ? 0 : ShowableCharacter(text);
    if (size == 0) {
      AddEscape(byte, &shown);
    } else {
      shown += text.substr(0, size);
    }
    text.remove_prefix(size == 0 ? 1 : size);
  }
  return shown;
}

const char* CodeOf(Colour colour) {
  switch (colour) {
    case kPlain: break;
    case kGood: return "32";
    case kWarning: return "33";
    case kBad: return "31";
    case kFaint: return "2";
    case kStrong: return "1";
  }
  return "0";
}

}  // namespace

std::string ShownMail(std::string_view text) { return Decode(text, true); }

std::string DecodedMail(std::string_view text) { return Decode(text, false); }

std::string ShownName(std::string_view name) { return Escape(name, false); }

std::string Escaped(std::string_view text) { return Escape(text, true); }

void Show(const std::string& text) { OsShowUtf8(kOsStdout, text.data(), text.size()); }

void Complain(const std::string& text) { OsShowUtf8(kOsStderr, text.data(), text.size()); }

std::string Coloured(Colour colour, const std::string& text) {
  const char* const no_colour = std::getenv("NO_COLOR");
  if (colour == kPlain || (no_colour != nullptr && *no_colour != '\0') || !OsIsTerminal(kOsStdout)) return text;
  return fmt::format("\x1B[{}m{}\x1B[0m", CodeOf(colour), text);
}
