#include "bbs/append_judge.h"

#include <limits>

#include "bbs/base_files.h"
#include "bbs/records.h"

namespace {

constexpr uint64_t kLargestBody = 4294967169;  // rounded up to whole records it still fits 32 bits

}  // namespace

AppendJudgement JudgeAppend(int64_t dat_count, int32_t highest, uint64_t body_size) {
  if (body_size > kLargestBody) return {kAppendTextTooLarge};
  const uint64_t records = body_size == 0 ? 1 : (body_size - 1) / kDatTextSize + 1;
  AppendJudgement judgement = {kAppendFits, static_cast<size_t>(records)};
  if (!FitsDatRange(dat_count, records)) {
    judgement.fault = kAppendPastDatRange;
  } else if (highest == std::numeric_limits<int32_t>::max()) {
    judgement.fault = kAppendNumbersUsedUp;
  }
  return judgement;
}
