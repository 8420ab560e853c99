// The entries of the door that both systems answer alike.
#pragma once

#include <ctime>

#include "platform/os.h"

void* CommonAllocate(size_t size);
void* CommonReallocate(void* block, size_t size);
void CommonRelease(void* block);
void CommonShow(OsStream stream, const char* text, size_t size);

OsCalendar CalendarOf(const tm& broken_down);

// What stands under a name, as far as names of one file are told apart.
struct OsEntry {
  uint64_t volume = 0;
  uint64_t file = 0;
  bool has_other_names = false;  // hard links
  bool is_link = false;
};

enum OsLinks { kOsFollowLinks, kOsLinksThemselves };

// OsSameFile, given how this system identifies what stands at a place; `identify` returns kOsOk, kOsMissing or
// kOsFailed.
OsSameness CommonSameFile(OsResult (*identify)(const OsPlace& place, OsLinks links, OsEntry* entry),
                          const OsPlace& source, const OsPlace& other);
