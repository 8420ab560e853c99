#include "toss/toss_run.h"

#include "app/run_lock.h"
#include "app/run_log.h"
#include "app/shown_text.h"
#include "app/version.h"
#include "base/ascii.h"
#include "base/byte_buffer.h"
#include "base/path.h"
#include "base/whole_file.h"
#include "bbs/readiness.h"
#include "ftn/zip.h"
#include "platform/os.h"
#include "toss/packet_toss.h"
#include "toss/source_disposal.h"
#include "toss/toss_site.h"
#include "toss/zip_reader.h"

namespace {

constexpr int64_t kLargestSource = 2147483647;  // bytes: a larger inbound file is not read

// A run over the inbound directory: where things are, and what has been counted so far.
struct TossRun {
  const char* inbound;
  const char* processed_dir;  // nullptr: files that are done with are deleted
  TossSite site;
  ByteBuffer content;  // of the file being handled
  int ignored = 0;
  int processed = 0;
  bool failed = false;
};

enum FileOutcome {
  kFileDone,       // may be disposed of
  kFileRetained,   // has to be tossed again
  kFileLeft,       // stays, and no failure is recorded
  kFileUnrelated,  // neither a bundle nor a packet
};

FileOutcome OutcomeOf(BundleResult result) {
  switch (result) {
    case kBundleDispose: return kFileDone;
    case kBundleRetain: return kFileRetained;
    case kBundleLeave: return kFileLeft;
  }
  return kFileLeft;
}

FileOutcome TossLoosePacket(const TossSite& site, const ByteBuffer& content) {
  switch (TossPacket(site, content.data, content.size)) {
    case PacketDone:
    case PacketCorrupt: return kFileDone;
    case PacketRetain:
      LogLine("  retaining packet in inbound because a message-base append failed");
      return kFileRetained;
    case NotAPacket: return kFileLeft;
  }
  return kFileLeft;
}

// Tells by its content what a file is, never by its name, and tosses it.
FileOutcome TossContent(const TossSite& site, const char* name, const ByteBuffer& content) {
  const bool bundle = content.size >= zip_local_layout::signature.width && IsZipLocalHeader(content.data);
  if (!bundle && !LooksLikePacket(content.data, content.size)) return kFileUnrelated;
  LogLine("Found: %s", ShownText(name).text);
  return bundle ? OutcomeOf(TossZipBundle(site, content.data, content.size)) : TossLoosePacket(site, content);
}

void TossFile(TossRun* run, const char* name) {
  char path[600];
  OsStatus status;
  if (FormatPath(path, sizeof path, "%s/%s", run->inbound, name) != 0 || OsStat(path, &status) != kOsOk ||
      status.kind != kOsRegularFile || SameWord(name, "TOSSER.LOG")) {
    return;
  }
  if (ReadWholeFile(path, &run->content, kLargestSource) != 0) {
    LogLine("Could not read inbound file %s; skipping", ShownText(name).text);
    return;
  }
  switch (TossContent(run->site, name, run->content)) {
    case kFileUnrelated: ++run->ignored; return;
    case kFileRetained: run->failed = true; return;
    case kFileLeft: return;
    case kFileDone: break;
  }
  const int disposed =
      run->processed_dir != nullptr ? MoveToProcessed(path, name, run->processed_dir) : DeleteProcessed(path);
  if (disposed == 0) {
    ++run->processed;
  } else {
    run->failed = true;
  }
}

// Returns 0, or -1 when the directory cannot be listed.
int TossDirectory(TossRun* run) {
  OsList list;
  if (OsListOpen(run->inbound, &list) != kOsOk) {
    LogLine("FATAL: could not open inbound dir %s", run->inbound);
    return -1;
  }
  char name[kOsNameSize];
  OsResult listed = kOsOk;
  while ((listed = OsListNext(&list, name)) == kOsOk) TossFile(run, name);
  if (listed == kOsFailed) {
    LogLine("ERROR: could not read inbound dir %s to its end; the rest waits for the next run", run->inbound);
    run->failed = true;
  }
  return 0;
}

// The run under its lock. Returns the exit status.
int TossUnderLock(const TosserConfig& config) {
  const OsHeldDirectory message_base(config.MsgDir);
  ConferenceTable conferences;
  if (PrepareMessageBase(config, &conferences) != 0) return 1;

  Path processed_dir;
  if (config.KeepProcessed != 0) {
    if (config.ProcessedDir[0] != '\0') {
      (void)FormatPath(processed_dir.text, sizeof processed_dir.text, "%s", config.ProcessedDir);
    } else {
      (void)FormatPath(processed_dir.text, sizeof processed_dir.text, "%s/processed", config.Inbound);
    }
    (void)OsMakeDirectory(processed_dir.text);
  }
  Path bad_msgs_dir;
  (void)FormatPath(bad_msgs_dir.text, sizeof bad_msgs_dir.text, "%s/badmsgs", config.Inbound);

  TossRun run;
  run.inbound = config.Inbound;
  run.processed_dir = config.KeepProcessed != 0 ? processed_dir.text : nullptr;
  run.site = {config.MsgDir, bad_msgs_dir.text, &conferences};
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
  Path lock;
  if (AcquireRunLock(config.MsgDir, "-toss", &lock) != 0) {
    status = TossUnderLock(config);
    ReleaseRunLock(lock);
  } else {
    LogLine(
        "Aborting: another instance appears to already be running (%s exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after %d minutes, or delete it manually.",
        lock.text, kStaleLockSeconds / 60);
  }
  CloseRunLog();
  return status;
}
