// Text files of a line or a page, read through a buffer of the caller's: the configuration and the lock's owner line.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

struct TextFile {
  OsFile file;
  char piece[1024];
  size_t piece_size = 0;
  size_t next = 0;  // the next byte of the piece
  int64_t at = 0;   // where the next piece starts in the file
  bool ended = false;
};

// Opens the file for reading. Returns 0 or -1.
int OpenTextFile(const char* path, TextFile* file);

// Reads the next line with its line end into `size` bytes; a longer line comes in several pieces of size - 1 bytes.
// The DOS end-of-file mark (0x1A) and a read error end the text. Returns false when nothing is left.
bool ReadTextLine(TextFile* file, char* line, size_t size);
