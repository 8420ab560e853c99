#include "base/whole_file.h"

namespace {

int ReadFile(const OsPlace& place, int64_t limit, ByteBuffer* content, OsIdentity* identity) {
  OsFile file;
  if (OsOpen(place, kOsRead, &file) != kOsOk) return -1;
  if (identity != nullptr && OsIdentify(file, identity) != kOsOk) return -1;
  const int64_t length = OsSize(file);
  if (length < 0 || length > limit || static_cast<uint64_t>(length) > SIZE_MAX) return -1;
  const auto size = static_cast<size_t>(length);
  if (size > content->capacity) FreeBytes(content);  // so that growing it copies nothing
  if (ReserveBytes(content, size != 0 ? size : 1) != 0) return -1;
  if (OsReadAt(file, 0, content->data, size).bytes != size) return -1;
  content->size = size;
  return OsClose(&file);
}

int WriteParts(const OsFile& file, std::initializer_list<FilePart> parts, DiskWait wait) {
  for (const FilePart& part : parts) {
    if (OsWrite(file, part.bytes, part.size) != 0) return -1;
  }
  return wait == kWaitForDisk ? OsSyncFile(file) : 0;
}

}  // namespace

int ReadWholeFile(const OsPlace& place, ByteBuffer* content, int64_t limit, OsIdentity* identity) {
  content->size = 0;
  if (ReadFile(place, limit, content, identity) == 0) return 0;
  content->size = 0;
  return -1;
}

int WriteWholeFile(const OsPlace& place, std::initializer_list<FilePart> parts, DiskWait wait) {
  OsFile file;
  int result = OsOpen(place, kOsCreate, &file) == kOsOk ? WriteParts(file, parts, wait) : -1;
  if (OsClose(&file) != 0) result = -1;
  if (result != 0) (void)OsRemove(place);
  return result;
}
