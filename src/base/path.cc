#include "base/path.h"

#include <cstdarg>
#include <cstdio>

int FormatPath(char* path, size_t size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(path, size, format, arguments);
  va_end(arguments);
  if (length >= 0 && static_cast<size_t>(length) < size) return 0;
  path[0] = '\0';
  return -1;
}
