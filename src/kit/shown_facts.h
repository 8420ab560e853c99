// Formats facts about mail for cvkit's output: dates, addresses, verdicts.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "ftn/packet.h"
#include "kit/packet_facts.h"

using Json = nlohmann::ordered_json;

// Converts a date of the message base, "01/05/25 12:07am", to "2025-01-05T00:07"; any other text is only decoded.
std::string IsoDate(const std::string& base_date);

// Whether a text has the form "2025-01-05T00:07".
bool IsIsoDate(const std::string& text);

// The same for a date of a packed message, as the toss would store it.
std::string IsoPackedDate(const std::string& packed_date);

// The value, or null.
template <class Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

// The text decoded, or null for an empty one.
Json TextOrNull(const std::string& text);

// Returns an object as JSON, on one line if `indent` is negative. Whatever controls a terminal is escaped.
std::string JsonText(const Json& object, int indent);

// Prints an object as JSON with a line end.
void ShowJson(const Json& object);

const char* NameOf(Verdict verdict);
const char* NameOf(FileFate fate);

// Returns "3:250/1.5", without the point when it is 0.
std::string AddressOf(unsigned zone, unsigned net, unsigned node, unsigned point);
