#include "platform/os_common.h"

#include <cstdio>
#include <cstdlib>

void* CommonAllocate(size_t size) { return malloc(size); }
void* CommonReallocate(void* block, size_t size) { return realloc(block, size); }
void CommonRelease(void* block) { free(block); }

void CommonShow(OsStream stream, const char* text, size_t size) {
  (void)fwrite(text, 1, size, stream == kOsStdout ? stdout : stderr);
}

OsCalendar CalendarOf(const tm& broken_down) {
  OsCalendar calendar;
  calendar.year = broken_down.tm_year + 1900;
  calendar.month = broken_down.tm_mon;
  calendar.day = broken_down.tm_mday;
  calendar.hour = broken_down.tm_hour;
  calendar.minute = broken_down.tm_min;
  calendar.second = broken_down.tm_sec;
  calendar.weekday = broken_down.tm_wday;
  return calendar;
}
