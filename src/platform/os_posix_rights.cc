#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/os_posix_place.h"
#include "platform/os_rights.h"

bool OsMayWrite(const char* path) {
  const NativePath native(path);
  struct stat found = {};
  if (stat(native.text, &found) != 0) return errno != EACCES;
  const bool directory = S_ISDIR(found.st_mode);
  if (faccessat(AT_FDCWD, native.text, directory ? W_OK | X_OK : W_OK, AT_EACCESS) != 0) return false;
  // In a directory with the sticky bit that is another's, only one's own files can be removed.
  const uid_t user = geteuid();
  return !directory || (found.st_mode & S_ISVTX) == 0 || user == 0 || user == found.st_uid;
}

OsSameness OsSameVolume(const char* left, const char* right) {
  struct stat one = {};
  struct stat other = {};
  if (stat(NativePath(left).text, &one) != 0 || stat(NativePath(right).text, &other) != 0) return kOsNotTold;
  return one.st_dev == other.st_dev ? kOsSame : kOsDifferent;
}
