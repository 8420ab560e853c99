#include "bbs/sig_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "app/text_file.h"
#include "platform/fixed_text.h"
#include "platform/os.h"
#include "platform/scan_number.h"

namespace {

// A line longer than this is taken in pieces, each a line of its own.
constexpr ptrdiff_t kPieceSize = 255;

// One line, or one piece of a long line, as text: up to its first NUL and without the line end.
struct SigPiece {
  char text[kPieceSize + 1];
};

SigPiece CopyPiece(const char* from, size_t size) {
  SigPiece piece;
  memcpy(piece.text, from, size);
  piece.text[size] = '\0';
  size_t length = strlen(piece.text);
  while (length > 0 && (piece.text[length - 1] == '\r' || piece.text[length - 1] == '\n')) piece.text[--length] = '\0';
  return piece;
}

// The start of the line that holds `at`, or `from` when the line starts before it.
const char* LineStart(const char* from, const char* at) {
  while (at != from && at[-1] != '\n') --at;
  return at;
}

// Looks for lines of which `msgid` is the first field, from the front, and calls `accept` with each until it says yes.
//
// The file is searched for the bytes of the MSGID as a block; only where they stand is it looked at as lines, back to
// the last piece known to start there. So each byte is passed at most twice, however long the lines are.
template <class Accept>
bool FindLine(const ByteBuffer& sig, const char* msgid, const Accept& accept) {
  const auto* piece = reinterpret_cast<const char*>(sig.data);
  const char* const end = piece + sig.size;
  const std::boyer_moore_horspool_searcher searcher(msgid, msgid + strlen(msgid));
  for (const char* at = piece; at != end;) {
    const char* const hit = searcher(at, end).first;
    if (hit == end) return false;
    const char* const line = LineStart(piece, hit);
    piece = line + (hit - line) / kPieceSize * kPieceSize;
    if (hit == piece) {
      const size_t left = static_cast<size_t>(std::min(kPieceSize, end - piece));
      const auto* const line_end = static_cast<const char*>(memchr(piece, '\n', left));
      if (accept(CopyPiece(piece, line_end != nullptr ? static_cast<size_t>(line_end - piece) : left))) return true;
    }
    at = hit + 1;
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

}  // namespace

int FormatSigPath(const char* msg_dir, int32_t conference, Path* path) {
  return FormatPath(path->text, sizeof path->text, "%s/CVMSG%02d.SIG", msg_dir, conference);
}

int ReadSigFile(const char* path, ByteBuffer* sig) {
  sig->size = 0;
  OsFile file;
  if (OsOpen(path, kOsRead, &file) != kOsOk) return 0;
  const int64_t size = OsSize(file);
  if (size <= 0) return 0;
  if (static_cast<uint64_t>(size) > SIZE_MAX || ReserveBytes(sig, static_cast<size_t>(size)) != 0) return -1;
  sig->size = OsReadAt(file, 0, sig->data, static_cast<size_t>(size)).bytes;
  return 0;
}

bool SigContainsMsgid(const ByteBuffer& sig, const char* msgid) {
  return FindLine(sig, msgid, [msgid](SigPiece piece) {
    (void)CutAtTab(&piece);
    return strcmp(piece.text, msgid) == 0;
  });
}

bool SigFindMsgNumber(const ByteBuffer& sig, const char* msgid, int32_t* number) {
  return FindLine(sig, msgid, [msgid, number](SigPiece piece) {
    const char* const after_tab = CutAtTab(&piece);
    if (after_tab == nullptr || strcmp(piece.text, msgid) != 0) return false;
    *number = LeadingInt32(after_tab);
    return true;
  });
}

bool SigFindMsgid(const char* msg_dir, int32_t conference, int32_t number, char (&msgid)[kFoundMsgidSize]) {
  Path path;
  TextFile file;
  if (FormatSigPath(msg_dir, conference, &path) != 0 || OpenTextFile(path.text, &file) != 0) return false;
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
    char line[kSigLineSize];
    // The line end is CR LF on every platform, so that a message base can move between them.
    const int length = snprintf(line, sizeof line, "%s\t%d\r\n", msgid, number);
    result = OsWrite(file, line, static_cast<size_t>(length));
  }
  if (result == 0) result = OsFlush(file);
  return OsClose(&file) == 0 ? result : -1;
}
