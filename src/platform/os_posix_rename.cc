#include "platform/os_posix_rename.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/os_posix_call.h"
#include "platform/os_posix_identity.h"
#include "platform/os_posix_place.h"
#include "platform/os_posix_sync.h"

namespace {

OsResult ResultOfMove(int error) { return error == EEXIST ? kOsExists : kOsFailed; }

int RenameWithoutReplacing(const PosixPlace& from, const PosixPlace& to) {
  return renameat2(from.Directory(), from.Name(), to.Directory(), to.Name(), RENAME_NOREPLACE);
}

int Rename(const PosixPlace& from, const PosixPlace& to) {
  return renameat(from.Directory(), from.Name(), to.Directory(), to.Name());
}

int RenameAfterALook(const PosixPlace& from, const PosixPlace& to) {
  OsIdentity standing;
  return PosixFind(to, nullptr, &standing) ? -1 : Rename(from, to);
}

// After a rename: whether the file at `to` is the one that was to be moved. Any other is moved back.
OsResult Arrived(const PosixPlace& source, const PosixPlace& target, const OsIdentity* only, const OsIdentity& entry,
                 int (*rename_back)(const PosixPlace& from, const PosixPlace& to)) {
  if (only == nullptr || PosixIsEntry(target, entry)) return kOsOk;
  (void)rename_back(target, source);
  return kOsFailed;
}

// Copies exactly that many bytes, for the file may be growing.
int CopyBytes(int source, int target, int64_t left) {
  char piece[65536];
  while (left > 0) {
    const size_t wanted = static_cast<size_t>(std::min<int64_t>(left, sizeof piece));
    const ssize_t got = Uninterrupted([&] { return read(source, piece, wanted); });
    if (got <= 0) return -1;
    for (ssize_t done = 0; done < got;) {
      const ssize_t put = Uninterrupted([&] { return write(target, piece + done, static_cast<size_t>(got - done)); });
      if (put <= 0) return -1;
      done += put;
    }
    left -= got;
  }
  return 0;
}

// The copy is readable by no user who could not read the source.
OsResult CopyWithoutReplacing(int reader, const PosixPlace& target, const OsIdentity* only) {
  struct stat status = {};
  OsIdentity before;
  if (PosixIdentify(reader, &before) != kOsOk || fstat(reader, &status) != 0) return kOsFailed;
  if (only != nullptr && before != *only) return kOsFailed;
  const int writer =
      openat(target.Directory(), target.Name(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & 0777);
  if (writer < 0) return ResultOfMove(errno);
  OsIdentity after;
  bool whole = CopyBytes(reader, writer, before.size) == 0 && fsync(writer) == 0;
  whole = PosixIdentify(reader, &after) == kOsOk && after == before && whole;
  whole = close(writer) == 0 && whole;
  if (whole) return kOsOk;
  (void)unlinkat(target.Directory(), target.Name(), 0);
  return kOsFailed;
}

}  // namespace

OsResult PosixRenameWithoutReplacing(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  OsIdentity entry;
  if (only != nullptr && !PosixFind(source, only, &entry)) return kOsFailed;
  if (RenameWithoutReplacing(source, target) == 0) {
    return Arrived(source, target, only, entry, RenameWithoutReplacing);
  }
  if (errno == EXDEV) return PosixMoveByCopy(from, to, only);
  if (errno != EINVAL && errno != ENOSYS && errno != EPERM) return ResultOfMove(errno);
  return PosixMoveByLink(from, to, only);
}

OsResult PosixMoveByLink(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  OsIdentity entry;
  if (only != nullptr && !PosixFind(source, only, &entry)) return kOsFailed;
  if (linkat(source.Directory(), source.Name(), target.Directory(), target.Name(), 0) != 0) {
    const bool cannot_link =
        errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK || errno == EXDEV;
    return cannot_link ? PosixMoveByLooking(from, to, only) : ResultOfMove(errno);
  }
  const bool is_it = only == nullptr || (PosixIsEntry(target, entry) && PosixIsEntry(source, entry));
  if (is_it && unlinkat(source.Directory(), source.Name(), 0) == 0) return kOsOk;
  (void)unlinkat(target.Directory(), target.Name(), 0);
  return kOsFailed;
}

// The file is not copied, so that it is never visible half written under its new name. Between the check and the rename
// only the run lock keeps others from taking the name.
OsResult PosixMoveByLooking(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  OsIdentity standing;
  OsIdentity entry;
  if (PosixFind(target, nullptr, &standing)) return kOsExists;
  if (errno != ENOENT || !PosixFind(source, only, &entry)) return kOsFailed;
  if (Rename(source, target) == 0) return Arrived(source, target, only, entry, RenameAfterALook);
  return errno == EXDEV ? PosixMoveByCopy(from, to, only) : kOsFailed;
}

// The source is removed only when the copy and its name are on the disk: nothing else keeps the mail from being lost.
OsResult PosixMoveByCopy(const OsPlace& from, const OsPlace& to, const OsIdentity* only) {
  const PosixPlace source(from);
  const PosixPlace target(to);
  OsIdentity entry;
  const int reader = openat(source.Directory(), source.Name(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (reader < 0) return kOsFailed;
  const OsResult copied = CopyWithoutReplacing(reader, target, only);
  (void)close(reader);
  if (copied != kOsOk) return copied;
  const bool may_go = PosixSyncDirectoryOf(to) == 0 && PosixFind(source, only, &entry);
  if (may_go && unlinkat(source.Directory(), source.Name(), 0) == 0) return kOsOk;
  (void)unlinkat(target.Directory(), target.Name(), 0);
  return kOsFailed;
}
