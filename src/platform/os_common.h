// The entries of the door that both systems answer through the C library, alike.
#pragma once

#include <ctime>

#include "platform/os.h"

void* CommonAllocate(size_t size);
void* CommonReallocate(void* block, size_t size);
void CommonRelease(void* block);
void CommonShow(OsStream stream, const char* text, size_t size);

OsCalendar CalendarOf(const tm& broken_down);
