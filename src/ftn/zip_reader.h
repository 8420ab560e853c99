// Walking the entries of a ZIP file that is held in memory, by its local headers from the front; the central directory
// is never read. Nothing is logged or changed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_buffer.h"
#include "ftn/zip.h"

// Whether the bytes begin with a local header's signature.
bool LooksLikeZip(const uint8_t* bytes, size_t size);

// One entry within the file.
struct ZipEntryView {
  size_t offset = 0;  // of its local header in the file
  ZipLocalHeader header;
  char name[260] = {};            // NUL-terminated, as in the file, cut to what fits
  const uint8_t* data = nullptr;  // header.compressed_size bytes
};

enum ZipStep {
  kZipEntry,
  kZipEnd,      // no local header follows
  kZipCutName,  // the file ends within the entry's name or extra field
  kZipCutData,  // the file ends within the entry's data
};

// A file being walked.
struct ZipReader {
  const uint8_t* bytes;
  size_t size;    // bytes
  size_t at = 0;  // where the next local header should be
};

// Reads the next entry and moves past it.
ZipStep ReadZipEntry(ZipReader* reader, ZipEntryView* entry);

constexpr uint32_t kLargestZipEntry = 67108864;  // bytes that one entry may expand to

// How an entry's content is obtained, or why it cannot be.
enum ZipContent {
  kZipInflate,       // it is deflated
  kZipAsItLies,      // it is stored
  kZipDescriptor,    // its sizes follow the data
  kZipTooLarge,      // it expands to more than kLargestZipEntry
  kZipUnequalSizes,  // it is stored, and its two sizes differ
  kZipUnknownMethod,
};

ZipContent JudgeZipEntry(const ZipLocalHeader& header);

enum InflateResult {
  kInflated,
  kInflateNoMemory,    // for the content
  kInflateNotStarted,  // zlib could not be initialised, for the reason `code`
  kInflateIncomplete,  // bad data, or another size than declared: `code` and `produced`
};

struct Inflation {
  InflateResult result = kInflated;
  int code = 0;                // zlib's
  unsigned long produced = 0;  // bytes
};

// Inflates a whole deflated entry, which must have exactly the size that its header declares. The content is empty on
// failure.
Inflation InflateZipEntry(const ZipEntryView& entry, ByteBuffer* content);
