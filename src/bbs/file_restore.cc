#include "bbs/file_restore.h"

#include <limits>

namespace {

int CutBack(const OsPlace& place, int32_t size) {
  OsFile file;
  if (OsOpen(place, kOsUpdate, &file) != kOsOk) return -1;
  const int cut = OsSetSize(file, size);
  const int closed = OsClose(&file);
  return cut == 0 && closed == 0 ? 0 : -1;
}

int RemoveAgain(const OsPlace& file) {
  const OsResult removed = OsRemove(file);
  return removed == kOsOk || removed == kOsMissing ? 0 : -1;
}

}  // namespace

int InspectFileSize(const OsPlace& file, bool* existed, int32_t* size) {
  OsStatus status;
  const OsResult result = OsStat(file, &status);
  *existed = result == kOsOk;
  *size = 0;
  if (result == kOsMissing) return 0;
  if (result != kOsOk || status.size < 0 || status.size > std::numeric_limits<int32_t>::max()) return -1;
  *size = static_cast<int32_t>(status.size);
  return 0;
}

int RestoreFileSize(const OsPlace& file, bool existed, int32_t size) {
  if ((existed || size != 0 ? CutBack(file, size) : RemoveAgain(file)) != 0) return -1;
  bool exists = false;
  int32_t size_now = 0;
  if (InspectFileSize(file, &exists, &size_now) != 0 || exists != existed) return -1;
  return !existed || size_now == size ? 0 : -1;
}
