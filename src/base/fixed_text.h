// Texts in arrays of fixed size.
#pragma once

#include <cstddef>
#include <cstring>

// Removes the CR and LF bytes at the end of a NUL-terminated text.
inline void TrimLineEnd(char* text) {
  size_t length = strlen(text);
  while (length > 0 && (text[length - 1] == '\r' || text[length - 1] == '\n')) text[--length] = '\0';
}

// Copies a NUL-terminated text; what does not fit is cut off.
template <size_t kSize>
void CopyCut(char (&to)[kSize], const char* from) {
  const size_t length = strnlen(from, kSize - 1);
  memcpy(to, from, length);
  to[length] = '\0';
}
