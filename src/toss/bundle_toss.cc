#include "toss/bundle_toss.h"

#include "app/run_lock.h"
#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/byte_buffer.h"
#include "ftn/zip_reader.h"
#include "toss/packet_toss.h"

namespace {

// Inflates the entry. Returns 0, or -1 after logging why.
int Inflate(const ZipEntryView& entry, const char* name, ByteBuffer* content) {
  const Inflation inflation = InflateZipEntry(entry, content);
  switch (inflation.result) {
    case kInflated: return 0;
    case kInflateNoMemory: LogLine("  ERROR: out of memory inflating ZIP entry '%s'", name); break;
    case kInflateNotStarted:
      LogLine("  ERROR: inflateInit2 failed (code %d) for entry '%s'", inflation.code, name);
      break;
    case kInflateIncomplete:
      LogLine("  ERROR: inflate failed/incomplete (code %d, produced %lu/%u) for entry '%s'", inflation.code,
              inflation.produced, entry.header.uncompressed_size, name);
      break;
  }
  return -1;
}

// Tosses the packet in the entry. Returns its result; PacketRetain for an entry that cannot be read.
TossResult TossEntry(const TossSite& site, const ZipEntryView& entry, const char* name) {
  const ZipLocalHeader& header = entry.header;
  switch (JudgeZipEntry(header)) {
    case kZipInflate: {
      ByteBuffer content;
      return Inflate(entry, name, &content) == 0 ? TossPacket(site, content.data, content.size) : PacketRetain;
    }
    case kZipAsItLies: return TossPacket(site, entry.data, header.compressed_size);
    case kZipDescriptor:
      LogLine("  ERROR: streaming/data-descriptor ZIP entry '%s' is unsupported; retaining bundle", name);
      break;
    case kZipTooLarge:
      LogLine("  ERROR: ZIP entry '%s' expands to %u bytes (limit %u); retaining bundle", name,
              header.uncompressed_size, kLargestZipEntry);
      break;
    case kZipUnequalSizes: LogLine("  ERROR: stored ZIP entry '%s' has inconsistent sizes", name); break;
    case kZipUnknownMethod:
      LogLine("  ERROR: unsupported ZIP compression method %u for entry '%s'", static_cast<unsigned int>(header.method),
              name);
      break;
  }
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
  ZipReader reader = {bundle, size};
  ZipEntryView entry;
  ZipStep step = ReadZipEntry(&reader, &entry);
  for (; step == kZipEntry; step = ReadZipEntry(&reader, &entry)) {
    if (!KeepRunLock(site.lock)) return PacketStopped;
    const ShownText name(entry.name);
    LogLine("  ZIP entry: %s (method=%u, %u -> %u bytes)", name.text, static_cast<unsigned int>(entry.header.method),
            entry.header.compressed_size, entry.header.uncompressed_size);
    const TossResult result = TossEntry(site, entry, name.text);
    if (result == PacketStopped) return PacketStopped;
    (result == PacketDone || result == PacketCorrupt ? any_handled : any_failed) = true;
  }
  if (step == kZipCutName) LogLine("  ERROR: truncated ZIP filename/extra field");
  if (step == kZipCutData) LogLine("  ERROR: ZIP entry claims more compressed data than the file contains");
  if (step != kZipEnd) any_failed = true;
  if (!any_handled) LogLine("  ERROR: ZIP contained no successfully handled FidoNet packet entries");
  if (any_handled && !any_failed) return PacketDone;
  LogLine("  retaining ZIP in inbound because at least one entry failed");
  return PacketRetain;
}
