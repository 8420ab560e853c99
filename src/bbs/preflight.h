// The preflight: a read-only check that a conference's message base is sound, made before anything relies on it and
// again before every append.
#pragma once

#include <cstdint>

#include "bbs/message_base.h"
#include "bbs/ptr_scan.h"

// What a successful preflight measured: which files are there, their sizes in bytes and their record counts.
struct PreflightResult {
  bool ptr_exists = false;
  bool dat_exists = false;
  bool idx_exists = false;
  int32_t ptr_size = 0;
  int32_t dat_size = 0;
  int32_t idx_size = 0;
  int32_t ptr_count = 0;
  int32_t dat_count = 0;
  int32_t idx_count = 0;
};

// The three files of a conference as the file system shows them, before anything is judged or logged.
struct MessageBaseFiles {
  BasePath ptr;
  BasePath dat;
  BasePath idx;
  bool paths_fit = false;
  bool inspected = false;  // the status of each could be read, or it is absent
  PreflightResult found;
};

// Checks the message base of `conference`. With `verbose` it also reports the counts, an index that trails the headers,
// and a DAT file that is nearly full. Fills `result` when it is given and the check succeeds. Returns 0, or -1 after
// logging why.
int PreflightMessageBase(const MessageBase& base, int32_t conference, bool verbose, PreflightResult* result);

// The preflight's two halves, for the toss, which reads the PTR file once for the preflight and for its own questions.
// Between them stands one ScanPtrFile over `files.ptr` with `files.found.dat_count`.
//
// The first logs nothing: when the paths are too long they are empty, and what could not be inspected counts as absent.
MessageBaseFiles InspectMessageBase(const MessageBase& base, int32_t conference);

// The second returns 0 when the message base is sound, else -1 after logging why.
int JudgeMessageBase(int32_t conference, const MessageBaseFiles& files, const PtrScan& scan);

// Logs how full the DAT file is when it has 80% of the records it can ever hold, or more.
void ReportDatCapacity(int32_t conference, int64_t dat_count);
