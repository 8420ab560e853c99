// Texts that came with mail, as the lines of a run show them.
//
// Whoever sends mail must neither write lines of his own into the log nor steer the terminal that shows it: CR, LF,
// ESC, backspace and 0x1A, which ends a text for some readers, are shown as "?". All other bytes stay as they are, and
// everything that is stored does.
#pragma once

#include <cstddef>

// Replaces the five bytes in a NUL-terminated text, one for one.
void MakeShowable(char* text);

// A copy of a text to be shown, cut to what a line has room for.
struct ShownText {
  char text[1024];

  explicit ShownText(const char* from);
  ShownText(const char* from, size_t size);  // of a text that is not NUL-terminated
};

// A copy of a path to be shown whose last name, behind the last "/", came with mail; the directory stays as it is.
struct ShownPath {
  char text[1024];

  explicit ShownPath(const char* path);
};
