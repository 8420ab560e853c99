#include "fuzz/support/rule.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::string Shown(const std::string& text) {
  std::string shown = "\"";
  for (const char c : text) {
    char piece[8];
    const auto byte = static_cast<unsigned char>(c);
    (void)snprintf(piece, sizeof piece, byte >= ' ' && byte < 0x7F ? "%c" : "\\x%02x", byte);
    shown += piece;
  }
  return shown + "\" (" + std::to_string(text.size()) + " bytes)";
}

}  // namespace

void Must(bool holds, const char* rule) {
  if (holds) return;
  (void)fprintf(stderr, "BROKEN RULE: %s\n", rule);
  abort();
}

void MustEqual(const std::string& actual, const std::string& expected, const char* rule) {
  if (actual == expected) return;
  (void)fprintf(stderr, "BROKEN RULE: %s\n  expected %s\n  actual   %s\n", rule, Shown(expected).c_str(),
                Shown(actual).c_str());
  abort();
}

void MustEqual(long long actual, long long expected, const char* rule) {
  if (actual == expected) return;
  (void)fprintf(stderr, "BROKEN RULE: %s\n  expected %lld\n  actual   %lld\n", rule, expected, actual);
  abort();
}
