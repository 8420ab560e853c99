// Where the files of the message base are.
#pragma once

#include <cstdint>

#include "base/path.h"
#include "platform/os.h"

// MSGDIR: its path, and the directory itself while a run keeps it open. Cheap to copy; valid as long as both are.
struct MessageBase {
  const char* path;
  intptr_t directory = kOsNone;

  MessageBase(const char* msg_dir) : path(msg_dir) {}  // NOLINT: a path alone will do
  MessageBase(const char* msg_dir, const OsDirectory& open) : path(msg_dir), directory(open.handle) {}
};

// A file directly in MSGDIR.
struct BasePath : Path {
  intptr_t directory = kOsNone;

  operator OsPlace() const { return {text, directory}; }  // NOLINT: it is a place
};

// Forms "%s/CVMSG%02d.PTR", "%s/CVMSG%02d.IDX", "%s/CVMSG%02d.DAT" or "%s/CVMSG%02d.SIG" from MSGDIR and the number of
// the conference; `kind` is the extension. Returns 0, or -1 when the path is too long (it is then empty).
int FormatBasePath(const MessageBase& base, int32_t conference, const char* kind, BasePath* path);

// Forms the path of the file `name` in MSGDIR. Returns 0, or -1 when it is too long (it is then empty).
int FormatBaseFile(const MessageBase& base, const char* name, BasePath* path);
