// The entries of the door that both systems answer alike.
#pragma once

#include <ctime>

#include "platform/os.h"

void* CommonAllocate(size_t size);
void* CommonReallocate(void* block, size_t size);
void CommonRelease(void* block);
void CommonShow(OsStream stream, const char* text, size_t size);

OsCalendar CalendarOf(const tm& broken_down);

// What tells one file from another. Volume and file are those of the file that a link leads to.
struct OsIdentity {
  uint64_t volume = 0;
  uint64_t file = 0;
  bool has_other_names = false;  // hard links
  bool is_link = false;          // the path itself names a link
};

// OsSameFile, given how this system identifies a file; `identify` returns kOsOk, kOsMissing or kOsFailed.
OsResult CommonSameFile(OsResult (*identify)(const char* path, OsIdentity* identity), const char* left,
                        const char* right);
