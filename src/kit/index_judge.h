// Whether an index belongs to its headers.
//
// The BBS leaves entries out, and a run appends its own behind those that are there. So an index is right when each of
// its entries belongs to a header and they stand in the headers' order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kit/base_model.h"

enum class IndexVerdict {
  kWhole,        // an entry for each header
  kShort,        // right, with entries left out
  kLooseEnd,     // right, but for entries at its end whose messages have no header
  kContradicts,  // an entry belongs to no header, or to another one
};

struct IndexJudgement {
  IndexVerdict verdict = IndexVerdict::kWhole;
  size_t entry = 0;     // the first loose or wrong one
  std::string differs;  // of a wrong one: "number", "sender", "recipient" or "thread"
};

IndexJudgement JudgeIndex(const BaseModel& model);

// Whether an entry is that of the header, as far as the header can tell.
bool IsEntryOf(const IdxRecord& entry, const HeaderModel& header);
