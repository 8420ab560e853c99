#include "kit/index_judge.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace {

bool IsNameOf(uint32_t crc, const NameModel& name) { return !name.whole || crc == name.crc; }

// The BBS may set the thread in one of the two only. A zero in the index is a thread that was lost.
bool IsThreadOf(const IdxRecord& entry, const HeaderModel& header) {
  return entry.ThreadRef != 0 || header.thread == 0;
}

// The headers by number, for entries that are not at their expected position.
class HeaderPlaces {
 public:
  explicit HeaderPlaces(const BaseModel& model) {
    places_.reserve(model.headers.size());
    for (size_t i = 0; i < model.headers.size(); ++i) places_.emplace_back(model.headers[i].number, i);
    std::sort(places_.begin(), places_.end());
  }

  // Returns the first header with that number at or after `from`, or the count of headers.
  size_t Find(int32_t number, size_t from) const {
    const auto found = std::lower_bound(places_.begin(), places_.end(), std::pair(number, from));
    return found != places_.end() && found->first == number ? found->second : places_.size();
  }

 private:
  std::vector<std::pair<int32_t, size_t>> places_;
};

bool IsLooseFrom(const BaseModel& model, size_t entry) {
  const int32_t highest = model.Highest();
  return std::all_of(model.index.begin() + static_cast<ptrdiff_t>(entry), model.index.end(),
                     [highest](const IdxRecord& record) { return record.MsgNumber > highest; });
}

}  // namespace

bool IsEntryOf(const IdxRecord& entry, const HeaderModel& header) {
  return entry.MsgNumber == header.number && IsThreadOf(entry, header) && IsNameOf(entry.FromCrc, header.from) &&
         IsNameOf(entry.ToCrc, header.to);
}

IndexJudgement JudgeIndex(const BaseModel& model) {
  std::optional<HeaderPlaces> places;  // most indexes follow the headers and never need it
  size_t next = 0;                     // the first header that the next entry may belong to
  for (size_t i = 0; i < model.index.size(); ++i, ++next) {
    const IdxRecord& entry = model.index[i];
    if (next == model.headers.size() || model.headers[next].number != entry.MsgNumber) {
      if (!places) places.emplace(model);
      next = places->Find(entry.MsgNumber, next);
    }
    if (next == model.headers.size()) {
      return {IsLooseFrom(model, i) ? IndexVerdict::kLooseEnd : IndexVerdict::kContradicts, i, 0, "number"};
    }
    if (!IsNameOf(entry.FromCrc, model.headers[next].from)) return {IndexVerdict::kContradicts, i, 0, "sender"};
    if (!IsNameOf(entry.ToCrc, model.headers[next].to)) return {IndexVerdict::kContradicts, i, 0, "recipient"};
    if (!IsThreadOf(entry, model.headers[next])) return {IndexVerdict::kContradicts, i, 0, "thread"};
  }
  return {model.index.size() == model.headers.size() ? IndexVerdict::kWhole : IndexVerdict::kShort, 0, next, ""};
}
