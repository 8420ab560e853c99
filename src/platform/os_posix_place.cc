#include "platform/os_posix_place.h"

#include <fcntl.h>

#include <cerrno>

namespace {

const char* LastName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

}  // namespace

void NativePath::CutToDirectory() {
  char* const slash = strrchr(text, '/');
  if (slash == nullptr) {
    memcpy(text, ".", 2);
  } else {
    slash[slash == text ? 1 : 0] = '\0';
  }
}

PosixPlace::PosixPlace(const OsPlace& place) : directory_(AT_FDCWD) {
  if (place.directory == kOsNone) {
    native_.emplace(place.path);
    return;
  }
  directory_ = static_cast<int>(place.directory);
  name_ = LastName(place.path);
}

// O_NONBLOCK is for the pipe; a lease answers to it with EWOULDBLOCK.
int PosixOpenPatiently(const PosixPlace& place, int flags, mode_t mode) {
  int descriptor = -1;
  int nonblock = O_NONBLOCK;
  do {
    descriptor = openat(place.Directory(), place.Name(), flags | nonblock | O_CLOEXEC | O_NOCTTY, mode);
    if (descriptor < 0 && errno == EWOULDBLOCK && nonblock != 0) {
      nonblock = 0;
      errno = EINTR;
    }
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}
