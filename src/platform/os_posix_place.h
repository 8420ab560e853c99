// Where a path leads, on POSIX systems.
#pragma once

#include <sys/types.h>

#include <climits>
#include <cstring>
#include <optional>

#include "platform/os.h"

// A path as this system reads it: configured paths hold backslashes on both platforms, and here each is turned into a
// slash just before the file system sees it. Of too long a path PATH_MAX characters are kept: the system refuses that
// many, so that it fails as too long and is not taken for a shorter one.
struct NativePath {
  char text[PATH_MAX + 1];

  explicit NativePath(const char* path) {
    const size_t length = strnlen(path, PATH_MAX);
    for (size_t i = 0; i < length; ++i) text[i] = path[i] == '\\' ? '/' : path[i];
    text[length] = '\0';
  }

  // Cuts the name off: what is left names its directory.
  void CutToDirectory();
};

// A directory's descriptor and a name in that directory, for openat and its kind: the place's open directory and its
// path's last name, else AT_FDCWD and the whole path. Valid as long as the place is.
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

// openat that calls again when a signal comes between. A pipe that stands where a file belongs does not hang it; a file
// that another program holds under a lease is worth the wait.
int PosixOpenPatiently(const PosixPlace& place, int flags, mode_t mode);
