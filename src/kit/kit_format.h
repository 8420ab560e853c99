// Counts in sentences, and the header of fmt.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

// Returns "1 record" or "3 records"; `many` is the plural of words that do not take an "s".
template <class Number>
std::string Count(Number count, const std::string& one, const std::string& many = {}) {
  return fmt::format("{} {}", count, count == 1 ? one : many.empty() ? one + "s" : many);
}
