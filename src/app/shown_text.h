// Texts from mail, made safe for the log and the console.
//
// A sender of mail must not be able to add lines to the log or to control the terminal that shows it: CR, LF, ESC,
// backspace and 0x1A, which ends a text for some readers, are shown as "?". All other bytes are shown unchanged, and
// what is stored is not affected.
#pragma once

#include <cstddef>

// Replaces each of the five bytes in a NUL-terminated text by "?".
void MakeShowable(char* text);

// A copy of a text to be shown, cut to what fits a line.
struct ShownText {
  char text[1024];

  explicit ShownText(const char* from);
  ShownText(const char* from, size_t size);  // of a text that is not NUL-terminated
};

// A copy of a path to be shown whose last name, after the last "/", came with mail; the directory is copied unchanged.
struct ShownPath {
  char text[1024];

  explicit ShownPath(const char* path);
};
