#include "bbs/preflight.h"

#include "app/run_log.h"
#include "bbs/records.h"

namespace {

void WarnOfTrailingIndex(int32_t c, const PreflightResult& found) {
  if (found.ptr_count <= found.idx_count) return;
  LogLine(
      "WARNING: conference %d IDX trails PTR by %ld record(s); this can be a Corvane-native quirk, but should be monitored",
      c, static_cast<long>(found.ptr_count - found.idx_count));
}

}  // namespace

int PreflightMessageBase(const MessageBase& base, int32_t conference, bool verbose, PreflightResult* result) {
  const MessageBaseFiles files = InspectMessageBase(base, conference);
  const PreflightResult& found = files.found;
  const bool sizes_are_sound = JudgeBaseSizes(files) == kBaseSound;
  if (sizes_are_sound && verbose) WarnOfTrailingIndex(conference, found);
  PtrScan scan;
  if (sizes_are_sound && found.ptr_count != 0 && found.dat_count <= kMostDatRecords) {
    scan = ScanPtrFile(files.ptr, 0, found.dat_count);
  }
  const BaseFault fault = JudgeMessageBase(files, scan);
  if (fault != kBaseSound) {
    ReportBaseFault(conference, fault, files, scan);
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

void ReportBaseFault(int32_t c, BaseFault fault, const MessageBaseFiles& files, const PtrScan& scan) {
  const PreflightResult& found = files.found;
  switch (fault) {
    case kBaseSound: return;
    case kBasePathTooLong: LogLine("ERROR: message-base path is too long for conference %d", c); return;
    case kBaseNotInspected: LogLine("ERROR: could not inspect message-base files for conference %d", c); return;
    case kBaseNotAligned: LogLine("ERROR: conference %d has a non-record-aligned PTR, IDX, or DAT file", c); return;
    case kBaseWithoutPtr: LogLine("ERROR: conference %d has IDX/DAT data but no PTR records", c); return;
    case kBaseIdxTooLong:
      LogLine("ERROR: conference %d IDX has %ld records but PTR has only %ld", c, static_cast<long>(found.idx_count),
              static_cast<long>(found.ptr_count));
      return;
    case kBaseDatTooLong:
      LogLine("ERROR: conference %d DAT has %ld records, beyond Corvane's 16-bit addressable range", c,
              static_cast<long>(found.dat_count));
      return;
    case kBaseNotOpened: LogLine("ERROR: could not open %s for preflight", files.ptr.text); return;
    case kBaseNoRecords:
      LogLine("ERROR: conference %d message #%d has zero body records", c, scan.fault_number);
      return;
    case kBasePastDat:
      LogLine("ERROR: conference %d message #%d points past DAT (Where=%u, Records=%u, DAT records=%ld)", c,
              scan.fault_number, static_cast<unsigned int>(scan.fault_where),
              static_cast<unsigned int>(scan.fault_records), static_cast<long>(found.dat_count));
      return;
    case kBaseReadShort:
      LogLine("ERROR: short PTR read in conference %d at record %ld", c, static_cast<long>(scan.records));
      return;
    case kBaseNotClosed: LogLine("ERROR: could not close %s after preflight", files.ptr.text); return;
  }
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
