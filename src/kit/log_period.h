// Points in time in the form of the log's stamps, "2026-11-22 03:10:00".
#pragma once

#include <cstdint>
#include <string>

constexpr int64_t kDaySeconds = 24 * 60 * 60;

// Returns the beginning of a stamp, "2026-11-22" or "2026-11-22 03:10", for a date with or without a time of day (after
// a blank or a "T"), for "today" and "yesterday", and for "7d", seven days ago. Throws NotAnswered for anything else.
std::string StampPrefix(const std::string& typed);

// Return the stamp, or only its day, of a time in seconds since 1970-01-01 UTC; empty when it cannot be determined.
std::string StampOf(int64_t when);
std::string DayOf(int64_t when);

// Returns the seconds since 1970-01-01 UTC of a stamp; 0 when it is no stamp.
int64_t SecondsOfStamp(const std::string& stamp);
