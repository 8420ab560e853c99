#include "ftn/fts_date.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/ascii.h"
#include "base/fixed_text.h"
#include "base/scan_number.h"

namespace {

constexpr const char* kMonthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct FtsDate {
  int32_t day = 0;
  int32_t month = 0;  // 1..12
  int32_t year = 0;
  int32_t hour = 0;
  int32_t minute = 0;
  int32_t second = 0;
};

// Reads a word of at most 7 characters; the rest of a longer word is left, and reading the next field then fails on it.
bool ScanMonth(const char** at, int32_t* month) {
  char word[8];
  size_t length = 0;
  SkipWhiteSpace(at);
  while (length < sizeof word - 1 && **at != '\0' && !IsWhiteSpace(**at)) word[length++] = *(*at)++;
  word[length] = '\0';
  for (int32_t i = 0; i < 12; ++i) {
    if (!SameWord(word, kMonthNames[i])) continue;
    *month = i + 1;
    return true;
  }
  return false;
}

bool ScanColon(const char** at) { return *(*at)++ == ':'; }

bool ScanFtsDate(const char* text, FtsDate* date) {
  return ScanInt32(&text, &date->day) && ScanMonth(&text, &date->month) && ScanInt32(&text, &date->year) &&
         ScanInt32(&text, &date->hour) && ScanColon(&text) && ScanInt32(&text, &date->minute) && ScanColon(&text) &&
         ScanInt32(&text, &date->second);
}

// Writes two digits and the byte `next` after them. Returns the position that follows. Done without printf: every
// message has a date, and printf would be the slowest part of converting it.
char* PutTwoDigits(char* at, int32_t value, char next) {
  at[0] = static_cast<char>('0' + value / 10);
  at[1] = static_cast<char>('0' + value % 10);
  at[2] = next;
  return at + 3;
}

bool IsWithin(int32_t value, int32_t least, int32_t most) { return value >= least && value <= most; }

}  // namespace

void ConvertFtsDate(const char* date_time, char (&converted)[kMessageBaseDateSize]) {
  FtsDate date;
  if (!ScanFtsDate(date_time, &date) || !IsWithin(date.day, 1, 31) || !IsWithin(date.hour, 0, 23) ||
      !IsWithin(date.minute, 0, 59) || !IsWithin(date.second, 0, 60) || date.year < 0) {
    CopyCut(converted, date_time);
    return;
  }
  const int32_t hour = date.hour % 12 == 0 ? 12 : date.hour % 12;
  char* at = PutTwoDigits(converted, date.month, '/');
  at = PutTwoDigits(at, date.day, '/');
  at = PutTwoDigits(at, date.year % 100, ' ');
  at = PutTwoDigits(at, hour, ':');
  at = PutTwoDigits(at, date.minute, date.hour < 12 ? 'a' : 'p');
  memcpy(at, "m", 2);
}

void FormatFtsDate(const OsCalendar& when, char (&date_time)[kFtsDateSize]) {
  (void)snprintf(date_time, sizeof date_time, "%02d %s %02d  %02d:%02d:%02d", when.day, kMonthNames[when.month],
                 when.year % 100, when.hour, when.minute, when.second);
}
