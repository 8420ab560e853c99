#include "toss/bad_packet.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "app/site_paths.h"
#include "platform/os.h"

namespace {

// Removes a file of that name first: writing through a link would overwrite the link's target.
int OpenCopy(FilingDirectory* filing, const char* path, OsFile* file) {
  (void)OsMakeDirectory(filing->path);
  if (OpenFilingDirectory(filing) != 0) return -1;
  const OsPlace place(path, filing->directory.handle);
  (void)OsRemove(place);
  return OsOpen(place, kOsCreateNew, file) == kOsOk ? 0 : -1;
}

}  // namespace

void SaveBadPacket(BadPackets* bad_packets, const uint8_t* packet, size_t size, const char* reason) {
  FilingDirectory* const filing = &bad_packets->directory;
  char name[sizeof bad_packets->unsynced];
  (void)snprintf(name, sizeof name, "BAD_%ld.PKT", static_cast<long>(OsNow()));
  if (strcmp(name, bad_packets->unsynced) != 0) SyncBadPackets(bad_packets);
  LongPath path;
  OsFile file;
  if (FormatBadPacketPath(filing->path, name, &path) != 0 || OpenCopy(filing, path.text, &file) != 0) {
    LogLine("  ERROR: could not save bad packet for review (tried %s)", path.text);
    bad_packets->lost = true;
    return;
  }
  memcpy(bad_packets->unsynced, name, sizeof name);
  if (OsWrite(file, packet, size) != 0) bad_packets->lost = true;
  if (OsClose(&file) != 0) bad_packets->lost = true;
  LogLine("  saved unprocessable packet data to %s for review (%s)", path.text, reason);
}

void ForgetBadPackets(BadPackets* bad_packets) {
  bad_packets->lost = false;
  bad_packets->unsynced[0] = '\0';
}

void SyncBadPackets(BadPackets* bad_packets) {
  if (bad_packets->unsynced[0] == '\0') return;
  const FilingDirectory& filing = bad_packets->directory;
  const OsSyncItem copy = {bad_packets->unsynced};
  if (OsSyncFiles({filing.path, filing.directory.handle}, &copy, 1) != 0) bad_packets->lost = true;
  bad_packets->unsynced[0] = '\0';
}
