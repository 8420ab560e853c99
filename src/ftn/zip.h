// The ZIP local file header (published ZIP format), the one record that the bundle reader needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/bytes.h"

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

constexpr size_t kZipLocalHeaderSize = zip_local_layout::kSize;
constexpr uint32_t kZipLocalSignature = 0x04034B50;   // "PK", 3, 4
constexpr uint16_t kZipFlagDataDescriptor = 1U << 3;  // the sizes follow the data
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
