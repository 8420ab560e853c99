#include "bbs/checked_append.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/byte_buffer.h"
#include "base/fixed_text.h"
#include "bbs/append_judge.h"
#include "bbs/file_restore.h"
#include "bbs/name_crc.h"
#include "bbs/records.h"
#include "bbs/sig_file.h"
#include "ftn/packet.h"
#include "platform/os.h"

namespace {

// DatRecords that are written at once: enough for all but very long texts.
constexpr size_t kRecordsAtOnce = 1024;

// One of the four files: where it is, what it was before, and what is to be added.
struct AppendTarget {
  BasePath path;
  FileExtent before;  // its size is also where the new bytes go
  const void* bytes = nullptr;
  size_t byte_count = 0;
  OsFile file;
};

// All that is decided before a file is opened.
struct AppendPlan {
  AppendTarget dat;
  AppendTarget idx;
  AppendTarget ptr;
  AppendTarget sig;
  bool has_sig = false;
  int32_t number = 0;    // the new MsgNumber
  size_t records = 0;    // DatRecords of the text
  ByteBuffer dat_bytes;  // holds the records that are written at once
  uint8_t idx_bytes[kIdxRecordSize];
  uint8_t ptr_bytes[kPtrRecordSize];
  char sig_line[kSigLineSize];
};

void Snapshot(const MessageBase& base, int32_t c, const char* kind, const FileExtent& before, AppendTarget* target) {
  (void)FormatBasePath(base, c, kind, &target->path);
  target->before = before;
}

int SnapshotSig(const MessageBase& base, int32_t c, AppendTarget* sig) {
  if (FormatSigPath(base, c, &sig->path) == 0 && InspectFile(sig->path, &sig->before) == 0) {
    return 0;
  }
  LogLine("ERROR: could not inspect SIG file for conf %d", c);
  return -1;
}

int RefuseText(int32_t c) {
  LogLine("ERROR: out of memory while preparing message body for conf %d", c);
  return -1;
}

// Counts the DatRecords of the text, the last of which may be partly filled, and allocates those that are written at
// once. No memory is allocated for a text that does not fit the DAT file.
int PlanText(int32_t c, const PreflightResult& found, const NewMessage& message, AppendPlan* plan) {
  const AppendJudgement judgement = JudgeAppend(found.dat_count, message.highest, message.body_size);
  if (judgement.fault == kAppendTextTooLarge) return RefuseText(c);
  if (judgement.fault == kAppendPastDatRange) {
    LogLine("ERROR: conf %d append would exceed Corvane's 16-bit DAT address range; refusing to append", c);
    return -1;
  }
  plan->records = judgement.records;
  if (ReserveBytes(&plan->dat_bytes, std::min(plan->records, kRecordsAtOnce) * kDatRecordSize) != 0) {
    return RefuseText(c);
  }
  if (judgement.fault == kAppendNumbersUsedUp) {
    LogLine("ERROR: conf %d has reached the signed 32-bit MsgNumber limit", c);
    return -1;
  }
  return 0;
}

void PlanRecords(int32_t c, const PreflightResult& found, const NewMessage& message, AppendPlan* plan) {
  const int32_t number = NextNumber(message.highest);
  const bool threaded = IsThreaded(number, message.parent, message.parent_live);

  PtrRecord header;
  CopyCut(header.MsgDate, message.date);
  CopyCut(header.From, message.from);
  CopyCut(header.To, message.to);
  CopyCut(header.ToCopy, message.to);
  CopyCut(header.Subj, message.subject);
  CopyCut(header.OrigNetNode, message.origin);
  header.NetMail = message.netmail;
  header.MsgSent = true;  // mail from the network is never sent back to it
  header.IsReply = threaded;
  header.IsRoot = !threaded;
  header.Private = (message.attribute & kAttributePrivate) != 0;
  header.Where = static_cast<uint16_t>(found.dat_count);
  header.Records = static_cast<uint16_t>(plan->records);
  header.ConfNumber = static_cast<uint16_t>(c);
  header.MsgNumber = number;
  header.ThreadRef = threaded ? message.parent : number;
  PackPtrRecord(header, plan->ptr_bytes);
  plan->ptr.bytes = plan->ptr_bytes;
  plan->ptr.byte_count = sizeof plan->ptr_bytes;

  // The checksums are over the whole names as received, not over what fits the header.
  const IdxRecord index = {NameCrc(message.from), NameCrc(message.to), number, header.ThreadRef};
  PackIdxRecord(index, plan->idx_bytes);
  plan->idx.bytes = plan->idx_bytes;
  plan->idx.byte_count = sizeof plan->idx_bytes;

  char msgid[kLongestMsgid + 1];
  CopyCut(msgid, message.msgid);
  const int length = snprintf(plan->sig_line, sizeof plan->sig_line, "%s\t%d\n", msgid, number);
  plan->sig.bytes = plan->sig_line;
  plan->sig.byte_count = static_cast<size_t>(length);
  plan->number = number;
}

int Plan(const MessageBase& base, int32_t c, const PreflightResult& found, const NewMessage& message,
         AppendPlan* plan) {
  Snapshot(base, c, "DAT", found.dat, &plan->dat);
  Snapshot(base, c, "IDX", found.idx, &plan->idx);
  Snapshot(base, c, "PTR", found.ptr, &plan->ptr);
  plan->has_sig = message.msgid[0] != '\0';
  if (plan->has_sig && SnapshotSig(base, c, &plan->sig) != 0) return -1;
  if (PlanText(c, found, message, plan) != 0) return -1;
  PlanRecords(c, found, message, plan);
  return 0;
}

// Opens an existing file for update, or creates a missing one.
int OpenForUpdate(AppendTarget* target) {
  OsResult opened = OsOpen(target->path, kOsUpdate, &target->file);
  if (opened == kOsMissing) opened = OsOpen(target->path, kOsCreateNew, &target->file);
  return opened == kOsOk ? 0 : -1;
}

int OpenAll(int32_t c, AppendPlan* plan) {
  if (OpenForUpdate(&plan->dat) == 0 && OpenForUpdate(&plan->idx) == 0 && OpenForUpdate(&plan->ptr) == 0 &&
      (!plan->has_sig || OpenForUpdate(&plan->sig) == 0)) {
    return 0;
  }
  LogLine("ERROR: could not open all conf %d message-base files for a checked append", c);
  return -1;
}

OsResult Write(const AppendTarget& target) {
  return OsWriteAt(target.file, target.before.size, target.bytes, target.byte_count);
}

OsResult WriteText(const NewMessage& message, const AppendPlan& plan) {
  OsResult result = kOsOk;
  int64_t at = plan.dat.before.size;
  for (size_t record = 0; result == kOsOk && record < plan.records;) {
    const size_t stop = std::min(plan.records, record + kRecordsAtOnce);
    uint8_t* to = plan.dat_bytes.data;
    for (; record < stop; ++record, to += kDatRecordSize) {
      const size_t from = record * kDatTextSize;
      PackDatRecord(message.body + from, std::min(message.body_size - from, kDatTextSize), to);
    }
    const ptrdiff_t size = to - plan.dat_bytes.data;
    result = OsWriteAt(plan.dat.file, at, plan.dat_bytes.data, static_cast<size_t>(size));
    at += size;
  }
  return result;
}

// Writes all four files. Returns 0, or -1 after logging which step failed.
int WriteAll(int32_t c, const NewMessage& message, const AppendPlan& plan) {
  const OsResult text = WriteText(message, plan);
  OsResult rest = text;
  if (rest == kOsOk) rest = Write(plan.idx);
  if (rest == kOsOk) rest = Write(plan.ptr);
  if (rest == kOsOk && plan.has_sig) rest = Write(plan.sig);
  if (rest == kOsOk) return 0;
  if (rest == kOsUnseekable) {
    LogLine("ERROR: could not seek to append positions for conf %d", c);
  } else if (text != kOsOk) {
    LogLine("ERROR: DAT write failed while appending conf %d", c);
  } else {
    LogLine("ERROR: checked message-base append failed for conf %d", c);
  }
  return -1;
}

int CloseAll(AppendPlan* plan) {
  int result = 0;
  for (AppendTarget* target : {&plan->dat, &plan->idx, &plan->ptr, &plan->sig}) {
    if (OsClose(&target->file) != 0) result = -1;
  }
  return result;
}

void RollBack(int32_t c, const AppendPlan& plan) {
  int result = 0;
  for (const AppendTarget* target : {&plan.dat, &plan.idx, &plan.ptr, &plan.sig}) {
    if (target == &plan.sig && !plan.has_sig) continue;
    if (RestoreFile(target->path, target->before) != 0) result = -1;
  }
  if (result == 0) {
    LogLine("  conf %d append failed; DAT/IDX/PTR/SIG restored to their original sizes", c);
  } else {
    LogLine("CRITICAL: conf %d append failed and at least one rollback also failed; message base requires inspection",
            c);
  }
}

}  // namespace

AppendResult CheckedAppend(const MessageBase& base, RunLock* lock, int32_t conference, const PreflightResult& found,
                           const NewMessage& message) {
  AppendPlan plan;
  if (Plan(base, conference, found, message, &plan) != 0) return kAppendFailed;
  if (!KeepRunLock(lock)) return kAppendLostLock;
  bool stored = OpenAll(conference, &plan) == 0 && WriteAll(conference, message, plan) == 0;
  if (CloseAll(&plan) != 0) stored = false;
  if (!stored) {
    RollBack(conference, plan);
    return kAppendFailed;
  }
  LogLine("  -> wrote conf %d msg #%d  From='%s' To='%s' Subj='%s' (%d records)", conference, plan.number,
          ShownText(message.from).text, ShownText(message.to).text, ShownText(message.subject).text,
          static_cast<int>(plan.records));
  return kAppended;
}
