#include "base/text_file.h"

namespace {

constexpr char kDosMark = 0x1A;

bool NextByte(TextFile* file, char* byte) {
  if (file->next == file->piece_size) {
    if (file->ended) return false;
    const OsReadResult got = OsReadAt(file->file, file->at, file->piece, sizeof file->piece);
    file->ended = got.bytes < sizeof file->piece;
    file->piece_size = got.bytes;
    file->next = 0;
    file->at += static_cast<int64_t>(got.bytes);
    if (got.bytes == 0) return false;
  }
  if (file->end == kEndsAtDosMark && file->piece[file->next] == kDosMark) {
    file->ended = true;
    file->next = file->piece_size;
    return false;
  }
  *byte = file->piece[file->next++];
  return true;
}

}  // namespace

int OpenTextFile(const OsPlace& place, TextEnd end, TextFile* file) {
  file->end = end;
  return OsOpen(place, kOsRead, &file->file) == kOsOk && OsSize(file->file) >= 0 ? 0 : -1;
}

bool ReadTextLine(TextFile* file, char* line, size_t size) {
  size_t length = 0;
  char byte = '\0';
  while (length < size - 1 && byte != '\n' && NextByte(file, &byte)) line[length++] = byte;
  line[length] = '\0';
  return length != 0;
}
