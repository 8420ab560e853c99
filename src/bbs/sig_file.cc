#include "bbs/sig_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/find_bytes.h"
#include "base/fixed_text.h"
#include "base/scan_number.h"
#include "base/text_file.h"
#include "bbs/base_path.h"
#include "platform/os.h"

namespace {

// A line longer than this is taken in pieces, each a line of its own.
constexpr ptrdiff_t kPieceSize = 255;

// Some thousand lines: most conferences take one read.
constexpr size_t kBlockSize = 131072;

// Bytes of the file that begin and end where pieces do.
struct SigBlock {
  const char* begin;
  const char* end;
};

// One line, or one piece of a long line, as text: up to its first NUL and without the line end.
struct SigPiece {
  char text[kPieceSize + 1];
};

SigPiece CopyPiece(const char* from, const char* end) {
  SigPiece piece;
  const auto size = static_cast<size_t>(end - from);
  memcpy(piece.text, from, size);
  piece.text[size] = '\0';
  TrimLineEnd(piece.text);
  return piece;
}

// Where the piece that begins at `piece` ends, its line end included.
const char* PieceEnd(const char* piece, const char* end) {
  const ptrdiff_t left = std::min(kPieceSize, end - piece);
  const void* const line_end = memchr(piece, '\n', static_cast<size_t>(left));
  return line_end != nullptr ? static_cast<const char*>(line_end) + 1 : piece + left;
}

// The start of the piece that holds `at`; `from`, not behind it, is the start of some piece.
const char* PieceStart(const char* from, const char* at) {
  const char* line = at;
  while (line != from && line[-1] != '\n') --line;
  return line + (at - line) / kPieceSize * kPieceSize;
}

// Looks for pieces of which `msgid` is the first field, from the front, and calls `accept` with each until it says yes.
//
// The block is searched for the bytes of the MSGID; only where they stand is it looked at as lines, and then passed to
// the end of that piece. So no byte is looked at more than a few times, however long the lines are.
template <class Accept>
bool FindPiece(const SigBlock& block, const char* msgid, const Accept& accept) {
  const size_t size = strlen(msgid);
  for (const char* at = block.begin; at != block.end;) {
    const char* const hit = FindBytes(at, block.end, msgid, size);
    if (hit == block.end) return false;
    const char* const piece = PieceStart(at, hit);
    at = PieceEnd(piece, block.end);
    if (hit == piece && accept(CopyPiece(piece, at))) return true;
  }
  return false;
}

// Cuts the line at its first tab. Returns what follows the tab, or nullptr when there is none.
char* CutAtTab(SigPiece* piece) {
  char* const tab = strchr(piece->text, '\t');
  if (tab == nullptr) return nullptr;
  *tab = '\0';
  return tab + 1;
}

bool SigContainsMsgid(const SigBlock& block, const char* msgid) {
  return FindPiece(block, msgid, [msgid](SigPiece piece) {
    (void)CutAtTab(&piece);
    return strcmp(piece.text, msgid) == 0;
  });
}

bool SigFindMsgNumber(const SigBlock& block, const char* msgid, int32_t* number) {
  return FindPiece(block, msgid, [msgid, number](SigPiece piece) {
    const char* const after_tab = CutAtTab(&piece);
    if (after_tab == nullptr || strcmp(piece.text, msgid) != 0) return false;
    *number = LeadingInt32(after_tab);
    return true;
  });
}

// How many of the bytes, which begin with a piece, are whole pieces.
size_t WholePieces(const char* bytes, size_t size) {
  size_t lines = size;
  while (lines != 0 && bytes[lines - 1] != '\n') --lines;
  constexpr auto kPiece = static_cast<size_t>(kPieceSize);
  return lines + (size - lines) / kPiece * kPiece;
}

// Returns true when there is nothing left to look for.
bool SearchBlock(const SigBlock& block, const char* msgid, const char* reply, SigScan* scan) {
  if (msgid[0] != '\0') scan->has_msgid = SigContainsMsgid(block, msgid);
  if (reply[0] != '\0' && !scan->has_msgid && !scan->has_parent) {
    scan->has_parent = SigFindMsgNumber(block, reply, &scan->parent);
  }
  return scan->has_msgid || (msgid[0] == '\0' && (reply[0] == '\0' || scan->has_parent));
}

}  // namespace

int FormatSigPath(const char* msg_dir, int32_t conference, Path* path) {
  return FormatBasePath(msg_dir, conference, "SIG", path);
}

SigScan ScanSigFile(const char* path, const char* msgid, const char* reply) {
  SigScan scan;
  OsFile file;
  if (OsOpen(path, kOsRead, &file) != kOsOk) return scan;
  const int64_t file_size = OsSize(file);
  char bytes[kBlockSize];
  size_t held = 0;  // the beginning of a piece whose end is still to be read
  for (int64_t at = 0; at < file_size;) {
    const size_t room = sizeof bytes - held;
    const size_t wanted = file_size - at < static_cast<int64_t>(room) ? static_cast<size_t>(file_size - at) : room;
    const size_t got = OsReadAt(file, at, bytes + held, wanted).bytes;
    const size_t size = held + got;
    at += static_cast<int64_t>(got);
    const bool last = got < wanted || at == file_size;
    const size_t whole = last ? size : WholePieces(bytes, size);
    if (SearchBlock({bytes, bytes + whole}, msgid, reply, &scan) || last) break;
    held = size - whole;
    memmove(bytes, bytes + whole, held);
  }
  return scan;
}

bool SigFindMsgid(const char* msg_dir, int32_t conference, int32_t number, char (&msgid)[kFoundMsgidSize]) {
  Path path;
  TextFile file;
  if (FormatSigPath(msg_dir, conference, &path) != 0 || OpenTextFile(path.text, kEndsWithFile, &file) != 0) {
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

int SigAppend(const char* msg_dir, int32_t conference, const char* msgid, int32_t number) {
  Path path;
  OsFile file;
  if (FormatSigPath(msg_dir, conference, &path) != 0 || OsOpen(path.text, kOsAppend, &file) != kOsOk) return -1;
  int result = 0;
  if (msgid[0] != '\0') {
    char kept[kLongestMsgid + 1];
    CopyCut(kept, msgid);
    char line[kSigLineSize];
    // The line end is CR LF on every platform, so that a message base can move between them.
    const int length = snprintf(line, sizeof line, "%s\t%d\r\n", kept, number);
    result = OsWrite(file, line, static_cast<size_t>(length));
  }
  if (result == 0) result = OsFlush(file);
  return OsClose(&file) == 0 ? result : -1;
}
