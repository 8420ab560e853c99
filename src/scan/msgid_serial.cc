#include "scan/msgid_serial.h"

#include <algorithm>
#include <cstdio>

#include "base/scan_number.h"
#include "platform/os.h"

namespace {

constexpr char kSerialName[] = "CVOUTBOUND.SEQ";
constexpr size_t kSerialTextSize = 1024;  // far more than a number and a line end, even if the file was edited by hand

// The file as it was found.
struct SerialFile {
  OsFile file;
  int64_t size = 0;
  char text[kSerialTextSize] = {};
  size_t text_size = 0;
  uint32_t last = 0;  // the last serial used
};

int ReadSerial(SerialFile* serial) {
  serial->size = OsSize(serial->file);
  if (serial->size < 0) return -1;
  const auto wanted = static_cast<size_t>(std::min<int64_t>(serial->size, sizeof serial->text - 1));
  const OsReadResult got = OsReadAt(serial->file, 0, serial->text, wanted);
  serial->text_size = got.bytes;
  if (got.bytes != wanted) return -1;
  const bool whole = serial->size == static_cast<int64_t>(serial->text_size);
  const char* const end = serial->text + serial->text_size;
  const char* at = serial->text;
  // If the file is longer than what was read, a number at the end of it may have more digits. A number beyond 32 bits
  // is damage: cut to 32 bits it would make the next serial 1, and serials would be used twice.
  switch (ScanUint32(&at, &serial->last)) {
    case kNumberFits: return whole || at != end ? 0 : -1;
    case kNumberTooLarge: return -1;
    case kNoNumber: break;
  }
  // An empty file is a new one. Anything else that is no number is damage, and starting over could repeat a serial.
  at = serial->text;
  SkipWhiteSpace(&at);
  return whole && at == end ? 0 : -1;
}

int WriteSerial(SerialFile* serial, uint32_t next) {
  char text[16];
  const int length = snprintf(text, sizeof text, "%u%s", next, kOsLineEnd);
  const auto size = static_cast<size_t>(length);
  if (OsWriteAt(serial->file, 0, text, size) != kOsOk) {
    (void)OsWriteAt(serial->file, 0, serial->text, serial->text_size);
    (void)OsSetSize(serial->file, serial->size);
    return -1;
  }
  if (serial->size <= length) return 0;
  // The new length must not reach the disk before the number: the old digits, cut, are a number used long ago.
  return OsSyncFile(serial->file) == 0 ? OsSetSize(serial->file, length) : -1;
}

}  // namespace

int NextSerial(const MessageBase& base, uint32_t* serial) {
  BasePath path;
  if (FormatSerialPath(base, &path) != 0) return -1;
  SerialFile file;
  OsResult opened = OsOpen(path, kOsUpdate, &file.file);
  if (opened == kOsMissing) opened = OsOpen(path, kOsCreateNew, &file.file);
  if (opened != kOsOk || ReadSerial(&file) != 0) return -1;
  const uint32_t next = file.last == UINT32_MAX ? 1 : file.last + 1;
  const int written = WriteSerial(&file, next);
  if (OsClose(&file.file) != 0 || written != 0) return -1;
  *serial = next;
  return 0;
}

int SyncSerial(const MessageBase& base) {
  const OsSyncItem file = {kSerialName};
  return OsSyncFiles({base.path, base.directory}, &file, 1);
}
