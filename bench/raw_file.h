// File calls for the yardsticks: as few as possible, and any failure ends the program.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The pieces that large files are read in.
constexpr size_t kPieceSize = 256 * 1024;

[[noreturn]] inline void Die(const char* what) {
  perror(what);
  exit(1);
}

// The size of the file, -1 when it is missing.
inline int64_t SizeOf(const char* path) {
  struct stat status = {};
  return stat(path, &status) == 0 ? status.st_size : -1;
}

// Reads `size` bytes of an open file in pieces, each into the same buffer, and closes it.
inline void ReadAllOf(int descriptor, int64_t size) {
  static uint8_t piece[kPieceSize];
  for (int64_t at = 0; at < size;) {
    const ssize_t got = pread(descriptor, piece, kPieceSize, at);
    if (got <= 0) Die("read");
    at += got;
  }
  if (close(descriptor) != 0) Die("close");
}

// Reads a file whose size is known, in large pieces.
inline void ReadInPieces(const char* path, int64_t size) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) Die(path);
  ReadAllOf(descriptor, size);
}

// Reads a file whose size has to be asked for; a missing file is an empty one.
inline void ReadIfThere(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) Die(path);
  ReadAllOf(descriptor, status.st_size);
}
