#include "bbs/message_body.h"

#include <algorithm>
#include <cstring>

#include "bbs/records.h"

namespace {

// Moves the text bytes of the records to the front of the buffer, without gaps. Returns how many there are.
size_t JoinRecords(uint8_t* bytes, size_t records) {
  size_t size = 0;
  for (size_t i = 0; i < records; ++i) {
    const uint8_t* const record = bytes + i * kDatRecordSize;
    const size_t length = std::min<size_t>(record[dat_layout::length.at], kDatTextSize);
    memmove(bytes + size, record + dat_layout::text.at, length);
    size += length;
  }
  return size;
}

}  // namespace

int ReadMessageBody(const OsPlace& dat, uint16_t where, uint16_t records, ByteBuffer* body) {
  body->size = 0;
  OsFile file;
  const size_t stored = size_t{records} * kDatRecordSize;
  if (OsOpen(dat, kOsRead, &file) != kOsOk || ReserveBytes(body, stored + 1) != 0) return -1;
  const int64_t at = int64_t{where} * static_cast<int64_t>(kDatRecordSize);
  if (OsReadAt(file, at, body->data, stored).bytes != stored || OsClose(&file) != 0) return -1;
  const size_t size = JoinRecords(body->data, records);
  std::transform(body->data, body->data + size, body->data,
                 [](uint8_t c) { return c == kLineEndByte ? uint8_t{'\r'} : c; });
  body->data[size] = '\0';
  body->size = size;
  return 0;
}
