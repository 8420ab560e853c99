#include "kit/packet_walk.h"

#include "ftn/zip.h"
#include "ftn/zip_reader.h"

namespace {

void TakeEntry(const ZipEntryView& entry, const std::function<void(const uint8_t*, size_t)>& take) {
  const ZipLocalHeader& header = entry.header;
  if ((header.flags & kZipFlagDataDescriptor) != 0 || header.uncompressed_size > kLargestZipEntry) return;
  if (header.method == kZipStored && header.compressed_size == header.uncompressed_size) {
    if (LooksLikePacket(entry.data, header.compressed_size)) take(entry.data, header.compressed_size);
  } else if (header.method == kZipDeflated) {
    ByteBuffer content;
    const bool inflated = InflateZipEntry(entry, &content).result == kInflated;
    if (inflated && LooksLikePacket(content.data, content.size)) take(content.data, content.size);
  }
}

}  // namespace

void EachPacket(const ByteBuffer& file, const std::function<void(const uint8_t* packet, size_t size)>& take) {
  if (LooksLikePacket(file.data, file.size)) {
    take(file.data, file.size);
  } else if (LooksLikeZip(file.data, file.size) && file.size >= kZipLocalHeaderSize) {
    ZipReader reader = {file.data, file.size};
    ZipEntryView entry;
    while (ReadZipEntry(&reader, &entry) == kZipEntry) TakeEntry(entry, take);
  }
}

void EachMessage(const uint8_t* packet, size_t size, const std::function<void(const PackedMessageView&)>& take) {
  PacketReader reader = {packet, size};
  PackedMessageView message;
  while (ReadPackedMessage(&reader, &message) == kPacketMessage) take(message);
}
