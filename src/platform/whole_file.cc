#include "platform/whole_file.h"

#include "platform/os.h"

namespace {

int ReadFile(const char* path, ByteBuffer* content) {
  OsFile file;
  if (OsOpen(path, kOsRead, &file) != kOsOk) return -1;
  const int64_t length = OsSize(file);
  if (length < 0 || static_cast<uint64_t>(length) > SIZE_MAX) return -1;
  const auto size = static_cast<size_t>(length);
  if (ReserveBytes(content, size != 0 ? size : 1) != 0) return -1;
  if (OsReadAt(file, 0, content->data, size).bytes != size) return -1;
  content->size = size;
  return OsClose(&file);
}

}  // namespace

int ReadWholeFile(const char* path, ByteBuffer* content) {
  content->size = 0;
  if (ReadFile(path, content) == 0) return 0;
  content->size = 0;
  return -1;
}
