#include "scan/export_commit.h"

#include "app/run_log.h"
#include "bbs/base_sync.h"
#include "bbs/file_restore.h"
#include "bbs/records.h"
#include "bbs/sig_file.h"
#include "platform/os.h"

namespace {

// A SIG file as it was before its line was appended.
struct SigState {
  BasePath path;
  FileExtent before;
};

int InspectSig(const MessageBase& base, int32_t conference, SigState* state) {
  if (FormatSigPath(base, conference, &state->path) != 0) return -1;
  return InspectFile(state->path, &state->before);
}

int64_t SentByteAt(const ExportRecord& message) {
  return message.ordinal * static_cast<int64_t>(kPtrRecordSize) + static_cast<int64_t>(ptr_layout::MsgSent.at);
}

int MarkSent(const ExportRecord& message) {
  constexpr uint8_t kSent = 1;
  OsFile file;
  if (OsOpen(message.ptr, kOsUpdate, &file) != kOsOk) return -1;
  const bool written = OsWriteAt(file, SentByteAt(message), &kSent, 1) == kOsOk;
  const bool closed = OsClose(&file) == 0;
  return written && closed ? 0 : -1;
}

// Whether the header can be read and says that the message was sent.
bool IsMarkedSent(const ExportRecord& message) {
  OsFile file;
  uint8_t sent = 0;
  return OsOpen(message.ptr, kOsRead, &file) == kOsOk && OsReadAt(file, SentByteAt(message), &sent, 1).bytes == 1 &&
         sent != 0;
}

// Returns 0 when the message is committed, else -1 after logging how it was left.
int CommitExport(const MessageBase& base, const ExportRecord& message) {
  const int32_t c = message.conference;
  const int32_t number = message.msg_number;
  SigState sig;
  if (InspectSig(base, c, &sig) != 0) {
    LogLine(
        "ERROR: bundle exists, but could not inspect SIG state for conf %d msg #%d; leaving it unsent for safe retry",
        c, number);
    return -1;
  }
  if (SigAppend(base, c, message.msgid, number) != 0) {
    LogLine("ERROR: bundle exists, but could not append SIG for conf %d msg #%d; leaving it unsent for safe retry", c,
            number);
    return -1;
  }
  if (MarkSent(message) == 0) return 0;
  if (IsMarkedSent(message)) {
    LogLine(
        "WARNING: mark-sent reported an error for conf %d msg #%d, but verification confirms MsgSent=1; keeping its SIG entry",
        c, number);
    return 0;
  }
  if (RestoreFile(sig.path, sig.before) == 0) {
    LogLine(
        "ERROR: bundle exists, but could not mark conf %d msg #%d sent; its SIG append was rolled back and it remains safe to retry",
        c, number);
  } else {
    LogLine(
        "CRITICAL: could not mark conf %d msg #%d sent and could not remove its newly-added SIG entry; manual review required",
        c, number);
  }
  return -1;
}

}  // namespace

int CommitExports(const ScanSite& site, const ExportQueue& queue) {
  int result = 0;
  ConferenceSet conferences;
  for (size_t i = 0; i < queue.count; ++i) {
    (void)KeepRunLock(site.lock);
    const ExportRecord message = GetExport(queue, i);
    if (CommitExport(site.base, message) == 0) {
      conferences.Add(message.conference);
    } else {
      result = -1;
    }
  }
  return SyncMarks(site.base, conferences) == 0 ? result : -1;
}
