// The records of a ZIP file (published ZIP format): the local header, which is all that the toss reads, and the central
// directory header and end record, which the scan writes after a bundle's one stored entry.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "platform/os.h"

namespace zip_local_layout {

constexpr size_t kSize = 30;
constexpr Field signature{0, 4};
constexpr Field version_needed{4, 2};
constexpr Field flags{6, 2};
constexpr Field method{8, 2};
constexpr Field time{10, 2};
constexpr Field date{12, 2};
constexpr Field crc{14, 4};
constexpr Field compressed_size{18, 4};
constexpr Field uncompressed_size{22, 4};
constexpr Field name_length{26, 2};
constexpr Field extra_length{28, 2};
static_assert(CoversRecord({signature, version_needed, flags, method, time, date, crc, compressed_size,
                            uncompressed_size, name_length, extra_length},
                           kSize));

}  // namespace zip_local_layout

namespace zip_central_layout {

constexpr size_t kSize = 46;
constexpr Field signature{0, 4};
constexpr Field version_made_by{4, 2};
constexpr Field version_needed{6, 2};
constexpr Field flags{8, 2};
constexpr Field method{10, 2};
constexpr Field time{12, 2};
constexpr Field date{14, 2};
constexpr Field crc{16, 4};
constexpr Field compressed_size{20, 4};
constexpr Field uncompressed_size{24, 4};
constexpr Field name_length{28, 2};
constexpr Field extra_length{30, 2};
constexpr Field comment_length{32, 2};
constexpr Field disk_start{34, 2};
constexpr Field internal_attributes{36, 2};
constexpr Field external_attributes{38, 4};
constexpr Field local_header_at{42, 4};
static_assert(CoversRecord({signature, version_made_by, version_needed, flags, method, time, date, crc, compressed_size,
                            uncompressed_size, name_length, extra_length, comment_length, disk_start,
                            internal_attributes, external_attributes, local_header_at},
                           kSize));

}  // namespace zip_central_layout

namespace zip_end_layout {

constexpr size_t kSize = 22;
constexpr Field signature{0, 4};
constexpr Field this_disk{4, 2};
constexpr Field directory_disk{6, 2};
constexpr Field entries_on_disk{8, 2};
constexpr Field entries{10, 2};
constexpr Field directory_size{12, 4};
constexpr Field directory_at{16, 4};
constexpr Field comment_length{20, 2};
static_assert(CoversRecord({signature, this_disk, directory_disk, entries_on_disk, entries, directory_size,
                            directory_at, comment_length},
                           kSize));

}  // namespace zip_end_layout

constexpr size_t kZipLocalHeaderSize = zip_local_layout::kSize;
constexpr size_t kZipCentralHeaderSize = zip_central_layout::kSize;
constexpr size_t kZipEndRecordSize = zip_end_layout::kSize;
constexpr uint32_t kZipLocalSignature = 0x04034B50;    // "PK", 3, 4
constexpr uint32_t kZipCentralSignature = 0x02014B50;  // "PK", 1, 2
constexpr uint32_t kZipEndSignature = 0x06054B50;      // "PK", 5, 6
constexpr uint16_t kZipVersion = 20;                   // 2.0
constexpr uint16_t kZipFlagDataDescriptor = 1U << 3;   // the sizes follow the data
constexpr uint16_t kZipStored = 0;
constexpr uint16_t kZipDeflated = 8;

// The entry's name, its extra field and its data follow, in this order.
struct ZipLocalHeader {
  uint16_t flags = 0;
  uint16_t method = 0;
  uint16_t time = 0;  // DOS format
  uint16_t date = 0;  // DOS format
  uint32_t crc = 0;
  uint32_t compressed_size = 0;    // bytes
  uint32_t uncompressed_size = 0;  // bytes
  uint16_t name_length = 0;        // bytes
  uint16_t extra_length = 0;       // bytes
};

// Whether the four bytes at `from`, the first of a local header, are its signature.
inline bool IsZipLocalHeader(const uint8_t* from) {
  return GetU32(from + zip_local_layout::signature.at) == kZipLocalSignature;
}

// Reads the kZipLocalHeaderSize bytes of a local header.
inline ZipLocalHeader UnpackZipLocalHeader(const uint8_t* from) {
  namespace layout = zip_local_layout;
  ZipLocalHeader header;
  header.flags = GetU16(from + layout::flags.at);
  header.method = GetU16(from + layout::method.at);
  header.time = GetU16(from + layout::time.at);
  header.date = GetU16(from + layout::date.at);
  header.crc = GetU32(from + layout::crc.at);
  header.compressed_size = GetU32(from + layout::compressed_size.at);
  header.uncompressed_size = GetU32(from + layout::uncompressed_size.at);
  header.name_length = GetU16(from + layout::name_length.at);
  header.extra_length = GetU16(from + layout::extra_length.at);
  return header;
}

// Writes the kZipLocalHeaderSize bytes of a local header.
void PackZipLocalHeader(const ZipLocalHeader& header, uint8_t* to);

// Writes the kZipCentralHeaderSize bytes of the central directory header of an entry whose local header is at the start
// of the file.
void PackZipCentralHeader(const ZipLocalHeader& header, uint8_t* to);

// Writes the kZipEndRecordSize bytes of the end record of a file of one entry. `directory_size` and `directory_at` are
// the size and the offset of its central directory, in bytes.
void PackZipEndRecord(uint32_t directory_size, uint32_t directory_at, uint8_t* to);

// Time of day and date as DOS packs them: two-second steps, years from 1980.
uint16_t ZipDosTime(const OsCalendar& when);
uint16_t ZipDosDate(const OsCalendar& when);
