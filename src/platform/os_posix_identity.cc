#include "platform/os_posix_identity.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

OsIdentity IdentityOf(const struct stat& found) {
  OsIdentity identity;
  identity.volume = found.st_dev;
  identity.file = found.st_ino;
  identity.size = found.st_size;
  identity.modified = found.st_mtim.tv_sec * int64_t{1000000000} + found.st_mtim.tv_nsec;
  return identity;
}

}  // namespace

bool PosixFind(const PosixPlace& place, const OsIdentity* only, OsIdentity* entry) {
  struct stat found = {};
  if (fstatat(place.Directory(), place.Name(), &found, AT_SYMLINK_NOFOLLOW) != 0) return false;
  *entry = IdentityOf(found);
  if (only == nullptr) return true;
  if (S_ISLNK(found.st_mode) && fstatat(place.Directory(), place.Name(), &found, 0) != 0) return false;
  return IdentityOf(found) == *only;
}

bool PosixIsEntry(const PosixPlace& place, const OsIdentity& entry) {
  OsIdentity found;
  return PosixFind(place, nullptr, &found) && found == entry;
}

OsResult PosixIdentify(intptr_t handle, OsIdentity* identity) {
  struct stat found = {};
  if (fstat(static_cast<int>(handle), &found) != 0 || !S_ISREG(found.st_mode)) return kOsFailed;
  *identity = IdentityOf(found);
  return kOsOk;
}
