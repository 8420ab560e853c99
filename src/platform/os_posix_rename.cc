#include "platform/os_posix_rename.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/os_posix_place.h"
#include "platform/os_posix_sync.h"

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

OsResult PosixRenameWithoutReplacing(const OsPlace& from, const OsPlace& to) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  if (renameat2(source.Directory(), source.Name(), target.Directory(), target.Name(), RENAME_NOREPLACE) == 0)
    return kOsOk;
  if (errno == EXDEV) return PosixMoveByCopy(from, to);
  if (errno != EINVAL && errno != ENOSYS && errno != EPERM) return ResultOf(errno);
  return PosixMoveByLink(from, to);
}

OsResult PosixMoveByLink(const OsPlace& from, const OsPlace& to) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  if (linkat(source.Directory(), source.Name(), target.Directory(), target.Name(), 0) != 0) {
    const bool cannot_link =
        errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK || errno == EXDEV;
    return cannot_link ? PosixMoveByLooking(from, to) : ResultOf(errno);
  }
  if (unlinkat(source.Directory(), source.Name(), 0) == 0) return kOsOk;
  (void)unlinkat(target.Directory(), target.Name(), 0);
  return kOsFailed;
}

// A file must never be seen half under its new name, so it is not copied; between the look and the rename only the
// caller's own exclusion keeps others away.
OsResult PosixMoveByLooking(const OsPlace& from, const OsPlace& to) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  struct stat standing = {};
  if (fstatat(target.Directory(), target.Name(), &standing, AT_SYMLINK_NOFOLLOW) == 0) return kOsExists;
  if (errno != ENOENT) return kOsFailed;
  if (renameat(source.Directory(), source.Name(), target.Directory(), target.Name()) == 0) return kOsOk;
  return errno == EXDEV ? PosixMoveByCopy(from, to) : kOsFailed;
}

// The copy and its name are on the disk before the source goes: there is no other guard. Nobody may read it who could
// not before.
OsResult PosixMoveByCopy(const OsPlace& from, const OsPlace& to) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  const int reader = openat(source.Directory(), source.Name(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (reader < 0) return kOsFailed;
  struct stat status = {};
  status.st_mode = S_IRUSR | S_IWUSR;
  (void)fstat(reader, &status);
  const int writer =
      openat(target.Directory(), target.Name(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777);
  if (writer < 0) {
    const OsResult result = ResultOf(errno);
    (void)close(reader);
    return result;
  }
  bool whole = CopyBytes(reader, writer) == 0 && fsync(writer) == 0;
  whole = close(writer) == 0 && whole;
  (void)close(reader);
  whole = whole && PosixSyncDirectoryOf(to) == 0;
  if (whole && unlinkat(source.Directory(), source.Name(), 0) == 0) return kOsOk;
  (void)unlinkat(target.Directory(), target.Name(), 0);
  return kOsFailed;
}
