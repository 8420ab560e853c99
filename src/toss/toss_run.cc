#include "toss/toss_run.h"

#include "app/run_lock.h"
#include "app/run_log.h"
#include "app/shown_text.h"
#include "app/site_paths.h"
#include "app/version.h"
#include "base/ascii.h"
#include "base/byte_buffer.h"
#include "base/whole_file.h"
#include "bbs/readiness.h"
#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "platform/os.h"
#include "toss/bundle_toss.h"
#include "toss/inbound_listing.h"
#include "toss/inbound_message.h"
#include "toss/packet_toss.h"
#include "toss/source_disposal.h"
#include "toss/toss_site.h"

namespace {

// A run over the inbound directory: its directories and its counters.
struct TossRun {
  const char* inbound;
  FilingDirectory* processed_dir;  // nullptr: processed files are deleted
  TossSite site;
  ByteBuffer content = {};  // of the file being handled
  int ignored = 0;
  int processed = 0;
  bool failed = false;
};

TossResult TossLoosePacket(const TossSite& site, const ByteBuffer& content) {
  const TossResult result = TossPacket(site, content.data, content.size);
  if (result == PacketRetain) LogLine("  retaining packet in inbound because a message-base append failed");
  return result;
}

// Moves or deletes a processed file. Returns 0, or -1 after logging why it is still inbound.
int Dispose(const TossRun& run, const TossSource& source) {
  return run.processed_dir != nullptr ? MoveToProcessed(source, run.processed_dir) : DeleteProcessed(source);
}

// Waits until the disk holds the source's mail. Returns 0, or -1 after logging that it may not.
int MakeDurable(const TossRun& run) {
  BadPackets* const bad_packets = run.site.bad_packets;
  const int stored = SyncMessages(run.site.base, *run.site.touched);
  SyncBadPackets(bad_packets);
  const bool rest_lost = bad_packets->lost && run.processed_dir == nullptr;  // no other file has the damaged rest
  if (stored == 0 && !rest_lost) return 0;
  LogLine("  ERROR: could not make stored mail durable; source remains inbound");
  return -1;
}

// Tosses a file according to its content, never to its name. Returns whether the run may go on.
bool TossFile(TossRun* run, const char* name) {
  LongPath path;
  OsStatus status;
  if (FormatInboundPath(run->inbound, name, &path) != 0 || OsStat(path.text, &status) != kOsOk ||
      status.kind != kOsRegularFile || SameWord(name, "TOSSER.LOG")) {
    return true;
  }
  ByteBuffer* const content = &run->content;
  TossSource source = {path.text, name, {}};
  if (ReadWholeFile(path.text, content, kLargestSource, &source.identity) != 0) {
    LogLine("Could not read inbound file %s; skipping", ShownText(name).text);
    return true;
  }
  const bool bundle = LooksLikeZip(content->data, content->size);
  if (!bundle && !LooksLikePacket(content->data, content->size)) {
    ++run->ignored;
    return true;
  }
  LogLine("Found: %s", ShownText(name).text);
  ForgetBadPackets(run->site.bad_packets);
  *run->site.touched = {};
  const TossResult result =
      bundle ? TossZipBundle(run->site, content->data, content->size) : TossLoosePacket(run->site, *content);
  switch (result) {
    case NotAPacket: return true;  // it stays in INBOUND, which is no failure
    case PacketRetain: run->failed = true; return true;
    case PacketStopped: return false;
    case PacketDone:
    case PacketCorrupt: break;
  }
  if (!KeepRunLock(run->site.lock)) return false;
  const int durable = MakeDurable(*run);
  if (!KeepRunLock(run->site.lock)) return false;
  if (durable == 0 && Dispose(*run, source) == 0) {
    ++run->processed;
  } else {
    run->failed = true;
  }
  return true;
}

// Returns 0, or -1 when the run has to end at once (logged).
int TossDirectory(TossRun* run) {
  InboundListing listing;
  const ListResult listed = ListInbound(run->inbound, &listing);
  if (listed == kListNotOpened) {
    LogLine("FATAL: could not open inbound dir %s", run->inbound);
    return -1;
  }
  run->ignored = listing.unaddressable;
  for (size_t i = 0; i < listing.count; ++i) {
    if (!KeepRunLock(run->site.lock) || !TossFile(run, listing.Name(i))) return -1;
  }
  if (listed == kListCutShort) {
    LogLine("ERROR: could not read inbound dir %s to its end; the rest waits for the next run", run->inbound);
    run->failed = true;
  }
  return 0;
}

// The run under its lock. Returns the exit status.
int TossUnderLock(const TosserConfig& config, RunLock* lock) {
  ConferenceTable conferences;
  OsDirectory directory;
  if (PrepareMessageBase(config, lock, &conferences, &directory) != 0) return 1;

  Path processed_dir;
  Path bad_msgs_dir;
  FormatProcessedDirectory(config, &processed_dir);
  FormatBadDirectory(config, &bad_msgs_dir);
  // PROCESSEDDIR is set by the administrator; in INBOUND the mailer's user can create a link of that name.
  FilingDirectory processed = {processed_dir.text, config.ProcessedDir[0] != '\0' ? kOsTrustPath : kOsTrustOwners};
  if (config.KeepProcessed != 0) (void)OsMakeDirectory(processed_dir.text);
  BadPackets bad_packets = {{bad_msgs_dir.text, kOsTrustOwners}};
  ConferenceSet touched;

  TossRun run = {config.Inbound,
                 config.KeepProcessed != 0 ? &processed : nullptr,
                 {{config.MsgDir, directory}, lock, &bad_packets, &conferences, &touched}};
  if (TossDirectory(&run) != 0) return 1;

  if (run.ignored > 0) {
    LogLine("Ignored %d unrelated inbound file(s) (not ZIP bundles or valid FTS-0001 packets).", run.ignored);
  }
  LogLine("=== cvtoss32 -toss run complete: %d file(s) processed ===", run.processed);
  return run.failed ? 1 : 0;
}

}  // namespace

int RunToss(const TosserConfig& config) {
  OpenRunLog();
  LogLine("=== cvtoss32 v%s %s -toss run starting ===", kVersion, kReleaseLabel);
  LogLine("Inbound dir: %s   Config dir: %s   Work dir: %s   Message dir: %s", config.Inbound, config.ConfDir,
          config.WorkDir, config.MsgDir);
  LogLine("Processed files: %s", config.KeepProcessed != 0 ? "kept (archived)" : "deleted after processing");

  int status = 1;
  RunLock lock;
  if (AcquireRunLock(config.MsgDir, "-toss", &lock)) status = TossUnderLock(config, &lock);
  if (lock.state == kLockRefused) {
    LogLine(
        "Aborting: another instance appears to already be running (%s exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after %d minutes, or delete it manually.",
        lock.path.text, kStaleLockSeconds / 60);
  }
  ReleaseRunLock(&lock);
  CloseRunLog();
  return status;
}
