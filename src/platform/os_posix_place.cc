#include "platform/os_posix_place.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kNone = -1;

int held_directory = kNone;
char held_path[512];  // as it is spelt in the paths to come
size_t held_size = 0;

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// The name of a file directly in the held directory, or nullptr when the path leads elsewhere.
const char* NameInHeld(const char* path) {
  if (held_directory == kNone || strncmp(path, held_path, held_size) != 0 || !IsSeparator(path[held_size])) {
    return nullptr;
  }
  const char* const name = path + held_size + 1;
  return name[0] != '\0' && strpbrk(name, "/\\") == nullptr ? name : nullptr;
}

}  // namespace

PosixPlace::PosixPlace(const char* path) : directory_(held_directory), name_(NameInHeld(path)) {
  if (name_ != nullptr) return;
  directory_ = AT_FDCWD;
  native_.emplace(path);
}

void PosixHoldDirectory(const char* path) {
  if (held_directory != kNone) (void)close(held_directory);
  held_directory = kNone;
  const size_t size = strlen(path);
  if (size == 0 || size >= sizeof held_path) return;
  held_directory = open(NativePath(path).text, O_PATH | O_DIRECTORY | O_CLOEXEC);
  memcpy(held_path, path, size + 1);
  held_size = size;
}
