#include "app/shown_text.h"

#include <algorithm>
#include <cstring>

#include "base/fixed_text.h"

void MakeShowable(char* text) {
  for (; *text != '\0'; ++text) {
    switch (*text) {
      case '\b':
      case '\n':
      case '\r':
      case '\x1A':
      case '\x1B': *text = '?'; break;
      default: break;
    }
  }
}

ShownText::ShownText(const char* from) {
  CopyCut(text, from);
  MakeShowable(text);
}

ShownText::ShownText(const char* from, size_t size) {
  const size_t kept = std::min(size, sizeof text - 1);
  memcpy(text, from, kept);
  text[kept] = '\0';
  MakeShowable(text);
}

ShownPath::ShownPath(const char* path) {
  CopyCut(text, path);
  char* const slash = strrchr(text, '/');
  MakeShowable(slash != nullptr ? slash : text);
}
