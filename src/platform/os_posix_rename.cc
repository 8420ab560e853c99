#include "platform/os_posix_rename.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

OsResult ResultOf(int error) { return error == EEXIST ? kOsExists : kOsFailed; }

int CopyBytes(int source, int target) {
  char piece[65536];
  for (;;) {
    const ssize_t got = read(source, piece, sizeof piece);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0 ? 0 : -1;
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = write(target, piece + done, static_cast<size_t>(got - done));
      if (put < 0 && errno == EINTR) continue;
      if (put <= 0) return -1;
      done += put;
    }
  }
}

}  // namespace

OsResult PosixRenameWithoutReplacing(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return kOsOk;
  if (errno == EXDEV) return PosixMoveByCopy(from, to);
  if (errno != EINVAL && errno != ENOSYS && errno != EPERM) return ResultOf(errno);
  return PosixMoveByLink(from, to);
}

OsResult PosixMoveByLink(const char* from, const char* to) {
  if (link(from, to) != 0) {
    const bool cannot_link =
        errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK || errno == EXDEV;
    return cannot_link ? PosixMoveByLooking(from, to) : ResultOf(errno);
  }
  if (unlink(from) == 0) return kOsOk;
  (void)unlink(to);
  return kOsFailed;
}

// A file must never be seen half under its new name, so it is not copied; between the look and the rename only the
// caller's own exclusion keeps others away.
OsResult PosixMoveByLooking(const char* from, const char* to) {
  struct stat standing = {};
  if (lstat(to, &standing) == 0) return kOsExists;
  if (errno != ENOENT) return kOsFailed;
  if (rename(from, to) == 0) return kOsOk;
  return errno == EXDEV ? PosixMoveByCopy(from, to) : kOsFailed;
}

// The copy is on the disk before the source goes: there is no other guard. Nobody may read it who could not before.
OsResult PosixMoveByCopy(const char* from, const char* to) {
  const int source = open(from, O_RDONLY | O_CLOEXEC);
  if (source < 0) return kOsFailed;
  struct stat status = {};
  status.st_mode = S_IRUSR | S_IWUSR;
  (void)fstat(source, &status);
  const int target = open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777);
  if (target < 0) {
    const OsResult result = ResultOf(errno);
    (void)close(source);
    return result;
  }
  bool whole = CopyBytes(source, target) == 0 && fsync(target) == 0;
  whole = close(target) == 0 && whole;
  (void)close(source);
  if (whole && unlink(from) == 0) return kOsOk;
  (void)unlink(to);
  return kOsFailed;
}
