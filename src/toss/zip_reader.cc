#include "toss/zip_reader.h"

#include <zlib.h>

#include <cstring>

#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/byte_buffer.h"
#include "ftn/zip.h"
#include "platform/os.h"
#include "toss/packet_toss.h"

namespace {

// One entry: its header, its name for the log and its data where they lie.
struct ZipEntry {
  ZipLocalHeader header;
  char name[260];
  const uint8_t* data;
};

// Takes the entry at `*at` apart and moves behind it. Returns 0, or -1 after logging how it is cut off.
int TakeEntry(const uint8_t* bundle, size_t size, size_t* at, ZipEntry* entry) {
  const ZipLocalHeader& header = entry->header = UnpackZipLocalHeader(bundle + *at);
  const size_t name_at = *at + kZipLocalHeaderSize;
  if (size - name_at < header.name_length || size - name_at - header.name_length < header.extra_length) {
    LogLine("  ERROR: truncated ZIP filename/extra field");
    return -1;
  }
  const size_t data_at = name_at + header.name_length + header.extra_length;
  if (size - data_at < header.compressed_size) {
    LogLine("  ERROR: ZIP entry claims more compressed data than the file contains");
    return -1;
  }
  const size_t kept = header.name_length < sizeof entry->name ? header.name_length : sizeof entry->name - 1;
  memcpy(entry->name, bundle + name_at, kept);
  entry->name[kept] = '\0';
  MakeShowable(entry->name);
  entry->data = bundle + data_at;
  *at = data_at + header.compressed_size;
  return 0;
}

voidpf AllocateForZlib(voidpf, uInt items, uInt size) {
  return size != 0 && items > SIZE_MAX / size ? nullptr : OsAllocate(size_t{items} * size);
}

void ReleaseForZlib(voidpf, voidpf block) { OsRelease(block); }

// Inflates the entry, whole, into exactly the bytes it declares. Returns 0, or -1 after logging why.
int InflateEntry(const ZipEntry& entry, ByteBuffer* content) {
  const uint32_t size = entry.header.uncompressed_size;
  if (ReserveBytes(content, size != 0 ? size : 1) != 0) {
    LogLine("  ERROR: out of memory inflating ZIP entry '%s'", entry.name);
    return -1;
  }
  z_stream stream = {};
  stream.zalloc = AllocateForZlib;
  stream.zfree = ReleaseForZlib;
  const int initialised = inflateInit2(&stream, -MAX_WBITS);  // raw deflate data, no zlib header
  if (initialised != Z_OK) {
    LogLine("  ERROR: inflateInit2 failed (code %d) for entry '%s'", initialised, entry.name);
    return -1;
  }
  stream.next_in = const_cast<Bytef*>(entry.data);
  stream.avail_in = entry.header.compressed_size;
  stream.next_out = content->data;
  stream.avail_out = size;
  const int code = inflate(&stream, Z_FINISH);
  const uLong produced = stream.total_out;
  (void)inflateEnd(&stream);
  if (code != Z_STREAM_END || produced != size) {
    LogLine("  ERROR: inflate failed/incomplete (code %d, produced %lu/%u) for entry '%s'", code, produced, size,
            entry.name);
    return -1;
  }
  content->size = size;
  return 0;
}

// Returns what became of the packet in the entry; an entry that cannot be read is retained.
TossResult TossEntry(const TossSite& site, const ZipEntry& entry) {
  const ZipLocalHeader& header = entry.header;
  if ((header.flags & kZipFlagDataDescriptor) != 0) {
    LogLine("  ERROR: streaming/data-descriptor ZIP entry '%s' is unsupported; retaining bundle", entry.name);
    return PacketRetain;
  }
  if (header.uncompressed_size > kLargestEntry) {
    LogLine("  ERROR: ZIP entry '%s' expands to %u bytes (limit %u); retaining bundle", entry.name,
            header.uncompressed_size, kLargestEntry);
    return PacketRetain;
  }
  if (header.method == kZipDeflated) {
    ByteBuffer content;
    if (InflateEntry(entry, &content) != 0) return PacketRetain;
    return TossPacket(site, content.data, content.size);
  }
  if (header.method == kZipStored) {
    if (header.compressed_size != header.uncompressed_size) {
      LogLine("  ERROR: stored ZIP entry '%s' has inconsistent sizes", entry.name);
      return PacketRetain;
    }
    return TossPacket(site, entry.data, header.compressed_size);
  }
  LogLine("  ERROR: unsupported ZIP compression method %u for entry '%s'", static_cast<unsigned int>(header.method),
          entry.name);
  return PacketRetain;
}

}  // namespace

TossResult TossZipBundle(const TossSite& site, const uint8_t* bundle, size_t size) {
  if (size < kZipLocalHeaderSize || !IsZipLocalHeader(bundle)) {
    LogLine("  no ZIP local file headers found -- not a ZIP bundle after all?");
    return NotAPacket;
  }
  bool any_handled = false;
  bool any_failed = false;
  size_t at = 0;
  while (size - at >= kZipLocalHeaderSize && IsZipLocalHeader(bundle + at)) {
    ZipEntry entry;
    if (TakeEntry(bundle, size, &at, &entry) != 0) {
      any_failed = true;
      break;
    }
    LogLine("  ZIP entry: %s (method=%u, %u -> %u bytes)", entry.name, static_cast<unsigned int>(entry.header.method),
            entry.header.compressed_size, entry.header.uncompressed_size);
    const TossResult result = TossEntry(site, entry);
    if (result == PacketStopped) return PacketStopped;
    (result == PacketDone || result == PacketCorrupt ? any_handled : any_failed) = true;
  }
  if (!any_handled) LogLine("  ERROR: ZIP contained no successfully handled FidoNet packet entries");
  if (any_handled && !any_failed) return PacketDone;
  LogLine("  retaining ZIP in inbound because at least one entry failed");
  return PacketRetain;
}
