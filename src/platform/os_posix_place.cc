#include "platform/os_posix_place.h"

#include <fcntl.h>

namespace {

const char* LastName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/' || *at == '\\') name = at + 1;
  }
  return name;
}

}  // namespace

PosixPlace::PosixPlace(const OsPlace& place) : directory_(AT_FDCWD) {
  if (place.directory == kOsNone) {
    native_.emplace(place.path);
    return;
  }
  directory_ = static_cast<int>(place.directory);
  name_ = LastName(place.path);
}
