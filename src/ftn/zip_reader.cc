#include "ftn/zip_reader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "platform/os.h"

namespace {

voidpf AllocateForZlib(voidpf, uInt items, uInt size) {
  return size != 0 && items > SIZE_MAX / size ? nullptr : OsAllocate(size_t{items} * size);
}

void ReleaseForZlib(voidpf, voidpf block) { OsRelease(block); }

}  // namespace

bool LooksLikeZip(const uint8_t* bytes, size_t size) {
  return size >= zip_local_layout::signature.width && IsZipLocalHeader(bytes);
}

ZipStep ReadZipEntry(ZipReader* reader, ZipEntryView* entry) {
  const size_t left = reader->size - reader->at;
  if (left < kZipLocalHeaderSize || !IsZipLocalHeader(reader->bytes + reader->at)) return kZipEnd;
  entry->offset = reader->at;
  const ZipLocalHeader& header = entry->header = UnpackZipLocalHeader(reader->bytes + reader->at);
  const size_t name_at = reader->at + kZipLocalHeaderSize;
  const size_t behind_head = reader->size - name_at;
  if (behind_head < header.name_length || behind_head - header.name_length < header.extra_length) return kZipCutName;
  const size_t data_at = name_at + header.name_length + header.extra_length;
  if (reader->size - data_at < header.compressed_size) return kZipCutData;
  const size_t kept = std::min<size_t>(header.name_length, sizeof entry->name - 1);
  memcpy(entry->name, reader->bytes + name_at, kept);
  entry->name[kept] = '\0';
  entry->data = reader->bytes + data_at;
  reader->at = data_at + header.compressed_size;
  return kZipEntry;
}

ZipContent JudgeZipEntry(const ZipLocalHeader& header) {
  if ((header.flags & kZipFlagDataDescriptor) != 0) return kZipDescriptor;
  if (header.uncompressed_size > kLargestZipEntry) return kZipTooLarge;
  if (header.method == kZipDeflated) return kZipInflate;
  if (header.method != kZipStored) return kZipUnknownMethod;
  return header.compressed_size == header.uncompressed_size ? kZipAsItLies : kZipUnequalSizes;
}

Inflation InflateZipEntry(const ZipEntryView& entry, ByteBuffer* content) {
  content->size = 0;
  const uint32_t size = entry.header.uncompressed_size;
  if (ReserveBytes(content, size != 0 ? size : 1) != 0) return {kInflateNoMemory};
  z_stream stream = {};
  stream.zalloc = AllocateForZlib;
  stream.zfree = ReleaseForZlib;
  const int initialised = inflateInit2(&stream, -MAX_WBITS);  // raw deflate data, no zlib header
  if (initialised != Z_OK) return {kInflateNotStarted, initialised};
  stream.next_in = const_cast<Bytef*>(entry.data);
  stream.avail_in = entry.header.compressed_size;
  stream.next_out = content->data;
  stream.avail_out = size;
  const int code = inflate(&stream, Z_FINISH);
  const uLong produced = stream.total_out;
  (void)inflateEnd(&stream);
  if (code != Z_STREAM_END || produced != size) return {kInflateIncomplete, code, produced};
  content->size = size;
  return {kInflated, code, produced};
}
