#include "kit/message_reader.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "base/ascii.h"
#include "base/scan_number.h"
#include "base/whole_file.h"
#include "bbs/message_body.h"
#include "bbs/sig_file.h"
#include "kit/kit_answer.h"
#include "kit/kit_output.h"
#include "kit/shown_facts.h"

namespace {

constexpr int kTries = 3;  // to read files that others are changing

// A file of the conference; an absent one is empty.
void ReadBaseFile(const KitSite& site, int32_t conference, const char* kind, ByteBuffer* content) {
  content->size = 0;
  BasePath path;
  OsStatus status;
  if (FormatBasePath(site.Base(), conference, kind, &path) != 0) throw NotAnswered("the path of MSGDIR is too long");
  if (OsStat(path, &status) == kOsMissing) return;
  if (ReadWholeFile(path, content) != 0) throw NotAnswered(ShownName(path.text) + " cannot be read");
}

// Returns, for each number, the MSGID of the first line with it.
std::unordered_map<int32_t, std::string> MsgidsOf(const ByteBuffer& sig) {
  std::unordered_map<int32_t, std::string> msgids;
  const char* const text = reinterpret_cast<const char*>(sig.data);
  const char* const end = text + sig.size;
  for (const char* line = text; line != end;) {
    const char* const next = SigPieceEnd(line, end);
    const std::string piece(line, next);
    const size_t tab = piece.find('\t');
    if (tab != std::string::npos) msgids.try_emplace(LeadingInt32(piece.c_str() + tab + 1), piece.substr(0, tab));
    line = next;
  }
  return msgids;
}

StoredConference ReadOnce(const KitSite& site, const ConferenceEntry& entry) {
  StoredConference conference;
  conference.entry = &entry;
  ByteBuffer bytes;
  ReadBaseFile(site, entry.Number, "SIG", &bytes);
  const std::unordered_map<int32_t, std::string> msgids = MsgidsOf(bytes);
  ReadBaseFile(site, entry.Number, "PTR", &bytes);
  for (size_t at = 0; at + kPtrRecordSize <= bytes.size; at += kPtrRecordSize) {
    StoredMessage& message = conference.messages.emplace_back();
    message.header = UnpackPtrRecord(bytes.data + at);
    message.unsent = IsNetworked(entry) && !message.header.MsgSent && !message.header.Deleted;
    const auto found = msgids.find(message.header.MsgNumber);
    if (found != msgids.end()) message.msgid = found->second;
  }
  BasePath dat;
  OsStatus status;
  if (FormatBasePath(site.Base(), entry.Number, "DAT", &dat) == 0 && OsStat(dat, &status) == kOsOk) {
    conference.dat_records = status.size / static_cast<int64_t>(kDatRecordSize);
  }
  return conference;
}

std::string Capitals(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), UpperAscii);
  return text;
}

bool Holds(const std::string& mail, const std::string& wanted) {
  return Capitals(DecodedMail(mail)).find(Capitals(wanted)) != std::string::npos;
}

}  // namespace

std::optional<int32_t> StoredMessage::Parent() const {
  if (!header.IsReply || header.ThreadRef == header.MsgNumber) return std::nullopt;
  return header.ThreadRef;
}

StoredConference ReadConference(const KitSite& site, const ConferenceEntry& entry) {
  for (int tries = 1;; ++tries) {
    const std::string before = FileTimes(site, entry.Number);
    StoredConference conference = ReadOnce(site, entry);
    if (before == FileTimes(site, entry.Number)) conference.times = before;
    if (!conference.times.empty() || tries == kTries) return conference;
  }
}

bool IsSettled(const KitSite& site, const StoredConference& conference) {
  return conference.times == FileTimes(site, conference.entry->Number);
}

std::optional<std::string> ReadMessageText(const KitSite& site, const StoredMessage& message, int32_t conference) {
  BasePath dat;
  ByteBuffer body;
  if (FormatBasePath(site.Base(), conference, "DAT", &dat) != 0 || message.header.Records == 0 ||
      ReadMessageBody(dat, message.header.Where, message.header.Records, &body) != 0) {
    return std::nullopt;
  }
  std::string text(reinterpret_cast<const char*>(body.data), body.size);
  std::replace(text.begin(), text.end(), '\r', '\n');
  return text;
}

bool IsAskedFor(const KitSite& site, const StoredMessage& message, int32_t conference, const MessageFilter& filter) {
  const PtrRecord& header = message.header;
  if (filter.unsent && !message.unsent) return false;
  if (!filter.from.empty() && !Holds(header.From, filter.from)) return false;
  if (!filter.to.empty() && !Holds(header.To, filter.to)) return false;
  if (!filter.since.empty()) {
    const std::string date = IsoDate(header.MsgDate);
    if (!IsIsoDate(date) || date < filter.since) return false;
  }
  if (filter.search.empty()) return true;
  for (const std::string& text :
       {std::string(header.From), std::string(header.To), std::string(header.Subj), message.msgid}) {
    if (Holds(text, filter.search)) return true;
  }
  return Holds(ReadMessageText(site, message, conference).value_or(""), filter.search);
}

std::vector<ThreadPlace> ThreadOrder(const std::vector<StoredMessage>& messages) {
  std::unordered_map<int32_t, size_t> by_number;
  for (size_t i = 0; i < messages.size(); ++i) by_number.try_emplace(messages[i].header.MsgNumber, i);
  std::vector<std::vector<size_t>> replies(messages.size());
  std::vector<size_t> roots;
  std::vector<size_t> others;
  for (size_t i = 0; i < messages.size(); ++i) {
    const std::optional<int32_t> parent = messages[i].Parent();
    const auto found = parent ? by_number.find(*parent) : by_number.end();
    if (found == by_number.end() || found->second == i) {
      roots.push_back(i);
    } else {
      replies[found->second].push_back(i);
      others.push_back(i);  // in a cycle, which has no root, the first message begins the thread
    }
  }
  roots.insert(roots.end(), others.begin(), others.end());
  std::vector<ThreadPlace> order;
  std::vector<bool> placed(messages.size());
  for (const size_t root : roots) {
    std::vector<ThreadPlace> next = {{root, 0}};
    while (!next.empty()) {
      const ThreadPlace place = next.back();
      next.pop_back();
      if (placed[place.index]) continue;
      placed[place.index] = true;
      order.push_back(place);
      const std::vector<size_t>& below = replies[place.index];
      for (auto reply = below.rbegin(); reply != below.rend(); ++reply) next.push_back({*reply, place.depth + 1});
    }
  }
  return order;
}
