#include "base/scan_number.h"

#include <charconv>
#include <cstring>
#include <limits>

bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void SkipWhiteSpace(const char** at) {
  while (IsWhiteSpace(**at)) ++*at;
}

namespace {

// A number in a text: its digits without the sign.
struct Digits {
  const char* first;
  const char* end;
  bool negative;
};

// Skips white space and finds the number after it. Returns false when there is none; else moves `*at` past it.
bool FindDigits(const char** at, Digits* digits) {
  SkipWhiteSpace(at);
  digits->negative = **at == '-';
  digits->first = **at == '+' || **at == '-' ? *at + 1 : *at;
  digits->end = digits->first + strspn(digits->first, "0123456789");
  if (digits->end == digits->first) return false;
  *at = digits->end;
  return true;
}

}  // namespace

bool ScanInt32(const char** at, int32_t* value) {
  Digits digits;
  if (!FindDigits(at, &digits)) return false;
  const char* const first = digits.negative ? digits.first - 1 : digits.first;
  if (std::from_chars(first, digits.end, *value).ec == std::errc::result_out_of_range) {
    *value = digits.negative ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max();
  }
  return true;
}

NumberScan ScanUint32(const char** at, uint32_t* value) {
  Digits digits;
  if (!FindDigits(at, &digits)) return kNoNumber;
  if (std::from_chars(digits.first, digits.end, *value).ec == std::errc::result_out_of_range) return kNumberTooLarge;
  if (digits.negative) *value = 0U - *value;
  return kNumberFits;
}

int32_t LeadingInt32(const char* text) {
  int32_t value = 0;
  return ScanInt32(&text, &value) ? value : 0;
}
