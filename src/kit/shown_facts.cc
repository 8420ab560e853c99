#include "kit/shown_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "ftn/fts_date.h"
#include "kit/kit_output.h"

namespace {

struct Utf8Control {
  size_t size;  // bytes; 0 for none
  unsigned value;
};

// Returns the character of valid UTF-8 that begins with one of the bytes 7F, C2 and E2, if it controls a terminal: DEL,
// those of U+0080 to U+009F, and those that change the direction of writing.
Utf8Control ControlAt(const std::string& text, size_t at) {
  const auto next = [&](size_t i) { return static_cast<unsigned char>(text[at + i]) & 0x3FU; };
  if (text[at] == '\x7F') return {1, 0x7F};
  if (text[at] == '\xC2') return {next(1) < 0x20 ? size_t{2} : 0, 0x80 | next(1)};
  const unsigned value = 0x2000 | (next(1) << 6) | next(2);
  const bool turns = (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
  return {turns ? size_t{3} : 0, value};
}

}  // namespace

std::string IsoDate(const std::string& base_date) {
  unsigned month = 0;
  unsigned day = 0;
  unsigned year = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  char half = 0;
  if (base_date.size() != 16 ||
      sscanf(base_date.c_str(), "%2u/%2u/%2u %2u:%2u%cm", &month, &day, &year, &hour, &minute, &half) != 6) {
    return DecodedMail(base_date);
  }
  const unsigned full_year = year + (year < 80 ? 2000 : 1900);
  const bool day_exists = std::chrono::year_month_day{std::chrono::year(static_cast<int>(full_year)),
                                                      std::chrono::month(month), std::chrono::day(day)}
                              .ok();
  if (!day_exists || hour < 1 || hour > 12 || minute > 59) return DecodedMail(base_date);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}", full_year, month, day, hour % 12 + (half == 'p' ? 12 : 0),
                     minute);
}

bool IsIsoDate(const std::string& text) {
  constexpr std::string_view kTimeForm = "0000-00-00T00:00";
  return text.size() == kTimeForm.size() &&
         std::equal(text.begin(), text.end(), kTimeForm.begin(),
                    [](char c, char form) { return form == '0' ? c >= '0' && c <= '9' : c == form; });
}

std::string IsoPackedDate(const std::string& packed_date) {
  char converted[kMessageBaseDateSize];
  ConvertFtsDate(packed_date.c_str(), converted);
  return IsoDate(converted);
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(DecodedMail(text)); }

std::string JsonText(const Json& object, int indent) {
  const std::string text = object.dump(indent, ' ', false, Json::error_handler_t::replace);
  std::string escaped;
  size_t done = 0;
  constexpr char kLeads[] = "\x7F\xC2\xE2";  // of all that the library does not escape
  for (size_t at = text.find_first_of(kLeads); at != std::string::npos; at = text.find_first_of(kLeads, at + 1)) {
    const Utf8Control control = ControlAt(text, at);
    if (control.size == 0) continue;
    escaped.append(text, done, at - done).append(fmt::format("\\u{:04x}", control.value));
    done = at + control.size;
  }
  return escaped.append(text, done);
}

void ShowJson(const Json& object) { Show(JsonText(object, 2) + "\n"); }

const char* NameOf(Verdict verdict) {
  switch (verdict) {
    case kVerdictStored: return "stored";
    case kVerdictDuplicate: return "duplicate";
    case kVerdictCatchAll: return "catch-all";
    case kVerdictDropped: return "dropped";
    case kVerdictRefused: return "refused";
    case kVerdictDamaged: break;
  }
  return "damaged";
}

const char* NameOf(FileFate fate) {
  switch (fate) {
    case kFateProcessed: return "processed";
    case kFateRetained: return "retained";
    case kFateLeft: return "left";
    case kFateIgnored: break;
  }
  return "ignored";
}

std::string AddressOf(unsigned zone, unsigned net, unsigned node, unsigned point) {
  return fmt::format("{}:{}/{}", zone, net, node) + (point != 0 ? fmt::format(".{}", point) : "");
}
