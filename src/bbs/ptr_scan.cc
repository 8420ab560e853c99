#include "bbs/ptr_scan.h"

#include "bbs/records.h"

namespace {

// Large enough that a conference of a thousand messages takes one read, small enough to stay in the processor's
// cache.
constexpr size_t kPieceRecords = 1024;

PtrFault Judge(const PtrVitals& vitals, int64_t dat_records) {
  if (vitals.Records == 0) return kPtrNoRecords;
  if (int64_t{vitals.Where} + vitals.Records > dat_records) return kPtrPastDat;
  return kPtrSound;
}

void NoteFault(const PtrVitals& vitals, PtrFault fault, PtrScan* scan) {
  scan->fault = fault;
  scan->fault_record = scan->records;
  scan->fault_number = vitals.MsgNumber;
  scan->fault_where = vitals.Where;
  scan->fault_records = vitals.Records;
}

void ScanRecord(const uint8_t* record, int32_t parent, int64_t dat_records, PtrScan* scan) {
  const PtrVitals vitals = UnpackPtrVitals(record);
  if (vitals.MsgNumber > scan->highest) scan->highest = vitals.MsgNumber;
  if (!vitals.Deleted) {
    if (parent >= 1 && vitals.MsgNumber == parent) scan->parent_live = true;
    const PtrFault fault = Judge(vitals, dat_records);
    if (fault != kPtrSound && scan->fault == kPtrSound) NoteFault(vitals, fault, scan);
  }
  ++scan->records;
}

}  // namespace

PtrScan ScanPtrFile(const OsPlace& place, int32_t parent, int64_t dat_records) {
  PtrScan scan;
  OsFile file;
  if (OsOpen(place, kOsRead, &file) != kOsOk) return scan;
  scan.opened = true;
  const int64_t size = OsSize(file);
  uint8_t piece[kPieceRecords * kPtrRecordSize];
  int64_t at = 0;
  while (at < size) {
    const int64_t left = size - at;
    const size_t wanted = left < static_cast<int64_t>(sizeof piece) ? static_cast<size_t>(left) : sizeof piece;
    const size_t got = OsReadAt(file, at, piece, wanted).bytes;
    for (size_t record = 0; record + kPtrRecordSize <= got; record += kPtrRecordSize) {
      ScanRecord(piece + record, parent, dat_records, &scan);
    }
    if (got < wanted) break;
    at += static_cast<int64_t>(got);
  }
  scan.close_failed = OsClose(&file) != 0;
  return scan;
}
