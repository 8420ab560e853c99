#include "kit/verify_base.h"

#include <algorithm>
#include <string>
#include <vector>

#include "kit/index_judge.h"
#include "kit/kit_format.h"
#include "kit/mail_match.h"
#include "kit/number_set.h"

namespace {

// The findings of one conference.
struct BaseJudging {
  const BaseModel& model;
  Findings* findings;

  void Add(const char* code, Severity severity, const BaseFile& file, int64_t record, std::string text,
           std::string repair = {}) const {
    findings->push_back({code, severity, model.conference, file.Path(), record, std::move(text), std::move(repair)});
  }
};

void JudgeSize(const BaseJudging& judging, const BaseFile& file, size_t record_size) {
  const int64_t rest = file.size % static_cast<int64_t>(record_size);
  if (rest == 0) return;
  judging.Add("odd-size", Severity::kDamage, file, file.size / static_cast<int64_t>(record_size),
              fmt::format("{} bytes stand behind the last whole record", rest), "cut them off");
}

void JudgeIndexFile(const BaseJudging& judging, const InboundMail& mail) {
  const BaseModel& model = judging.model;
  const size_t entries = model.index.size();
  const size_t headers = model.headers.size();
  const IndexJudgement index = JudgeIndex(model);
  const auto entry = static_cast<int64_t>(index.entry);
  switch (index.verdict) {
    case IndexVerdict::kWhole: return;
    case IndexVerdict::kShort:
      if (const size_t lost = FindLostEntries(model, mail); lost != headers) {
        judging.Add("index-cut", Severity::kDamage, model.idx, static_cast<int64_t>(entries),
                    fmt::format("{} of inbound mail, from message #{} on, without an index entry",
                                Count(headers - lost, "header"), model.headers[lost].number),
                    "add the entries");
        return;
      }
      judging.Add("index-short", Severity::kNote, model.idx, -1,
                  fmt::format("the index has {} for {}", Count(entries, "entry", "entries"), Count(headers, "header")));
      return;
    case IndexVerdict::kLooseEnd:
      judging.Add(
          "index-loose", Severity::kDamage, model.idx, entry,
          fmt::format("{} at the end of the index without a header", Count(entries - index.entry, "entry", "entries")),
          "cut the index there");
      return;
    case IndexVerdict::kContradicts:
      judging.Add("index-differs", Severity::kDamage, model.idx, entry,
                  fmt::format("the index names another {} than the headers", index.differs),
                  "build the index anew from the headers");
      return;
  }
}

// Returns what is wrong with a live header's text; empty for nothing.
std::string TextFault(const BaseModel& model, const HeaderModel& header, const char** code) {
  const int64_t end = int64_t{header.where} + header.records;
  if (header.records == 0) {
    *code = "no-text";
    return fmt::format("message #{} has a header without text", header.number);
  }
  if (end > model.DatCount()) {
    *code = "past-text";
    return fmt::format("message #{} has its text beyond the end of the texts (records {} to {} of {})", header.number,
                       header.where, end - 1, model.DatCount());
  }
  if (HasLostText(model, header)) {
    *code = "blank-text";
    return fmt::format("message #{} has lost a part of its text: zero bytes stand there", header.number);
  }
  return {};
}

void JudgeHeaders(const BaseJudging& judging) {
  const BaseModel& model = judging.model;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    const auto record = static_cast<int64_t>(i);
    if (header.blank) {
      judging.Add("blank-header", Severity::kDamage, model.ptr, record, "a header is zero throughout");
      continue;
    }
    const char* code = "";
    if (header.number < 1) {
      judging.Add("number-range", Severity::kDamage, model.ptr, record,
                  fmt::format("a header has the message number {}", header.number));
    } else if (header.holed) {
      judging.Add("holed-header", Severity::kDamage, model.ptr, record,
                  fmt::format("the header of message #{} has lost a part: zero bytes stand there", header.number));
    } else if (const std::string fault = header.deleted ? "" : TextFault(model, header, &code); !fault.empty()) {
      judging.Add(code, Severity::kDamage, model.ptr, record, fault);
    }
  }
}

// The range of a header's text, limited to the records that exist.
struct Extent {
  int64_t from;
  int64_t to;
  size_t header;
  bool deleted;
};

std::vector<Extent> Extents(const BaseModel& model) {
  std::vector<Extent> extents;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    const int64_t to = std::min(int64_t{header.where} + header.records, model.DatCount());
    if (header.where < to) extents.push_back({header.where, to, i, header.deleted});
  }
  const auto is_before = [](const Extent& left, const Extent& right) { return left.from < right.from; };
  if (!std::is_sorted(extents.begin(), extents.end(), is_before)) {
    std::stable_sort(extents.begin(), extents.end(), is_before);
  }
  return extents;
}

void ReportOverlap(const BaseJudging& judging, const Extent& first, const Extent& second) {
  const std::vector<HeaderModel>& headers = judging.model.headers;
  judging.Add("overlap", Severity::kDamage, judging.model.ptr, static_cast<int64_t>(second.header),
              fmt::format("message #{} has its text where message #{} has its own", headers[second.header].number,
                          headers[first.header].number));
}

void JudgeTexts(const BaseJudging& judging) {
  const BaseModel& model = judging.model;
  int64_t covered = 0;  // the records before it belong to headers, or have been counted
  int64_t gaps = 0;
  int64_t first_gap = -1;
  const Extent none = {0, 0, 0, true};
  Extent last_live = none;
  for (const Extent& extent : Extents(model)) {
    if (extent.from > covered) {
      if (first_gap < 0) first_gap = covered;
      gaps += extent.from - covered;
    }
    covered = std::max(covered, extent.to);
    if (extent.deleted) continue;
    if (extent.from < last_live.to) ReportOverlap(judging, last_live, extent);
    if (extent.to > last_live.to) last_live = extent;
  }
  if (gaps != 0) {
    judging.Add("text-gap", Severity::kNote, model.dat, first_gap,
                fmt::format("{} of text without a header between those of messages", Count(gaps, "record")));
  }
  if (const int64_t end = model.TextEnd(); end < model.DatCount()) {
    judging.Add("loose-text", Severity::kLeftover, model.dat, end,
                fmt::format("{} of text without a header at the end", Count(model.DatCount() - end, "record")),
                "cut them off");
  }
  if (model.DatCount() > kMostDatRecords) {
    judging.Add("too-many-texts", Severity::kDamage, model.dat, kMostDatRecords,
                fmt::format("{} of text are more than {} can be addressed", Count(model.DatCount(), "record"),
                            kMostDatRecords));
  }
}

void JudgeNumbers(const BaseJudging& judging) {
  const BaseModel& model = judging.model;
  NumberSet numbers;
  numbers.Reserve(model.headers.size());
  int32_t highest = 0;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const int32_t number = model.headers[i].number;
    if (number < 1) continue;
    if (!numbers.Insert(number)) {
      judging.Add("number-twice", Severity::kDamage, model.ptr, static_cast<int64_t>(i),
                  fmt::format("the message number {} stands twice", number));
    } else if (number < highest) {
      judging.Add("number-order", Severity::kDamage, model.ptr, static_cast<int64_t>(i),
                  fmt::format("message #{} stands behind #{}", number, highest));
    }
    highest = std::max(highest, number);
  }

  size_t lost = 0;
  int64_t first = -1;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    if (header.deleted || !header.reply || numbers.Contains(header.thread)) continue;
    if (lost++ == 0) first = static_cast<int64_t>(i);
  }
  if (lost != 0) {
    judging.Add(
        "thread-nowhere", Severity::kNote, model.ptr, first,
        fmt::format("{} to a message that is not there", lost == 1 ? "1 reply" : fmt::format("{} replies", lost)));
  }
}

}  // namespace

void JudgeBase(const BaseModel& model, const InboundMail& mail, Findings* findings) {
  const BaseJudging judging = {model, findings};
  JudgeSize(judging, model.ptr, kPtrRecordSize);
  JudgeSize(judging, model.idx, kIdxRecordSize);
  JudgeSize(judging, model.dat, kDatRecordSize);
  if (model.headers.empty()) {
    if (model.index.empty() && model.DatCount() == 0) return;
    const bool begun = IsBegun(model, mail);
    judging.Add("no-headers", Severity::kDamage, model.ptr, -1,
                fmt::format("there are {} of text and {}, but no headers", Count(model.DatCount(), "record"),
                            Count(model.index.size(), "index entry", "index entries")),
                begun ? "empty both files" : "");
    return;
  }
  JudgeIndexFile(judging, mail);
  JudgeHeaders(judging);
  JudgeTexts(judging);
  JudgeNumbers(judging);
}
