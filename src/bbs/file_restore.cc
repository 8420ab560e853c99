#include "bbs/file_restore.h"

#include <limits>

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

int InspectFileSize(const char* path, bool* existed, int32_t* size) {
  OsStatus status;
  const OsResult result = OsStat(path, &status);
  *existed = result == kOsOk;
  *size = 0;
  if (result == kOsMissing) return 0;
  if (result != kOsOk || status.size < 0 || status.size > std::numeric_limits<int32_t>::max()) return -1;
  *size = static_cast<int32_t>(status.size);
  return 0;
}

int RestoreFileSize(const char* path, bool existed, int32_t size) {
  if ((existed || size != 0 ? CutBack(path, size) : RemoveAgain(path)) != 0) return -1;
  bool exists = false;
  int32_t size_now = 0;
  if (InspectFileSize(path, &exists, &size_now) != 0 || exists != existed) return -1;
  return !existed || size_now == size ? 0 : -1;
}
