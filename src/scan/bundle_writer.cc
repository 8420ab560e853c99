#include "scan/bundle_writer.h"

#include <zlib.h>

#include <cstdio>
#include <cstring>

#include "app/site_paths.h"
#include "base/whole_file.h"
#include "ftn/zip.h"
#include "platform/os.h"

namespace {

constexpr char kSequence[] = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr const char* kWeekdays[7] = {"su", "mo", "tu", "we", "th", "fr", "sa"};

}  // namespace

void ChooseBundleName(const char* out_dir, char (&name)[kBundleNameSize]) {
  const int64_t now = OsNow();
  OsCalendar local;
  (void)OsLocalTime(now, &local);
  const char* const weekday = kWeekdays[local.weekday];
  for (const char* sequence = kSequence; *sequence != '\0'; ++sequence) {
    (void)snprintf(name, sizeof name, "%08x.%s%c", static_cast<unsigned int>(now), weekday, *sequence);
    LongPath path;
    OsStatus status;
    FormatBundlePath(out_dir, name, &path);
    if (OsStat(path.text, &status) != kOsOk) return;
  }
  (void)snprintf(name, sizeof name, "%08x.%s9", static_cast<unsigned int>(now), weekday);
}

int WriteBundle(const char* path, const char* entry_name, const ByteBuffer& packet) {
  // The offsets of the parts follow from their sizes; they have to fit the 32 bits of their ZIP fields.
  const size_t name_size = strlen(entry_name);
  const uint64_t directory_at = uint64_t{kZipLocalHeaderSize} + name_size + packet.size;
  OsCalendar now;
  if (name_size > UINT16_MAX || directory_at > UINT32_MAX || OsLocalTime(OsNow(), &now) != 0) return -1;

  ZipLocalHeader header;
  header.method = kZipStored;
  header.time = ZipDosTime(now);
  header.date = ZipDosDate(now);
  header.crc = static_cast<uint32_t>(crc32_z(0, packet.data, packet.size));
  header.compressed_size = static_cast<uint32_t>(packet.size);
  header.uncompressed_size = header.compressed_size;
  header.name_length = static_cast<uint16_t>(name_size);

  uint8_t local[kZipLocalHeaderSize];
  uint8_t central[kZipCentralHeaderSize];
  uint8_t end[kZipEndRecordSize];
  PackZipLocalHeader(header, local);
  PackZipCentralHeader(header, central);
  PackZipEndRecord(static_cast<uint32_t>(sizeof central + name_size), static_cast<uint32_t>(directory_at), end);

  return WriteWholeFile(path,
                        {{local, sizeof local},
                         {entry_name, name_size},
                         {packet.data, packet.size},
                         {central, sizeof central},
                         {entry_name, name_size},
                         {end, sizeof end}},
                        kWaitForDisk);
}
