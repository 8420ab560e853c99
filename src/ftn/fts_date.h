// Dates of packed messages, "05 Jan 25  00:07:59" (FTS-0001), and of the message base, "01/05/25 12:07am".
#pragma once

#include <cstddef>

#include "platform/os.h"

constexpr size_t kMessageBaseDateSize = 18;  // 17 characters and the NUL

constexpr size_t kFtsDateSize = 20;  // 19 characters and the NUL

// Converts an FTS-0001 date text. Of a text that cannot be read as a date the first 17 characters are copied.
void ConvertFtsDate(const char* date_time, char (&converted)[kMessageBaseDateSize]);

// Writes a time in the form of FTS-0001, "05 Jan 07  09:04:03".
void FormatFtsDate(const OsCalendar& when, char (&date_time)[kFtsDateSize]);
