#include "kit/shown_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>

#include "ftn/fts_date.h"
#include "kit/kit_output.h"

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
  std::string text = object.dump(indent, ' ', false, Json::error_handler_t::replace);
  constexpr char kDelete = '\x7F';  // the one control byte that the library does not escape
  for (size_t at = text.find(kDelete); at != std::string::npos; at = text.find(kDelete, at)) {
    text.replace(at, 1, "\\u007f");
  }
  return text;
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
