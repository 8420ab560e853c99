#include "kit/repair_base.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/scan_number.h"
#include "bbs/sig_search.h"
#include "kit/file_change.h"
#include "kit/index_judge.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/mail_match.h"
#include "kit/verify_sig.h"

namespace {

// A repair being planned: the base before and after it, and what is changed.
struct Planning {
  const BaseModel& old;
  BaseModel model;  // the headers, entries and lines that are kept
  BaseRepair repair;

  void Say(const BaseFile& file, const std::string& what) {
    repair.texts.push_back(ShownName(file.Path()) + ": " + what);
  }
};

std::string Content(const BaseFile& file) { return file.exists ? ReadText(file.Path()) : std::string(); }

// What is known about each header.
struct HeaderState {
  bool broken = false;   // its message is not whole
  bool inbound = false;  // its mail is still inbound, as far as anything is left of it
};

std::vector<HeaderState> JudgeHeaders(const BaseModel& model, const InboundMail& mail) {
  std::vector<HeaderState> states;
  for (const HeaderModel& header : model.headers) {
    const bool past = int64_t{header.where} + header.records > model.DatCount();
    const bool broken = header.blank || header.number < 1 || (!header.deleted && (header.records == 0 || past));
    states.push_back({broken, header.blank});
  }
  for (const TornMessage& message : FindTornMessages(model, mail)) states[message.header] = {true, true};
  for (const size_t header : FindInboundHeaders(model, mail)) states[header].inbound = true;
  return states;
}

// Returns the end of the headers to keep: no live message after it is whole, or the mail of all of them is inbound.
size_t WholeHeaders(const std::vector<HeaderState>& states, const BaseModel& model, const InboundMail& mail) {
  size_t end = states.size();
  while (end > 0 && (model.headers[end - 1].deleted || states[end - 1].broken)) --end;
  while (end < states.size() && !states[end].broken) ++end;
  size_t last_run = states.size();
  while (last_run > 0 && states[last_run - 1].inbound) --last_run;
  if (states.size() - last_run > mail.CountFor(model.conference)) return end;
  while (last_run < states.size() && !states[last_run].broken) ++last_run;
  return std::min(end, last_run);
}

// Cuts off the headers at the end whose messages are lost. If no message would be left, the files are probably from
// different times, and the operator has to decide, unless all mail is still inbound.
void CutHeaders(const InboundMail& inbound, Planning* planning) {
  const BaseModel& old = planning->old;
  const std::vector<HeaderState> states = JudgeHeaders(old, inbound);
  const bool all_inbound =
      states.size() <= inbound.CountFor(old.conference) &&
      std::all_of(states.begin(), states.end(), [](const HeaderState& one) { return one.inbound; });
  size_t kept = WholeHeaders(states, old, inbound);
  if (kept == 0 && !all_inbound) kept = old.headers.size();
  planning->model.headers.resize(kept);
  const size_t size = kept * kPtrRecordSize;
  if (static_cast<int64_t>(size) == old.ptr.size) return;
  planning->repair.ptr = Content(old.ptr).substr(0, size);
  if (kept == old.headers.size()) planning->Say(old.ptr, "cut off a piece of a header at the end");
  for (size_t i = kept; i < old.headers.size(); ++i) {
    planning->Say(old.ptr,
                  fmt::format("cut off the header of message #{}, whose message is not whole", old.headers[i].number));
  }
}

std::unordered_set<int32_t> Numbers(const BaseModel& model) {
  std::unordered_set<int32_t> numbers;
  for (const HeaderModel& header : model.headers) numbers.insert(header.number);
  return numbers;
}

// The numbers of the messages that are not kept: those of removed headers, and those that the index shows to be lost.
std::unordered_set<int32_t> LostNumbers(const BaseModel& old, const BaseModel& model) {
  std::unordered_set<int32_t> lost = Numbers(old);
  for (const IdxRecord& entry : old.index) {
    if (!old.headers.empty() && entry.MsgNumber > old.headers.back().number) lost.insert(entry.MsgNumber);
  }
  for (const HeaderModel& header : model.headers) lost.erase(header.number);
  return lost;
}

// Whether a line names the last message, which none of these lines does.
bool NamesLastMessage(const SigLine& line, const BaseModel& model, const std::vector<SigLine>& others) {
  if (!line.has_tab || model.headers.empty() || model.headers.back().number != line.number) return false;
  return std::none_of(others.begin(), others.end(),
                      [&line](const SigLine& other) { return other.has_tab && other.number == line.number; });
}

// Ends the line at the end of the file that has none, or removes it with all its pieces.
void MendHalfLine(size_t at, Planning* planning, std::vector<SigLine>* kept, std::string* text) {
  const BaseModel& old = planning->old;
  if (at == old.lines.size()) return;
  SigLine line = old.lines[at];
  std::string raw = old.sig_text.substr(line.at);
  raw.erase(raw.find_last_not_of('\0') + 1);
  if (std::ssize(raw) >= kSigPieceSize || !NamesLastMessage(line, planning->model, *kept)) {
    planning->Say(old.sig, "removed the half line at the end");
    return;
  }
  planning->Say(old.sig, "ended the last line");
  line.ended = true;
  kept->push_back(line);
  *text += raw + '\n';
}

// Keeps the lines of existing messages, and of those that the BBS has packed away. Returns whether zero bytes were
// removed: these lines can be judged only when the file is read again.
bool KeepLines(const InboundMail& inbound, Planning* planning, std::string* text) {
  const BaseModel& old = planning->old;
  BaseModel& model = planning->model;
  const LostLines lost(model, inbound);
  const std::unordered_set<int32_t> lost_numbers = LostNumbers(old, model);
  std::vector<SigLine> kept;
  bool had_zeros = false;
  const size_t ended = model.EndedLines();
  for (size_t i = 0; i < ended; ++i) {
    const SigLine& line = model.lines[i];
    const bool of_lost_header = line.ended && line.has_tab && lost_numbers.contains(line.number);
    if (of_lost_header || lost.IsLost(line)) {
      planning->Say(old.sig, fmt::format("removed the line of lost message #{}, '{}'", line.number,
                                         ShownMail(model.Msgid(line))));
      if (i > 0 && !model.lines[i - 1].ended) *text += '\n';  // it ends the piece before it
      continue;
    }
    const size_t end = i + 1 < model.lines.size() ? model.lines[i + 1].at : old.sig_text.size();
    std::string raw = old.sig_text.substr(line.at, end - line.at);
    if (std::erase(raw, '\0') != 0) {
      had_zeros = true;
      planning->Say(old.sig, fmt::format("removed zero bytes from line {}", i + 1));
      if (raw.find('\t') == std::string::npos) continue;
    }
    kept.push_back(line);
    *text += raw;
  }
  MendHalfLine(ended, planning, &kept, text);
  model.lines = std::move(kept);
  return had_zeros;
}

// Returns where the line of a message belongs in the text of a SIG file: before the lines at the end that all name
// later messages.
size_t PlaceOfLine(const std::string& text, int32_t number) {
  size_t place = text.size();
  while (place != 0) {
    const size_t before = place < 2 ? std::string::npos : text.rfind('\n', place - 2);
    const size_t start = before == std::string::npos ? 0 : before + 1;
    const size_t tab = text.find('\t', start);
    if (tab >= place || LeadingInt32(text.c_str() + tab + 1) <= number) break;
    place = start;
  }
  return place;
}

void MarkSent(const std::vector<PendingExport>& pending, Planning* planning) {
  if (std::all_of(pending.begin(), pending.end(), [](const PendingExport& one) { return one.sent; })) return;
  const BaseModel& old = planning->old;
  if (!planning->repair.ptr) planning->repair.ptr = Content(old.ptr);
  for (const PendingExport& unsent : pending) {
    if (unsent.sent) continue;
    (*planning->repair.ptr)[unsent.header * kPtrRecordSize + ptr_layout::MsgSent.at] = 1;
    planning->Say(old.ptr,
                  fmt::format("marked message #{} sent, which its bundle holds", old.headers[unsent.header].number));
  }
}

void RepairLines(const ConferenceEntry& entry, const InboundMail& inbound, const OutboundMail& outbound,
                 Planning* planning) {
  const BaseModel& old = planning->old;
  std::string text;
  if (KeepLines(inbound, planning, &text)) {
    planning->repair.sig = std::move(text);
    return;
  }
  const std::vector<PendingExport> pending = FindPendingExports(planning->model, entry, outbound);
  MarkSent(pending, planning);
  const auto add = [&](const std::string& msgid, size_t header, const char* line_end) {
    const int32_t number = old.headers[header].number;
    text.insert(PlaceOfLine(text, number), fmt::format("{}\t{}{}", msgid, number, line_end));
    planning->Say(old.sig, fmt::format("added the line of message #{}, '{}'", number, ShownMail(msgid)));
  };
  for (const MissingLine& line : FindMissingLines(planning->model, inbound).lines) add(line.msgid, line.header, "\n");
  for (const PendingExport& unsent : pending) {
    if (!unsent.has_line) add(unsent.msgid, unsent.header, "\r\n");
  }
  if (text != old.sig_text) planning->repair.sig = std::move(text);
}

void AddEntry(const IdxRecord& entry, std::string* index) {
  uint8_t bytes[kIdxRecordSize];
  PackIdxRecord(entry, bytes);
  index->append(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

IdxRecord EntryOf(const HeaderModel& header) { return {header.from.crc, header.to.crc, header.number, header.thread}; }

// Returns the index built from the headers; an existing entry stays if it is right, because its checksums may be of
// longer names than the header has.
std::string BuildIndex(const BaseModel& model) {
  std::unordered_map<int32_t, const IdxRecord*> entries;
  for (const IdxRecord& entry : model.index) entries.emplace(entry.MsgNumber, &entry);
  std::string index;
  for (const HeaderModel& header : model.headers) {
    const auto found = entries.find(header.number);
    const bool right = found != entries.end() && IsEntryOf(*found->second, header);
    AddEntry(right ? *found->second : EntryOf(header), &index);
  }
  return index;
}

void RepairIndex(const InboundMail& inbound, Planning* planning) {
  const BaseModel& old = planning->old;
  const IndexJudgement index = JudgeIndex(planning->model);
  if (index.verdict == IndexVerdict::kContradicts) {
    planning->repair.idx = BuildIndex(planning->model);
    planning->Say(old.idx, "built anew from the headers");
    return;
  }
  const size_t entries = index.verdict == IndexVerdict::kLooseEnd ? index.entry : old.index.size();
  const size_t size = entries * kIdxRecordSize;
  std::vector<IdxRecord>& kept = planning->model.index;
  kept.resize(entries);
  const size_t lost = FindLostEntries(planning->model, inbound);
  const std::vector<HeaderModel>& headers = planning->model.headers;
  if (static_cast<int64_t>(size) == old.idx.size && lost == headers.size()) return;
  planning->repair.idx = Content(old.idx).substr(0, size);
  if (static_cast<int64_t>(size) != old.idx.size) planning->Say(old.idx, "cut off what belongs to no header");
  for (size_t i = lost; i < headers.size(); ++i) {
    AddEntry(EntryOf(headers[i]), &*planning->repair.idx);
    planning->Say(old.idx, fmt::format("added the entry of message #{}", headers[i].number));
  }
}

void RepairTexts(Planning* planning) {
  const BaseModel& old = planning->old;
  const int64_t size = std::min(planning->model.TextEnd(), old.DatCount()) * static_cast<int64_t>(kDatRecordSize);
  if (size == old.dat.size) return;
  planning->repair.dat = Content(old.dat).substr(0, static_cast<size_t>(size));
  planning->Say(old.dat, "cut off what belongs to no header");
}

}  // namespace

BaseRepair PlanBaseRepair(const BaseModel& model, const ConferenceEntry& entry, const InboundMail& inbound,
                          const OutboundMail& outbound) {
  Planning planning = {model, model, {}};
  CutHeaders(inbound, &planning);
  RepairLines(entry, inbound, outbound, &planning);
  if (!model.headers.empty() || IsBegun(model, inbound)) {
    RepairIndex(inbound, &planning);
    RepairTexts(&planning);
  }
  return planning.repair;
}
