// Texts in arrays of fixed size.
#pragma once

#include <cstddef>
#include <cstring>

// Copies a NUL-terminated text; what does not fit is cut off.
template <size_t kSize>
void CopyCut(char (&to)[kSize], const char* from) {
  const size_t length = strnlen(from, kSize - 1);
  memcpy(to, from, length);
  to[length] = '\0';
}
