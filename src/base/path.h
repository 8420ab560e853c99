// Paths built from a configured directory and a file name; one that does not fit is refused, never cut.
#pragma once

#include <cstddef>

#include "base/printf_format.h"

// The size of most path buffers: 511 characters and the NUL.
struct Path {
  char text[512] = {};
};

// Formats a path into `size` bytes. Returns 0, or -1 when it does not fit (the buffer then holds an empty text).
int FormatPath(char* path, size_t size, const char* format, ...) CVTOSS_PRINTF(3, 4);
