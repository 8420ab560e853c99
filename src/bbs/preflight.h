// The preflight: a read-only check that a conference's message base is sound, made at the start of a run and again
// before every append.
#pragma once

#include <cstdint>

#include "bbs/base_files.h"

// Checks the message base of `conference`. With `verbose` also logs the counts, an index shorter than the headers, and
// a DAT file that is nearly full. Fills `result` when it is given and the check succeeds. Returns 0, or -1 after
// logging why.
int PreflightMessageBase(const MessageBase& base, int32_t conference, bool verbose, PreflightResult* result);

// Logs the fault that JudgeMessageBase has found in the files; nothing for kBaseSound. The toss calls it by itself, for
// it reads the PTR file once for the preflight and for what else it has to know.
void ReportBaseFault(int32_t conference, BaseFault fault, const MessageBaseFiles& files, const PtrScan& scan);

// Logs how full the DAT file is if it has at least 80% of the records that it can hold.
void ReportDatCapacity(int32_t conference, int64_t dat_count);
