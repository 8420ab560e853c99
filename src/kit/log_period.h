// Points of time as they are typed, in the form of the log's stamps.
#pragma once

#include <string>

// The beginning of a stamp, "2026-11-22" or "2026-11-22 03:10", for a date with or without a time of the day (behind a
// blank or a "T"), for "today", "yesterday", and for "7d": so many days ago. Throws NotAnswered for anything else.
std::string StampPrefix(const std::string& typed);
