#include "app/site_paths.h"

#include <charconv>
#include <cstring>
#include <iterator>

namespace {

constexpr size_t kInboundPathSize = 600;  // of every path directly in INBOUND or in badmsgs

// A path being built. Not by printf, which would be slow: every message needs eight paths.
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

// The file `name` in MSGDIR.
int FormatBaseFile(const MessageBase& base, const char* name, BasePath* path) {
  PathText text{path};
  Add(base.path, &text);
  Add("/", &text);
  Add(name, &text);
  return Finish(text, base);
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

int FormatSerialPath(const MessageBase& base, BasePath* path) { return FormatBaseFile(base, "CVOUTBOUND.SEQ", path); }

int FormatOutPacketPath(const MessageBase& base, BasePath* path) {
  return FormatBaseFile(base, "CVOUTBOUND.PKT", path);
}

int FormatBadAreasPath(const MessageBase& base, BasePath* path) { return FormatBaseFile(base, "BADAREAS.LST", path); }

int FormatLockPath(const char* msg_dir, Path* path) {
  return FormatPath(path->text, sizeof path->text, "%s/CVTOSS.BSY", msg_dir);
}

int FormatConferencesPath(const char* conf_dir, Path* path) {
  return FormatPath(path->text, sizeof path->text, "%s/CVMCONF.DAT", conf_dir);
}

int FormatNodesPath(const char* work_dir, Path* path) {
  return FormatPath(path->text, sizeof path->text, "%s/CVWHOSON.DAT", work_dir);
}

int FormatInboundPath(const char* inbound, const char* name, LongPath* path) {
  return FormatPath(path->text, kInboundPathSize, "%s/%s", inbound, name);
}

void FormatProcessedDirectory(const TosserConfig& config, Path* path) {
  const bool given = config.ProcessedDir[0] != '\0';
  (void)FormatPath(path->text, sizeof path->text, given ? "%s" : "%s/processed",
                   given ? config.ProcessedDir : config.Inbound);
}

int FormatProcessedPath(const char* directory, const char* name, LongPath* path) {
  return FormatPath(path->text, sizeof path->text, "%s/%s", directory, name);
}

void FormatBadDirectory(const TosserConfig& config, Path* path) {
  (void)FormatPath(path->text, sizeof path->text, "%s/badmsgs", config.Inbound);
}

int FormatBadPacketPath(const char* directory, const char* name, LongPath* path) {
  return FormatPath(path->text, kInboundPathSize, "%s/%s", directory, name);
}

void FormatBundlePath(const char* out_dir, const char* name, LongPath* path) {
  (void)FormatPath(path->text, sizeof path->text, "%s/%s", out_dir, name);
}

void FormatTemporaryBundlePath(const LongPath& bundle, LongPath* path) {
  (void)FormatPath(path->text, sizeof path->text, "%s.tmp", bundle.text);
}

void FormatLogPath(const char* program_directory, LongPath* path) {
  (void)FormatPath(path->text, sizeof path->text, "%s/TOSSER.LOG", program_directory);
}
