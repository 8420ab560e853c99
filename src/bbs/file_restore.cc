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

int InspectFile(const OsPlace& file, FileExtent* extent) {
  OsStatus status;
  const OsResult result = OsStat(file, &status);
  *extent = {result == kOsOk, 0};
  if (result == kOsMissing) return 0;
  if (result != kOsOk || status.size < 0 || status.size > std::numeric_limits<int32_t>::max()) return -1;
  extent->size = static_cast<int32_t>(status.size);
  return 0;
}

int RestoreFile(const OsPlace& file, const FileExtent& before) {
  if ((before.exists || before.size != 0 ? CutBack(file, before.size) : RemoveAgain(file)) != 0) return -1;
  FileExtent now;
  if (InspectFile(file, &now) != 0 || now.exists != before.exists) return -1;
  return !before.exists || now.size == before.size ? 0 : -1;
}
