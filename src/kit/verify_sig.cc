#include "kit/verify_sig.h"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/msgid_set.h"
#include "kit/number_set.h"

namespace {

struct SigJudging {
  const BaseModel& model;
  Findings* findings;

  void Add(const char* code, Severity severity, const BaseFile& file, size_t record, std::string text,
           std::string repair = {}) const {
    findings->push_back({code, severity, model.conference, file.Path(), static_cast<int64_t>(record), std::move(text),
                         std::move(repair)});
  }
};

// Counts findings of one kind and reports them as one.
struct Several {
  size_t count = 0;
  size_t first = 0;

  void Add(size_t record) {
    if (count++ == 0) first = record;
  }
};

// Counts messages, and names their numbers, which come in ascending order: "#3, #5 to #9".
class NamedMessages {
 public:
  void Add(size_t record, int64_t number) {
    if (count_++ == 0) first_record_ = record;
    if (!ranges_.empty() && number == ranges_.back().second + 1) {
      ranges_.back().second = number;
    } else {
      ranges_.emplace_back(number, number);
    }
  }

  size_t Count() const { return count_; }
  size_t FirstRecord() const { return first_record_; }

  std::string Names() const {
    constexpr size_t kMostRanges = 20;
    std::string names;
    for (size_t i = 0; i < ranges_.size() && i < kMostRanges; ++i) {
      const auto [from, to] = ranges_[i];
      names += fmt::format("{}#{}", i == 0 ? "" : ", ", from) + (to == from ? "" : fmt::format(" to #{}", to));
    }
    return names + (ranges_.size() > kMostRanges ? ", ..." : "");
  }

 private:
  size_t count_ = 0;
  size_t first_record_ = 0;
  std::vector<std::pair<int64_t, int64_t>> ranges_;
};

void JudgeLines(const SigJudging& judging, const LostLines& lost) {
  const BaseModel& model = judging.model;
  NumberSet numbers;
  numbers.Reserve(model.headers.size());
  for (const HeaderModel& header : model.headers) (void)numbers.Insert(header.number);
  MsgidSet msgids(model.lines.size());
  NumberSet named;
  named.Reserve(model.lines.size());
  Several zeros;
  Several without_tab;
  Several without_header;
  Several twice;
  const size_t ended = model.EndedLines();
  if (ended != model.lines.size()) {
    const SigLine& cut = model.lines[ended];
    judging.Add("sig-cut", Severity::kDamage, model.sig, ended,
                fmt::format("the last line has no end: '{}'",
                            ShownMail(std::string_view(model.sig_text).substr(cut.at, cut.size))),
                "remove it");
  }
  for (size_t i = 0; i < ended; ++i) {
    const SigLine& line = model.lines[i];
    const bool again = !msgids.Insert(model.Msgid(line));
    if (line.holed) {
      zeros.Add(i);
    } else if (!line.has_tab) {
      without_tab.Add(i);
    } else if (lost.IsLost(line)) {
      judging.Add("sig-beyond", Severity::kDamage, model.sig, i,
                  fmt::format("the line of '{}' names message #{}, which is lost; its mail is inbound and would be "
                              "dropped as a duplicate",
                              ShownMail(model.Msgid(line)), line.number),
                  "remove the line");
    } else if (!numbers.Contains(line.number)) {
      without_header.Add(i);
    } else if (again || !named.Insert(line.number)) {
      twice.Add(i);
    }
  }
  if (zeros.count != 0) {
    judging.Add("sig-zeros", Severity::kDamage, model.sig, zeros.first,
                Count(zeros.count, "line") + " with zero bytes, behind which no run reads", "remove the zero bytes");
  }
  if (without_tab.count != 0) {
    judging.Add("sig-no-tab", Severity::kNote, model.sig, without_tab.first,
                Count(without_tab.count, "line") + " without a message number");
  }
  if (without_header.count != 0) {
    judging.Add("sig-no-header", Severity::kNote, model.sig, without_header.first,
                Count(without_header.count, "line") + " of messages that are not there");
  }
  if (twice.count != 0) {
    judging.Add("sig-twice", Severity::kNote, model.sig, twice.first,
                Count(twice.count, "line") + " with a MSGID or a number that stands before; the first counts");
  }
}

void JudgeUnsigned(const SigJudging& judging, const MissingLines& missing, const std::vector<TornMessage>& torn) {
  const BaseModel& model = judging.model;
  NumberSet named;
  named.Reserve(model.lines.size());
  for (const SigLine& line : model.lines) {
    if (line.has_tab && line.ended) (void)named.Insert(line.number);
  }
  std::unordered_set<size_t> reported;
  for (const TornMessage& message : torn) {
    reported.insert(message.header);
    judging.Add("torn", Severity::kDamage, model.ptr, message.header,
                fmt::format("message #{} was stored in part; its source {} is inbound",
                            model.headers[message.header].number, ShownName(message.source)),
                "cut it off at the end, so that it is stored again");
  }
  for (const MissingLine& line : missing.lines) {
    reported.insert(line.header);
    judging.Add("sig-missing", Severity::kDamage, model.ptr, line.header,
                fmt::format("message #{} was stored without its SIG line; its source {} is inbound and would store it "
                            "again",
                            model.headers[line.header].number, ShownName(line.source)),
                "add the line of '" + ShownMail(line.msgid) + "'");
  }
  for (const size_t header : missing.twins) {
    reported.insert(header);
    judging.Add("sig-missing-twins", Severity::kDamage, model.ptr, header,
                fmt::format("message #{} and others of the same text have no SIG line, and a source that is inbound "
                            "has fewer of them: which is whose cannot be told",
                            model.headers[header].number));
  }
  for (const StoredAgain& message : missing.again) {
    reported.insert(message.header);
    judging.Add("stored-again", Severity::kDamage, model.ptr, message.header,
                fmt::format("message #{} has no MSGID, and its source {} is inbound: a toss would store it again",
                            model.headers[message.header].number, ShownName(message.source)));
  }
  NamedMessages rest;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    if (header.inbound && !header.deleted && !named.Contains(header.number) && !reported.contains(i)) {
      rest.Add(i, header.number);
    }
  }
  if (rest.Count() != 0) {
    judging.Add(
        "sig-none", Severity::kNote, model.ptr, rest.FirstRecord(),
        fmt::format("{} from the network without a SIG line: {}", Count(rest.Count(), "message"), rest.Names()));
  }
}

}  // namespace

LostLines::LostLines(const BaseModel& model, const InboundMail& mail) : model_(model), highest_(model.Highest()) {
  for (const InboundItem& item : mail.items) {
    if (item.conference == model.conference && !item.msgid.empty()) inbound_.push_back(item.msgid);
  }
  std::sort(inbound_.begin(), inbound_.end());
}

bool LostLines::IsLost(const SigLine& line) const {
  return line.ended && line.has_tab && line.number > highest_ &&
         std::binary_search(inbound_.begin(), inbound_.end(), model_.Msgid(line));
}

void JudgeSig(const BaseModel& model, const InboundMail& mail, Findings* findings) {
  const SigJudging judging = {model, findings};
  JudgeLines(judging, LostLines(model, mail));
  JudgeUnsigned(judging, FindMissingLines(model, mail), FindTornMessages(model, mail));
}
