// Dates of packed messages, "05 Jan 25  00:07:59" (FTS-0001), and of the message base, "01/05/25 12:07am".
#pragma once

#include <cstddef>

constexpr size_t kMessageBaseDateSize = 18;  // 17 characters and the NUL

// The abbreviations that both directions use, January first.
extern const char* const kMonthNames[12];

// Converts an FTS-0001 date text. A text that cannot be read as a date is kept: its first 17 characters are the result.
void ConvertFtsDate(const char* date_time, char (&converted)[kMessageBaseDateSize]);
