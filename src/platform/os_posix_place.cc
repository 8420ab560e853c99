#include "platform/os_posix_place.h"

#include <fcntl.h>

#include <cerrno>
#include <ctime>

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

// O_NONBLOCK is for the pipe. With it, a file under a lease fails with EWOULDBLOCK, and the lease's holder has 45
// seconds to give it up. A blocking open could then find a pipe under that name and wait for ever, so this one polls.
int PosixOpenPatiently(const PosixPlace& place, int flags, mode_t mode) {
  constexpr timespec kPause = {0, 20000000};  // 20 ms
  int tries_left = 3000;
  for (;;) {
    const int descriptor = openat(place.Directory(), place.Name(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, mode);
    if (descriptor >= 0 || (errno != EINTR && errno != EWOULDBLOCK) || --tries_left == 0) return descriptor;
    if (errno == EWOULDBLOCK) (void)nanosleep(&kPause, nullptr);
  }
}
