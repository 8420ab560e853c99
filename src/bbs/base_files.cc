#include "bbs/base_files.h"

#include "bbs/records.h"

namespace {

BaseFault JudgeHeaders(const PreflightResult& found, const PtrScan& scan) {
  if (found.ptr_count == 0) return kBaseSound;
  if (!scan.opened) return kBaseNotOpened;
  if (scan.fault != kPtrSound && scan.fault_record < found.ptr_count) {
    return scan.fault == kPtrNoRecords ? kBaseNoRecords : kBasePastDat;
  }
  if (scan.records < found.ptr_count) return kBaseReadShort;
  return scan.close_failed ? kBaseNotClosed : kBaseSound;
}

}  // namespace

MessageBaseFiles InspectMessageBase(const MessageBase& base, int32_t conference) {
  MessageBaseFiles files;
  files.paths_fit = FormatBasePath(base, conference, "PTR", &files.ptr) == 0 &&
                    FormatBasePath(base, conference, "DAT", &files.dat) == 0 &&
                    FormatBasePath(base, conference, "IDX", &files.idx) == 0;
  if (!files.paths_fit) return files;
  PreflightResult& found = files.found;
  files.inspected = InspectFile(files.ptr, &found.ptr) == 0 && InspectFile(files.dat, &found.dat) == 0 &&
                    InspectFile(files.idx, &found.idx) == 0;
  found.ptr_count = found.ptr.size / static_cast<int32_t>(kPtrRecordSize);
  found.dat_count = found.dat.size / static_cast<int32_t>(kDatRecordSize);
  found.idx_count = found.idx.size / static_cast<int32_t>(kIdxRecordSize);
  return files;
}

BaseFault JudgeBaseSizes(const MessageBaseFiles& files) {
  const PreflightResult& found = files.found;
  if (!files.paths_fit) return kBasePathTooLong;
  if (!files.inspected) return kBaseNotInspected;
  if (found.ptr.size % static_cast<int32_t>(kPtrRecordSize) != 0 ||
      found.idx.size % static_cast<int32_t>(kIdxRecordSize) != 0 ||
      found.dat.size % static_cast<int32_t>(kDatRecordSize) != 0) {
    return kBaseNotAligned;
  }
  if (found.ptr.size == 0 && (found.idx.size != 0 || found.dat.size != 0)) return kBaseWithoutPtr;
  return found.idx_count > found.ptr_count ? kBaseIdxTooLong : kBaseSound;
}

BaseFault JudgeMessageBase(const MessageBaseFiles& files, const PtrScan& scan) {
  const BaseFault sizes = JudgeBaseSizes(files);
  if (sizes != kBaseSound) return sizes;
  return files.found.dat_count > kMostDatRecords ? kBaseDatTooLong : JudgeHeaders(files.found, scan);
}

bool FitsDatRange(int64_t dat_count, uint64_t records) {
  constexpr uint64_t kLargestWord = 65535;
  const auto where = static_cast<uint64_t>(dat_count);
  return where <= kLargestWord && records <= kLargestWord && where + records <= static_cast<uint64_t>(kMostDatRecords);
}
