#include "platform/scan_number.h"

#include <charconv>
#include <cstring>
#include <limits>

bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void SkipWhiteSpace(const char** at) {
  while (IsWhiteSpace(**at)) ++*at;
}

bool ScanInt32(const char** at, int32_t* value) {
  SkipWhiteSpace(at);
  const bool negative = **at == '-';
  const char* digits = *at;
  if (*digits == '+' || *digits == '-') ++digits;
  if (*digits < '0' || *digits > '9') return false;
  const char* const end = digits + strspn(digits, "0123456789");
  const auto [stop, error] = std::from_chars(negative ? digits - 1 : digits, end, *value);
  if (error == std::errc::result_out_of_range) {
    *value = negative ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max();
  }
  *at = end;
  return true;
}

bool ScanUint32(const char** at, uint32_t* value) {
  SkipWhiteSpace(at);
  const bool negative = **at == '-';
  const char* digits = *at;
  if (*digits == '+' || *digits == '-') ++digits;
  if (*digits < '0' || *digits > '9') return false;
  const char* const end = digits + strspn(digits, "0123456789");
  const auto [stop, error] = std::from_chars(digits, end, *value);
  if (error == std::errc::result_out_of_range) {
    *value = std::numeric_limits<uint32_t>::max();
  } else if (negative) {
    *value = 0U - *value;
  }
  *at = end;
  return true;
}

int32_t LeadingInt32(const char* text) {
  int32_t value = 0;
  return ScanInt32(&text, &value) ? value : 0;
}
