// Whether a message can be added to a conference, judged from what was read. Nothing is logged, read or changed here.
#pragma once

#include <cstddef>
#include <cstdint>

// Why a message cannot be added; the first reason that applies.
enum AppendFault {
  kAppendFits,
  kAppendTextTooLarge,   // for 32 bits
  kAppendPastDatRange,   // for what headers can address
  kAppendNumbersUsedUp,  // the highest MsgNumber is the last there is
};

struct AppendJudgement {
  AppendFault fault = kAppendFits;
  size_t records = 0;  // DatRecords that the text needs; 0 when it is too large
};

// Judges a text of `body_size` bytes against a DAT file of `dat_count` records and headers whose highest MsgNumber is
// `highest`. An empty text needs one record.
AppendJudgement JudgeAppend(int64_t dat_count, int32_t highest, uint64_t body_size);

// Returns the MsgNumber of a new message; 0 when the numbers are used up.
inline int32_t NextNumber(int32_t highest) { return highest != INT32_MAX ? highest + 1 : 0; }

// Whether message `number` is linked to `parent`; `parent_live` says whether a header that is not deleted has the
// parent's number.
inline bool IsThreaded(int32_t number, int32_t parent, bool parent_live) {
  return parent >= 1 && parent_live && parent != number;
}
