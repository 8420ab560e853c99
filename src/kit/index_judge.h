// Judges whether an index agrees with its headers.
//
// The BBS leaves out entries, and a run appends its own at the end. So an index is right when each of its entries
// belongs to a header and the entries are in the order of the headers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kit/base_model.h"

enum class IndexVerdict {
  kWhole,        // right, with an entry for each header
  kShort,        // right, with some entries left out
  kLooseEnd,     // right, except for entries at its end whose messages have no header
  kContradicts,  // an entry belongs to no header, or to another one
};

struct IndexJudgement {
  IndexVerdict verdict = IndexVerdict::kWhole;
  size_t entry = 0;     // the first wrong one, or the first without a header
  size_t tail = 0;      // of a right one: the first header after the last that has an entry
  std::string differs;  // which field is wrong: "number", "sender", "recipient" or "thread"
};

// Compares the index entries with the headers, in their order.
IndexJudgement JudgeIndex(const BaseModel& model);

// Whether an entry can be that of the header.
bool IsEntryOf(const IdxRecord& entry, const HeaderModel& header);
