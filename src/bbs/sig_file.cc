#include "bbs/sig_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/fixed_text.h"
#include "base/scan_number.h"
#include "base/text_file.h"
#include "platform/os.h"

namespace {

// Some thousand lines: most conferences take one read.
constexpr size_t kBlockSize = 131072;

// Returns how many of the bytes, which begin with a piece, belong to whole pieces.
size_t WholePieces(const char* bytes, size_t size) {
  size_t lines = size;
  while (lines != 0 && bytes[lines - 1] != '\n') --lines;
  constexpr auto kPiece = static_cast<size_t>(kSigPieceSize);
  return lines + (size - lines) / kPiece * kPiece;
}

}  // namespace

int FormatSigPath(const MessageBase& base, int32_t conference, BasePath* path) {
  return FormatBasePath(base, conference, "SIG", path);
}

SigScan ScanSigFile(const OsPlace& place, const char* msgid, const char* reply) {
  SigScan scan;
  SigWanted own(msgid);
  SigWanted parent(reply);
  OsFile file;
  if (OsOpen(place, kOsRead, &file) != kOsOk) return scan;
  const int64_t file_size = OsSize(file);
  char bytes[kBlockSize];
  size_t held = 0;  // bytes of a piece whose end has not been read yet
  for (int64_t at = 0; at < file_size;) {
    const size_t room = sizeof bytes - held;
    const size_t wanted = file_size - at < static_cast<int64_t>(room) ? static_cast<size_t>(file_size - at) : room;
    const size_t got = OsReadAt(file, at, bytes + held, wanted).bytes;
    const size_t size = held + got;
    at += static_cast<int64_t>(got);
    const bool last = got < wanted || at == file_size;
    const size_t whole = last ? size : WholePieces(bytes, size);
    if (SearchSigBlock(bytes, bytes + whole, &own, &parent, &scan) || last) break;
    held = size - whole;
    memmove(bytes, bytes + whole, held);
  }
  return scan;
}

bool SigFindMsgid(const MessageBase& base, int32_t conference, int32_t number, char (&msgid)[kFoundMsgidSize]) {
  BasePath path;
  TextFile file;
  if (FormatSigPath(base, conference, &path) != 0 || OpenTextFile(path, kEndsWithFile, &file) != 0) {
    return false;
  }
  char line[512];
  while (ReadTextLine(&file, line, sizeof line)) {
    char* const tab = strchr(line, '\t');
    if (tab == nullptr || LeadingInt32(tab + 1) != number) continue;
    *tab = '\0';
    CopyCut(msgid, line);
    return true;
  }
  return false;
}

int SigAppend(const MessageBase& base, int32_t conference, const char* msgid, int32_t number) {
  BasePath path;
  OsFile file;
  if (FormatSigPath(base, conference, &path) != 0 || OsOpen(path, kOsAppend, &file) != kOsOk) return -1;
  int result = 0;
  if (msgid[0] != '\0') {
    char kept[kLongestMsgid + 1];
    CopyCut(kept, msgid);
    char line[kSigLineSize];
    // The line end is CR LF on every platform, so that a message base can move between them.
    const int length = snprintf(line, sizeof line, "%s\t%d\r\n", kept, number);
    result = OsWrite(file, line, static_cast<size_t>(length));
  }
  return OsClose(&file) == 0 ? result : -1;
}
