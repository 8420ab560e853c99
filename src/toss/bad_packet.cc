#include "toss/bad_packet.h"

#include "app/run_log.h"
#include "base/path.h"
#include "platform/os.h"

void SaveBadPacket(BadPackets* bad_packets, const uint8_t* packet, size_t size, const char* reason) {
  (void)OsMakeDirectory(bad_packets->directory);
  char path[600];
  OsFile file;
  if (FormatPath(path, sizeof path, "%s/BAD_%ld.PKT", bad_packets->directory, static_cast<long>(OsNow())) != 0 ||
      OsOpen(path, kOsCreate, &file) != kOsOk) {
    LogLine("  ERROR: could not save bad packet for review (tried %s)", path);
    bad_packets->lost = true;
    return;
  }
  if (OsWrite(file, packet, size) != 0) bad_packets->lost = true;
  if (OsClose(&file) != 0) bad_packets->lost = true;
  LogLine("  saved unprocessable packet data to %s for review (%s)", path, reason);
}
