#include "bbs/base_path.h"

#include <charconv>
#include <cstring>
#include <iterator>

namespace {

// A path being put together: every message takes eight, too many for printf.
struct PathText {
  Path* path;
  size_t length = 0;
  bool fits = true;
};

void Add(const char* text, size_t size, PathText* to) {
  to->fits = to->fits && size < sizeof to->path->text - to->length;
  if (!to->fits) return;
  memcpy(to->path->text + to->length, text, size);
  to->length += size;
}

void Add(const char* text, PathText* to) { Add(text, strlen(text), to); }

}  // namespace

int FormatBasePath(const char* msg_dir, int32_t conference, const char* kind, Path* path) {
  char number[16];
  const char* const number_end = std::to_chars(number, std::end(number), conference).ptr;
  PathText text{path};
  Add(msg_dir, &text);
  Add("/CVMSG", &text);
  if (number_end - number < 2) Add("0", &text);
  Add(number, static_cast<size_t>(number_end - number), &text);
  Add(".", &text);
  Add(kind, &text);
  path->text[text.fits ? text.length : 0] = '\0';
  return text.fits ? 0 : -1;
}
