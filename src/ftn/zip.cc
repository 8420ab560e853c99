#include "ftn/zip.h"

#include <cstring>

void PackZipLocalHeader(const ZipLocalHeader& header, uint8_t* to) {
  namespace layout = zip_local_layout;
  PutU32(to + layout::signature.at, kZipLocalSignature);
  PutU16(to + layout::version_needed.at, kZipVersion);
  PutU16(to + layout::flags.at, header.flags);
  PutU16(to + layout::method.at, header.method);
  PutU16(to + layout::time.at, header.time);
  PutU16(to + layout::date.at, header.date);
  PutU32(to + layout::crc.at, header.crc);
  PutU32(to + layout::compressed_size.at, header.compressed_size);
  PutU32(to + layout::uncompressed_size.at, header.uncompressed_size);
  PutU16(to + layout::name_length.at, header.name_length);
  PutU16(to + layout::extra_length.at, header.extra_length);
}

void PackZipCentralHeader(const ZipLocalHeader& header, uint8_t* to) {
  namespace layout = zip_central_layout;
  memset(to, 0, layout::kSize);
  PutU32(to + layout::signature.at, kZipCentralSignature);
  PutU16(to + layout::version_made_by.at, kZipVersion);
  PutU16(to + layout::version_needed.at, kZipVersion);
  PutU16(to + layout::flags.at, header.flags);
  PutU16(to + layout::method.at, header.method);
  PutU16(to + layout::time.at, header.time);
  PutU16(to + layout::date.at, header.date);
  PutU32(to + layout::crc.at, header.crc);
  PutU32(to + layout::compressed_size.at, header.compressed_size);
  PutU32(to + layout::uncompressed_size.at, header.uncompressed_size);
  PutU16(to + layout::name_length.at, header.name_length);
  PutU16(to + layout::extra_length.at, header.extra_length);
}

void PackZipEndRecord(uint32_t directory_size, uint32_t directory_at, uint8_t* to) {
  namespace layout = zip_end_layout;
  memset(to, 0, layout::kSize);
  PutU32(to + layout::signature.at, kZipEndSignature);
  PutU16(to + layout::entries_on_disk.at, 1);
  PutU16(to + layout::entries.at, 1);
  PutU32(to + layout::directory_size.at, directory_size);
  PutU32(to + layout::directory_at.at, directory_at);
}

uint16_t ZipDosTime(const OsCalendar& when) {
  return static_cast<uint16_t>((when.second / 2) | (when.minute << 5) | (when.hour << 11));
}

uint16_t ZipDosDate(const OsCalendar& when) {
  return static_cast<uint16_t>(when.day | ((when.month + 1) << 5) | ((when.year - 1980) << 9));
}
