#include "bbs/preflight.h"

#include "app/run_log.h"
#include "bbs/file_restore.h"
#include "bbs/records.h"

namespace {

int JudgeSizes(int32_t c, const MessageBaseFiles& files) {
  const PreflightResult& found = files.found;
  if (!files.paths_fit) {
    LogLine("ERROR: message-base path is too long for conference %d", c);
    return -1;
  }
  if (!files.inspected) {
    LogLine("ERROR: could not inspect message-base files for conference %d", c);
    return -1;
  }
  if (found.ptr_size % static_cast<int32_t>(kPtrRecordSize) != 0 ||
      found.idx_size % static_cast<int32_t>(kIdxRecordSize) != 0 ||
      found.dat_size % static_cast<int32_t>(kDatRecordSize) != 0) {
    LogLine("ERROR: conference %d has a non-record-aligned PTR, IDX, or DAT file", c);
    return -1;
  }
  if (found.ptr_size == 0 && (found.idx_size != 0 || found.dat_size != 0)) {
    LogLine("ERROR: conference %d has IDX/DAT data but no PTR records", c);
    return -1;
  }
  if (found.idx_count > found.ptr_count) {
    LogLine("ERROR: conference %d IDX has %ld records but PTR has only %ld", c, static_cast<long>(found.idx_count),
            static_cast<long>(found.ptr_count));
    return -1;
  }
  return 0;
}

void WarnOfTrailingIndex(int32_t c, const PreflightResult& found) {
  if (found.ptr_count <= found.idx_count) return;
  LogLine(
      "WARNING: conference %d IDX trails PTR by %ld record(s); this can be a Corvane-native quirk, but should be monitored",
      c, static_cast<long>(found.ptr_count - found.idx_count));
}

int JudgeDatRange(int32_t c, const PreflightResult& found) {
  if (found.dat_count <= kMostDatRecords) return 0;
  LogLine("ERROR: conference %d DAT has %ld records, beyond Corvane's 16-bit addressable range", c,
          static_cast<long>(found.dat_count));
  return -1;
}

int JudgeHeaders(int32_t c, const MessageBaseFiles& files, const PtrScan& scan) {
  const PreflightResult& found = files.found;
  if (found.ptr_count == 0) return 0;
  if (!scan.opened) {
    LogLine("ERROR: could not open %s for preflight", files.ptr.text);
    return -1;
  }
  if (scan.fault != kPtrSound && scan.fault_record < found.ptr_count) {
    if (scan.fault == kPtrNoRecords) {
      LogLine("ERROR: conference %d message #%d has zero body records", c, scan.fault_number);
    } else {
      LogLine("ERROR: conference %d message #%d points past DAT (Where=%u, Records=%u, DAT records=%ld)", c,
              scan.fault_number, static_cast<unsigned int>(scan.fault_where),
              static_cast<unsigned int>(scan.fault_records), static_cast<long>(found.dat_count));
    }
    return -1;
  }
  if (scan.records < found.ptr_count) {
    LogLine("ERROR: short PTR read in conference %d at record %ld", c, static_cast<long>(scan.records));
    return -1;
  }
  if (scan.close_failed) {
    LogLine("ERROR: could not close %s after preflight", files.ptr.text);
    return -1;
  }
  return 0;
}

}  // namespace

MessageBaseFiles InspectMessageBase(const MessageBase& base, int32_t conference) {
  MessageBaseFiles files;
  files.paths_fit = FormatBasePath(base, conference, "PTR", &files.ptr) == 0 &&
                    FormatBasePath(base, conference, "DAT", &files.dat) == 0 &&
                    FormatBasePath(base, conference, "IDX", &files.idx) == 0;
  if (!files.paths_fit) return files;
  PreflightResult& found = files.found;
  files.inspected = InspectFileSize(files.ptr, &found.ptr_exists, &found.ptr_size) == 0 &&
                    InspectFileSize(files.dat, &found.dat_exists, &found.dat_size) == 0 &&
                    InspectFileSize(files.idx, &found.idx_exists, &found.idx_size) == 0;
  found.ptr_count = found.ptr_size / static_cast<int32_t>(kPtrRecordSize);
  found.dat_count = found.dat_size / static_cast<int32_t>(kDatRecordSize);
  found.idx_count = found.idx_size / static_cast<int32_t>(kIdxRecordSize);
  return files;
}

int JudgeMessageBase(int32_t conference, const MessageBaseFiles& files, const PtrScan& scan) {
  if (JudgeSizes(conference, files) != 0 || JudgeDatRange(conference, files.found) != 0) return -1;
  return JudgeHeaders(conference, files, scan);
}

int PreflightMessageBase(const MessageBase& base, int32_t conference, bool verbose, PreflightResult* result) {
  const MessageBaseFiles files = InspectMessageBase(base, conference);
  const PreflightResult& found = files.found;
  if (JudgeSizes(conference, files) != 0) return -1;
  if (verbose) WarnOfTrailingIndex(conference, found);
  if (JudgeDatRange(conference, found) != 0) return -1;
  if (found.ptr_count != 0 && JudgeHeaders(conference, files, ScanPtrFile(files.ptr, 0, found.dat_count)) != 0) {
    return -1;
  }
  if (verbose) {
    LogLine("  conf %d message base: PTR=%ld IDX=%ld DAT=%ld record(s) -- OK", conference,
            static_cast<long>(found.ptr_count), static_cast<long>(found.idx_count), static_cast<long>(found.dat_count));
    ReportDatCapacity(conference, found.dat_count);
  }
  if (result != nullptr) *result = found;
  return 0;
}

void ReportDatCapacity(int32_t conference, int64_t dat_count) {
  struct Level {
    int64_t percent;
    const char* name;
    const char* advice;
  };
  constexpr Level kLevels[] = {
      {100, "FULL", "no further inbound message can be appended"},
      {95, "URGENT", "pack this conference as soon as possible"},
      {90, "WARNING", "packing is strongly recommended"},
      {80, "NOTICE", "plan to pack this conference soon"},
  };
  for (const Level& level : kLevels) {
    if (100 * dat_count < level.percent * kMostDatRecords) continue;
    const auto tenths = static_cast<unsigned int>((1000 * dat_count + kMostDatRecords / 2) / kMostDatRecords);
    LogLine("  %s: conf %d DAT capacity is %ld/65536 records (%u.%u%%); %s", level.name, conference,
            static_cast<long>(dat_count), tenths / 10, tenths % 10, level.advice);
    LogLine("          Back up the message directory, then run CVPCKMSG /CONF%d to reclaim deleted/purged DAT records.",
            conference);
    return;
  }
}
