// The preflight: a read-only check that a conference's message base is sound, made before anything relies on it and
// again before every append.
#pragma once

#include <cstdint>

#include "bbs/base_files.h"

// Checks the message base of `conference`. With `verbose` it also reports the counts, an index that trails the headers,
// and a DAT file that is nearly full. Fills `result` when it is given and the check succeeds. Returns 0, or -1 after
// logging why.
int PreflightMessageBase(const MessageBase& base, int32_t conference, bool verbose, PreflightResult* result);

// Logs what JudgeMessageBase has found in the files, for the toss, which reads the PTR file once for the preflight and
// for its own questions; nothing for kBaseSound.
void ReportBaseFault(int32_t conference, BaseFault fault, const MessageBaseFiles& files, const PtrScan& scan);

// Logs how full the DAT file is when it has 80% of the records it can ever hold, or more.
void ReportDatCapacity(int32_t conference, int64_t dat_count);
