#include "platform/os_common.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool IsSame(const OsIdentity& left, const OsIdentity& right) {
  return left.volume == right.volume && left.file == right.file;
}

// Identifies the directory that a path's last name stands in.
OsResult IdentifyDirectory(OsResult (*identify)(const char* path, OsIdentity* identity), const char* path,
                           OsIdentity* identity) {
  char directory[1100];
  size_t size = strlen(path);
  if (size + 2 > sizeof directory) return kOsFailed;
  while (size > 0 && path[size - 1] != '/' && path[size - 1] != '\\') --size;
  memcpy(directory, path, size);
  memcpy(directory + size, ".", 2);
  return identify(directory, identity);
}

}  // namespace

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

OsResult CommonSameFile(OsResult (*identify)(const char* path, OsIdentity* identity), const char* left,
                        const char* right) {
  OsIdentity l;
  OsIdentity r;
  OsResult result = identify(left, &l);
  if (result == kOsOk) result = identify(right, &r);
  if (r.is_link && !l.is_link) return kOsMissing;  // whether or not it leads anywhere
  if (result != kOsOk) return result;
  if (!IsSame(l, r)) return kOsMissing;
  if (l.is_link) return kOsOk;
  if (!l.has_other_names) return kOsOk;
  result = IdentifyDirectory(identify, left, &l);
  if (result == kOsOk) result = IdentifyDirectory(identify, right, &r);
  if (result != kOsOk) return kOsFailed;
  return IsSame(l, r) ? kOsOk : kOsMissing;
}
