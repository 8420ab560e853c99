#include "scan/publish.h"

#include <cstdio>

#include "app/run_log.h"
#include "app/site_paths.h"
#include "base/whole_file.h"
#include "platform/os.h"
#include "scan/bundle_writer.h"
#include "scan/msgid_serial.h"
#include "scan/outbound_packet.h"

namespace {

// Writes the whole packet to a file, reads it back into `packet` and removes the file: the bundle is made of the bytes
// read back, so that a full or failing disk is noticed before anything is published.
int RoundTrip(const ScanSite& site, ByteBuffer* packet) {
  BasePath path;
  if (FormatOutPacketPath(site.base, &path) != 0 || WritePacketFile(path, *site.config, *packet) != 0) {
    LogLine("ERROR: could not write temp packet file %s", path.text);
    return -1;
  }
  FreeBytes(packet);
  if (ReadWholeFile(path, packet) != 0) {
    LogLine("ERROR: could not read back complete temp packet %s", path.text);
    (void)OsRemove(path);
    return -1;
  }
  if (OsRemove(path) != kOsOk) LogLine("WARNING: could not remove temp packet %s", path.text);
  return 0;
}

}  // namespace

int PublishBundle(const ScanSite& site, size_t messages, ByteBuffer* packet) {
  const char* const out_dir = site.config->OutDir;
  if (!KeepRunLock(site.lock) || RoundTrip(site, packet) != 0) return -1;

  char bundle_name[kBundleNameSize];
  LongPath published;
  LongPath temporary;
  ChooseBundleName(out_dir, bundle_name);
  FormatBundlePath(out_dir, bundle_name, &published);
  FormatTemporaryBundlePath(published, &temporary);
  (void)OsRemove(temporary.text);

  char entry_name[kBundleNameSize];
  (void)snprintf(entry_name, sizeof entry_name, "%08x.pkt", static_cast<unsigned int>(OsNow()));
  if (SyncSerial(site.base) != 0 || WriteBundle(temporary.text, entry_name, *packet) != 0) {
    LogLine("ERROR: could not write temporary bundle %s", temporary.text);
    return -1;
  }
  const size_t packet_size = packet->size;
  FreeBytes(packet);
  if (!KeepRunLock(site.lock)) {
    (void)OsRemove(temporary.text);
    return -1;
  }
  if (OsRename(temporary.text, published.text) != kOsOk) {
    LogLine("ERROR: could not atomically publish bundle %s", published.text);
    (void)OsRemove(temporary.text);
    return -1;
  }
  LogLine("Published complete bundle: %s  (%lu byte packet, entry '%s', %d message(s))", published.text,
          static_cast<unsigned long>(packet_size), entry_name, static_cast<int>(messages));
  return 0;
}
