// The files of a conference's message base: which are there, their sizes, and whether they are sound. Nothing is logged
// or changed here.
#pragma once

#include <cstdint>

#include "app/site_paths.h"
#include "bbs/file_restore.h"
#include "bbs/ptr_scan.h"

// Which files exist, their sizes and their record counts.
struct PreflightResult {
  FileExtent ptr;
  FileExtent dat;
  FileExtent idx;
  int32_t ptr_count = 0;
  int32_t dat_count = 0;
  int32_t idx_count = 0;
};

// The paths of a conference's three files and what their status says.
struct MessageBaseFiles {
  BasePath ptr;
  BasePath dat;
  BasePath idx;
  bool paths_fit = false;  // else the paths are empty
  bool inspected = false;  // the status of each file could be read, or the file is absent
  PreflightResult found;   // a file that could not be inspected counts as absent
};

MessageBaseFiles InspectMessageBase(const MessageBase& base, int32_t conference);

// What is wrong with a message base; the first fault that applies.
enum BaseFault {
  kBaseSound,
  kBasePathTooLong,
  kBaseNotInspected,
  kBaseNotAligned,  // a file is not whole records
  kBaseWithoutPtr,  // IDX or DAT records, but no header
  kBaseIdxTooLong,  // more IDX records than headers
  kBaseDatTooLong,  // more DAT records than 16 bits can address
  kBaseNotOpened,   // the PTR file
  kBaseNoRecords,   // a live header without text
  kBasePastDat,     // a live header whose text lies beyond the DAT file
  kBaseReadShort,   // the PTR file ended before its size
  kBaseNotClosed,   // the PTR file
};

// Judges the sizes, up to kBaseIdxTooLong.
BaseFault JudgeBaseSizes(const MessageBaseFiles& files);

// Judges the sizes and, by one ScanPtrFile over `files.ptr` with `files.found.dat_count`, the headers.
BaseFault JudgeMessageBase(const MessageBaseFiles& files, const PtrScan& scan);

// Whether `records` more DAT records can be added to `dat_count`, so that headers can still address all of them.
bool FitsDatRange(int64_t dat_count, uint64_t records);
