#include "bbs/message_base.h"

#include <charconv>
#include <cstring>
#include <iterator>

namespace {

// A path being put together: every message takes eight, too many for printf.
struct PathText {
  BasePath* path;
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

int Finish(const PathText& text, const MessageBase& base) {
  text.path->text[text.fits ? text.length : 0] = '\0';
  text.path->directory = base.directory;
  return text.fits ? 0 : -1;
}

}  // namespace

int FormatBasePath(const MessageBase& base, int32_t conference, const char* kind, BasePath* path) {
  char number[16];
  const char* const number_end = std::to_chars(number, std::end(number), conference).ptr;
  PathText text{path};
  Add(base.path, &text);
  Add("/CVMSG", &text);
  if (number_end - number < 2) Add("0", &text);
  Add(number, static_cast<size_t>(number_end - number), &text);
  Add(".", &text);
  Add(kind, &text);
  return Finish(text, base);
}

int FormatBaseFile(const MessageBase& base, const char* name, BasePath* path) {
  PathText text{path};
  Add(base.path, &text);
  Add("/", &text);
  Add(name, &text);
  return Finish(text, base);
}
