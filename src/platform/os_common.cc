#include "platform/os_common.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool IsSame(const OsEntry& left, const OsEntry& right) {
  return left.volume == right.volume && left.file == right.file;
}

using Identify = OsResult (*)(const OsPlace& place, OsLinks links, OsEntry* entry);

// Identifies the directory that holds a place's last name.
OsResult IdentifyDirectory(Identify identify, const OsPlace& place, OsEntry* entry) {
  char directory[1100];
  size_t size = strlen(place.path);
  if (size + 2 > sizeof directory) return kOsFailed;
  while (size > 0 && place.path[size - 1] != '/' && place.path[size - 1] != '\\') --size;
  memcpy(directory, place.path, size);
  memcpy(directory + size, ".", 2);
  return identify(OsPlace(directory, place.directory), kOsFollowLinks, entry);
}

OsSameness AreSameEntry(Identify identify, const OsPlace& source, const OsPlace& other) {
  OsEntry left;
  OsEntry right;
  if (IdentifyDirectory(identify, source, &left) != kOsOk || IdentifyDirectory(identify, other, &right) != kOsOk) {
    return kOsNotTold;
  }
  return IsSame(left, right) ? kOsSame : kOsDifferent;
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

OsSameness CommonSameFile(Identify identify, const OsPlace& source, const OsPlace& other) {
  OsEntry left;
  OsEntry right;
  const OsResult source_result = identify(source, kOsLinksThemselves, &left);
  const OsResult other_result = identify(other, kOsLinksThemselves, &right);
  if (source_result == kOsMissing || other_result == kOsMissing) return kOsDifferent;
  if (source_result != kOsOk || other_result != kOsOk) return kOsNotTold;
  if (IsSame(left, right)) return left.has_other_names ? AreSameEntry(identify, source, other) : kOsSame;
  if (right.is_link || !left.is_link) return kOsDifferent;
  OsEntry behind;
  if (identify(source, kOsFollowLinks, &behind) != kOsOk) return kOsNotTold;
  return IsSame(behind, right) ? kOsSame : kOsDifferent;
}
