#include "platform/os_posix_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/os_posix_place.h"

namespace {

constexpr int kDirectoryFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

// A descriptor opened for its status only; -1 when it could not be opened.
struct Descriptor {
  int number;

  explicit Descriptor(int opened) : number(opened) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number >= 0) (void)close(number);
  }

  int Release() {
    const int released = number;
    number = -1;
    return released;
  }
};

bool IsTrusted(uid_t owner) { return owner == 0 || owner == geteuid(); }

// Whether only root and this process's user can create an entry in the directory.
bool IsKept(int directory) {
  struct stat status = {};
  return fstat(directory, &status) == 0 && IsTrusted(status.st_uid) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The entry itself is opened, a link not followed, and only the opened entry is examined after that: its name may be
// given to another file at any moment.
int OpenTrusted(const char* path) {
  const NativePath whole(path);
  NativePath parent(path);
  const char* const slash = strrchr(whole.text, '/');
  const char* const name = slash == nullptr ? whole.text : slash + 1;
  parent.CutToDirectory();
  const Descriptor directory(open(parent.text, kDirectoryFlags));
  if (directory.number < 0) return -1;
  Descriptor entry(openat(directory.number, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  if (entry.number < 0 || fstat(entry.number, &status) != 0) return -1;
  if (S_ISDIR(status.st_mode)) return entry.Release();
  errno = EACCES;
  if (!S_ISLNK(status.st_mode) || (!IsTrusted(status.st_uid) && !IsKept(directory.number))) return -1;
  char target[PATH_MAX + 1];
  const ssize_t size = readlinkat(entry.number, "", target, PATH_MAX);
  if (size < 0) return -1;
  target[size] = '\0';
  return openat(directory.number, target, kDirectoryFlags);
}

}  // namespace

OsResult PosixOpenDirectory(const char* path, OsTrust trust, intptr_t* handle) {
  const int descriptor = trust == kOsTrustPath ? open(NativePath(path).text, kDirectoryFlags) : OpenTrusted(path);
  if (descriptor < 0) return errno == ENOENT ? kOsMissing : kOsFailed;
  *handle = descriptor;
  return kOsOk;
}
