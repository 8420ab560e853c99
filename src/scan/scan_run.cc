#include "scan/scan_run.h"

#include "app/run_lock.h"
#include "app/run_log.h"
#include "app/version.h"
#include "base/path.h"
#include "bbs/readiness.h"
#include "bbs/records.h"
#include "platform/os.h"
#include "scan/export_commit.h"
#include "scan/local_message.h"
#include "scan/outbound_packet.h"
#include "scan/pack_message.h"
#include "scan/publish.h"
#include "scan/scan_site.h"

namespace {

constexpr size_t kPieceRecords = 512;

// A scan in progress: what it has collected, and scratch memory that is reused for each message.
struct ScanRun {
  ScanSite site;
  Outbound outbound = {};
  LocalMessage message = {};
  ByteBuffer raw_body = {};
};

// The conference being scanned.
struct ScanFiles {
  BasePath ptr;
  BasePath dat;
};

// Returns 0, or -1 when the scan cannot go on. A message that cannot be exported now is left for a later run.
int ScanRecord(const ScanFiles& files, const uint8_t* record, int64_t ordinal, ScanRun* run) {
  if (!IsUnsent(record)) return 0;
  if (!KeepRunLock(run->site.lock)) return -1;
  switch (ReadLocalMessage(record, ordinal, files.dat, &run->raw_body, &run->message)) {
    case kMessageRead: return PackLocalMessage(run->site, files.ptr, run->message, &run->outbound);
    case kMessageSkipped: return 0;
    case kMessageNoMemory: return -1;
  }
  return -1;
}

// Reads the headers of one conference in large pieces. Returns 0, or -1 when the scan cannot go on.
int ScanHeaders(const ScanFiles& files, const OsFile& file, ScanRun* run) {
  uint8_t piece[kPieceRecords * kPtrRecordSize];
  for (int64_t ordinal = 0;;) {
    const OsReadResult got = OsReadAt(file, ordinal * static_cast<int64_t>(kPtrRecordSize), piece, sizeof piece);
    for (size_t at = 0; at + kPtrRecordSize <= got.bytes; at += kPtrRecordSize, ++ordinal) {
      if (ScanRecord(files, piece + at, ordinal, run) != 0) return -1;
    }
    if (got.failed) {
      LogLine("ERROR: read failure while scanning %s", files.ptr.text);
      return -1;
    }
    if (got.bytes < sizeof piece) return 0;
  }
}

int ScanConference(const ConferenceEntry& conference, ScanRun* run) {
  ScanFiles files;
  OsFile file;
  const MessageBase& base = run->site.base;
  if (FormatBasePath(base, conference.Number, "PTR", &files.ptr) != 0 ||
      FormatBasePath(base, conference.Number, "DAT", &files.dat) != 0 || OsOpen(files.ptr, kOsRead, &file) != kOsOk) {
    return 0;
  }
  run->message.conference = &conference;
  const int scanned = ScanHeaders(files, file, run);
  const int closed = OsClose(&file);
  if (closed != 0) LogLine("ERROR: failed closing %s after scan", files.ptr.text);
  return scanned == 0 && closed == 0 ? 0 : -1;
}

int ScanAll(const ConferenceTable& conferences, ScanRun* run) {
  for (size_t i = 0; i < conferences.count; ++i) {
    const ConferenceEntry& conference = conferences.entries[i];
    if (!IsNetworked(conference)) continue;
    if (!KeepRunLock(run->site.lock) || ScanConference(conference, run) != 0) return -1;
  }
  return 0;
}

// The run under its lock. Returns the exit status.
int ScanUnderLock(const TosserConfig& config, RunLock* lock) {
  ConferenceTable conferences;
  OsDirectory directory;
  if (PrepareMessageBase(config, lock, &conferences, &directory) != 0) return 1;

  ScanRun run = {{&config, {config.MsgDir, directory}, lock}};
  ByteBuffer* const packet = &run.outbound.packet;
  if (ReserveBytes(packet, kFirstPacketCapacity) != 0) {
    LogLine("ERROR: out of memory allocating outbound packet buffer");
    return 1;
  }
  if (ScanAll(conferences, &run) != 0) return 1;

  const size_t messages = run.outbound.queue.count;
  if (messages == 0) {
    LogLine("Nothing to export -- no unsent messages found in any routed conference.");
    LogLine("=== cvtoss32 -scan run complete: 0 message(s) exported ===");
    return 0;
  }
  if (PublishBundle(run.site, messages, packet) != 0) return 1;
  // A name that may not be on the disk does not count: nothing is marked, and the messages are sent once more.
  if (OsSyncDirectory(config.OutDir) != 0 || CommitExports(run.site, run.outbound.queue) != 0) {
    LogLine(
        "=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ===");
    return 1;
  }
  LogLine("=== cvtoss32 -scan run complete: %d message(s) exported and committed ===", static_cast<int>(messages));
  return lock->state == kLockLost ? 1 : 0;
}

}  // namespace

int RunScan(const TosserConfig& config) {
  OpenRunLog();
  LogLine("=== cvtoss32 v%s %s -scan run starting ===", kVersion, kReleaseLabel);
  LogLine("Config dir: %s   Work dir: %s   Message dir: %s   Outbound dir: %s", config.ConfDir, config.WorkDir,
          config.MsgDir, config.OutDir);
  const FtnAddress& our = config.OurAddress;
  const FtnAddress& hub = config.HubAddress;
  LogLine("Our address: %d:%d/%d   Hub address: %d:%d/%d   System name: %s   Packet: %s", our.Zone, our.Net, our.Node,
          hub.Zone, hub.Net, hub.Node, config.SystemName,
          config.PacketPassword[0] != '\0' ? "password-protected" : "no password set");

  int status = 1;
  RunLock lock;
  if (AcquireRunLock(config.MsgDir, "-scan", &lock)) status = ScanUnderLock(config, &lock);
  if (lock.state == kLockRefused) {
    LogLine("Aborting: another cvtoss32 -toss/-scan instance appears to be running (%s)", lock.path.text);
  }
  ReleaseRunLock(&lock);
  CloseRunLog();
  return status;
}
