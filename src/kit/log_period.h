// Converts times that a user types to the form of the log's stamps.
#pragma once

#include <string>

// Returns the beginning of a stamp, "2026-11-22" or "2026-11-22 03:10", for a date with or without a time of day (after
// a blank or a "T"), for "today" and "yesterday", and for "7d", seven days ago. Throws NotAnswered for anything else.
std::string StampPrefix(const std::string& typed);
