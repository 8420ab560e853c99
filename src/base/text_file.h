// Reads text files line by line through a buffer that the caller owns: the configuration, the lock's owner line, the
// SIG file.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

// What ends a text besides the end of its file. DOS editors write the byte 0x1A after the text.
enum TextEnd { kEndsWithFile, kEndsAtDosMark };

struct TextFile {
  OsFile file;
  char piece[16384];
  size_t piece_size = 0;
  size_t next = 0;  // the next byte of the piece
  int64_t at = 0;   // where the next piece starts in the file
  bool ended = false;
  TextEnd end = kEndsWithFile;
};

// Opens the file for reading. Returns 0, or -1, also for what has no length, such as a pipe.
int OpenTextFile(const OsPlace& place, TextEnd end, TextFile* file);

// Reads the next line with its line end into `size` bytes; a longer line comes in several pieces of size - 1 bytes.
// A read error ends the text. Returns false when nothing is left.
bool ReadTextLine(TextFile* file, char* line, size_t size);
