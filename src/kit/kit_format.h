// Sentences: fmt, and the counts in them.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

// "1 record", "3 records"; `many` for words that take another ending.
template <class Number>
std::string Count(Number count, const std::string& one, const std::string& many = {}) {
  return fmt::format("{} {}", count, count == 1 ? one : many.empty() ? one + "s" : many);
}
