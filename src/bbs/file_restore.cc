#include "bbs/file_restore.h"

#include "platform/os.h"

namespace {

int CutBack(const char* path, int32_t size) {
  OsFile file;
  if (OsOpen(path, kOsUpdate, &file) != kOsOk) return -1;
  const int cut = OsSetSize(file, size);
  const int closed = OsClose(&file);
  return cut == 0 && closed == 0 ? 0 : -1;
}

int RemoveAgain(const char* path) {
  const OsResult removed = OsRemove(path);
  return removed == kOsOk || removed == kOsMissing ? 0 : -1;
}

}  // namespace

int RestoreFileSize(const char* path, bool existed, int32_t size) {
  if ((existed || size != 0 ? CutBack(path, size) : RemoveAgain(path)) != 0) return -1;
  OsStatus status;
  const OsResult now = OsStat(path, &status);
  if (existed) return now == kOsOk && status.size == size ? 0 : -1;
  return now == kOsMissing ? 0 : -1;
}
