#include "toss/bad_packet.h"

#include "app/run_log.h"
#include "base/path.h"
#include "platform/os.h"

void SaveBadPacket(const char* bad_msgs_dir, const uint8_t* packet, size_t size, const char* reason) {
  (void)OsMakeDirectory(bad_msgs_dir);
  char path[600];
  OsFile file;
  if (FormatPath(path, sizeof path, "%s/BAD_%ld.PKT", bad_msgs_dir, static_cast<long>(OsNow())) != 0 ||
      OsOpen(path, kOsCreate, &file) != kOsOk) {
    LogLine("  ERROR: could not save bad packet for review (tried %s)", path);
    return;
  }
  (void)OsWrite(file, packet, size);
  (void)OsClose(&file);
  LogLine("  saved unprocessable packet data to %s for review (%s)", path, reason);
}
