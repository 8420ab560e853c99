// File calls for the yardsticks: as few as possible, and any failure ends the program.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Large files are read in pieces of this size.
constexpr size_t kPieceSize = 256 * 1024;

constexpr size_t kPathSize = 1024;
constexpr size_t kPtrSize = 256;
constexpr size_t kDatSize = 128;
constexpr size_t kLogLineSize = 128;

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

// Reads a file whose size is not known; a missing file counts as empty.
inline void ReadIfThere(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) Die(path);
  ReadAllOf(descriptor, status.st_size);
}

// The files of a conference.
struct Base {
  char ptr[kPathSize];
  char dat[kPathSize];
  char idx[kPathSize];
  char sig[kPathSize];

  Base(const char* msg_dir, unsigned int conference) {
    Form(ptr, msg_dir, conference, "PTR");
    Form(dat, msg_dir, conference, "DAT");
    Form(idx, msg_dir, conference, "IDX");
    Form(sig, msg_dir, conference, "SIG");
  }

  static void Form(char (&path)[kPathSize], const char* msg_dir, unsigned int conference, const char* kind) {
    (void)snprintf(path, sizeof path, "%s/CVMSG%02u.%s", msg_dir, conference, kind);
  }
};

// The status of a conference's files, and its PTR file read whole.
inline void Preflight(const char* msg_dir, unsigned int conference) {
  const Base base(msg_dir, conference);
  const int64_t ptr = SizeOf(base.ptr);
  (void)SizeOf(base.dat);
  (void)SizeOf(base.idx);
  if (ptr > 0) ReadInPieces(base.ptr, ptr);
}
