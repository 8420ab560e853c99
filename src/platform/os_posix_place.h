// Paths and open directories as POSIX system calls take them.
#pragma once

#include <sys/types.h>

#include <climits>
#include <cstring>
#include <optional>

#include "platform/os.h"

// A path for a system call: configured paths hold backslashes on both platforms, and each is replaced by a slash here.
// Of a path that is too long PATH_MAX characters are kept: the system refuses that many, so that the call fails and
// never uses a shorter path.
struct NativePath {
  char text[PATH_MAX + 1];

  explicit NativePath(const char* path) {
    const size_t length = strnlen(path, PATH_MAX);
    for (size_t i = 0; i < length; ++i) text[i] = path[i] == '\\' ? '/' : path[i];
    text[length] = '\0';
  }

  // Removes the last name, which leaves the path of its directory.
  void CutToDirectory();
};

// A directory's descriptor and a name in that directory, as openat and similar calls take them: the place's open
// directory and its path's last name, else AT_FDCWD and the whole path. Valid as long as the place is.
class PosixPlace {
 public:
  explicit PosixPlace(const OsPlace& place);

  int Directory() const { return directory_; }
  const char* Name() const { return native_ ? native_->text : name_; }

 private:
  int directory_;
  const char* name_ = nullptr;
  std::optional<NativePath> native_;
};

// openat, repeated when a signal interrupts it. It does not block on a pipe that is found instead of a file; it does
// wait for a file that another program holds under a lease.
int PosixOpenPatiently(const PosixPlace& place, int flags, mode_t mode);
