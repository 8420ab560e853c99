// Entries of OsTable that are the same on both systems.
#pragma once

#include <ctime>

#include "platform/os.h"

void* CommonAllocate(size_t size);
void* CommonReallocate(void* block, size_t size);
void CommonRelease(void* block);
void CommonShow(OsStream stream, const char* text, size_t size);

OsCalendar CalendarOf(const tm& broken_down);

// What a name in a directory leads to, for telling names of one file from names of two.
struct OsEntry {
  uint64_t volume = 0;
  uint64_t file = 0;
  bool has_other_names = false;  // hard links
  bool is_link = false;
};

enum OsLinks { kOsFollowLinks, kOsLinksThemselves };

// OsSameFile, given the function by which this system identifies a file; `identify` returns kOsOk, kOsMissing or
// kOsFailed.
OsSameness CommonSameFile(OsResult (*identify)(const OsPlace& place, OsLinks links, OsEntry* entry),
                          const OsPlace& source, const OsPlace& other);
