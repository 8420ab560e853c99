#include "kit/mail_match.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "bbs/message_body.h"
#include "kit/index_judge.h"
#include "kit/message_identity.h"

namespace {

// Reads the headers and texts of one conference one by one.
class StoredMessages {
 public:
  explicit StoredMessages(const BaseModel& model) : model_(model) { (void)OsOpen(model.ptr.place, kOsRead, &ptr_); }

  // Reads the header and its text. Returns false when they have changed or are gone.
  bool Read(size_t header) { return ReadHeader(header) && ReadText(); }

  // Reads the header only.
  bool ReadHeader(size_t header) {
    const auto at = static_cast<int64_t>(header * kPtrRecordSize);
    if (OsReadAt(ptr_, at, record, sizeof record).bytes != sizeof record) return false;
    return UnpackPtrVitals(record).MsgNumber == model_.headers[header].number;
  }

  // Reads the text of the header that was read last.
  bool ReadText() {
    const PtrVitals vitals = UnpackPtrVitals(record);
    return vitals.Records != 0 && ReadMessageBody(model_.dat.place, vitals.Where, vitals.Records, &body_) == 0;
  }

  std::string_view Body() const { return {reinterpret_cast<const char*>(body_.data), body_.size}; }

  uint8_t record[kPtrRecordSize];

 private:
  const BaseModel& model_;
  OsFile ptr_;
  ByteBuffer body_;
};

bool HasMailFor(const BaseModel& model, const InboundMail& mail) { return mail.CountFor(model.conference) != 0; }

// The MSGIDs and numbers in the complete lines of the SIG file.
struct Known {
  std::unordered_set<std::string_view> msgids;
  std::unordered_map<int32_t, std::string_view> numbers;

  explicit Known(const BaseModel& model) {
    for (const SigLine& line : model.lines) {
      if (!line.ended) continue;
      msgids.insert(model.Msgid(line));
      if (line.has_tab) numbers.emplace(line.number, model.Msgid(line));
    }
  }
};

// The MSGIDs of the inbound mail of the conference.
std::unordered_set<std::string_view> MsgidsFor(const BaseModel& model, const InboundMail& mail) {
  std::unordered_set<std::string_view> msgids;
  for (const InboundItem& item : mail.items) {
    if (item.conference == model.conference && !item.msgid.empty()) msgids.insert(item.msgid);
  }
  return msgids;
}

// The messages that came from the network and have no SIG line.
struct Unsigned {
  std::vector<size_t> headers;
  size_t end = 0;  // one past the last message that has one, and whose mail is not inbound: it is of an earlier run

  Unsigned(const BaseModel& model, const Known& known, const InboundMail& mail) {
    const std::unordered_set<std::string_view> inbound = MsgidsFor(model, mail);
    for (size_t i = 0; i < model.headers.size(); ++i) {
      const HeaderModel& header = model.headers[i];
      if (!header.inbound) continue;
      const auto line = known.numbers.find(header.number);
      if (line == known.numbers.end()) {
        headers.push_back(i);
      } else if (!inbound.contains(line->second)) {
        end = i + 1;
      }
    }
  }
};

using Items = std::map<std::string, std::vector<const InboundItem*>>;  // by identity

// The inbound items of a conference that a toss would store: those without a MSGID, and the first one of each MSGID
// that is not known yet.
struct NewItems {
  Items with_msgid;
  Items without_msgid;

  NewItems(const BaseModel& model, const Known& known, const InboundMail& mail) {
    std::unordered_set<std::string_view> seen;
    for (const InboundItem& item : mail.items) {
      if (item.conference != model.conference || known.msgids.contains(item.msgid)) continue;
      if (item.msgid.empty()) {
        without_msgid[item.identity.whole].push_back(&item);
      } else if (seen.insert(item.msgid).second) {
        with_msgid[item.identity.whole].push_back(&item);
      }
    }
  }
};

// Returns the identity that a message has when a scan packs it.
std::string OutboundIdentity(const uint8_t* record, std::string_view body) {
  const PtrRecord header = UnpackPtrRecord(record);
  std::string_view to = header.To;
  if (header.NetMail) to = to.substr(0, to.rfind('@'));
  return IdentityOfOutbound(header.From, to, header.Subj, OutboundBody(body));
}

const std::string& SourceOf(const InboundItem& item, const InboundMail& mail) { return mail.sources[item.source].name; }

// Whether a message may be incomplete: its text is gone, or there are zero bytes where its end could be.
bool MayBeTorn(const BaseModel& model, const HeaderModel& header) {
  const bool gone = header.records == 0 || int64_t{header.where} + header.records > model.DatCount();
  if (gone && !header.deleted) return true;
  const bool blank = header.where < model.DatCount() && model.texts[header.where] == kTextBlank;
  return header.holed || !header.inbound || blank || HasLostText(model, header);
}

// Finds the inbound mail that an incomplete message belongs to.
class TornSearch {
 public:
  TornSearch(const BaseModel& model, const InboundMail& mail) : known_(model), stored_(model), model_(model) {
    for (const InboundItem& item : mail.items) {
      if (item.conference != model.conference) continue;
      if (!item.msgid.empty()) by_msgid_.emplace(item.msgid, &item);
      if (!known_.msgids.contains(item.msgid)) by_header_.emplace(item.identity.header, &item);
    }
  }

  // Returns the mail that the message is an incomplete copy of; nullptr when it is whole, or of no inbound mail.
  const InboundItem* Find(size_t header) const {
    if (by_msgid_.empty() && by_header_.empty()) return nullptr;
    const auto line = known_.numbers.find(model_.headers[header].number);
    if (line == known_.numbers.end()) return FindUnsigned(header);
    const auto item = by_msgid_.find(line->second);
    if (item == by_msgid_.end() || !stored_.ReadHeader(header)) return nullptr;
    if (!stored_.ReadText()) return item->second;
    const Identity identity = IdentityOfStored(stored_.record, stored_.Body());
    const Identity& whole = item->second->identity;
    // Without an origin it may be a message of our own that has come back; its text then differs there.
    const bool torn =
        model_.headers[header].inbound || (identity.header == whole.header && identity.body == whole.body);
    return torn && identity.whole != whole.whole ? item->second : nullptr;
  }

 private:
  const InboundItem* FindUnsigned(size_t header) const {
    if (by_header_.empty() || !model_.headers[header].inbound || !stored_.ReadHeader(header)) return nullptr;
    const bool has_text = stored_.ReadText();
    const Identity identity = IdentityOfStored(stored_.record, has_text ? stored_.Body() : "");
    const auto item = by_header_.find(identity.header);
    if (!has_text && item != by_header_.end()) return item->second;
    return item != by_header_.end() && item->second->identity.whole != identity.whole ? item->second : nullptr;
  }

  Known known_;
  mutable StoredMessages stored_;
  const BaseModel& model_;
  std::unordered_map<std::string_view, const InboundItem*> by_msgid_;
  std::unordered_map<std::string_view, const InboundItem*> by_header_;  // items without a SIG line
};

// The key by which a message in a bundle is found: whether it is netmail, and its identity.
using OutboundKey = std::pair<bool, std::string>;
using Places = std::map<OutboundKey, std::vector<size_t>>;  // headers, in their order
using OutboundItems = std::map<OutboundKey, std::vector<const OutboundItem*>>;

OutboundKey KeyOf(const HeaderModel& header, const StoredMessages& stored) {
  return {header.netmail, OutboundIdentity(stored.record, stored.Body())};
}

// The sent messages of our own that no SIG line names. `wanted` are those in bundles: others are not read.
Places SentWithoutLine(const BaseModel& model, const Known& known, const OutboundItems& wanted,
                       StoredMessages* stored) {
  const auto is_wanted = [&](bool netmail) {
    return std::any_of(wanted.begin(), wanted.end(), [&](const auto& item) { return item.first.first == netmail; });
  };
  const bool of_kind[] = {is_wanted(false), is_wanted(true)};
  Places sent;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    if (!header.sent || header.inbound || !of_kind[header.netmail ? 1 : 0]) continue;
    if (!known.numbers.contains(header.number) && stored->Read(i)) sent[KeyOf(header, *stored)].push_back(i);
  }
  return sent;
}

}  // namespace

MissingLines FindMissingLines(const BaseModel& model, const InboundMail& mail) {
  MissingLines missing;
  if (!HasMailFor(model, mail)) return missing;
  const Known known(model);
  const NewItems items(model, known, mail);
  if (items.with_msgid.empty() && items.without_msgid.empty()) return missing;
  StoredMessages stored(model);
  std::map<std::string, std::vector<size_t>> headers;  // by identity
  const Unsigned unsigned_mail(model, known, mail);
  for (const size_t header : unsigned_mail.headers) {
    if (items.without_msgid.empty() && header < unsigned_mail.end) continue;
    if (stored.Read(header)) headers[IdentityOfStored(stored.record, stored.Body()).whole].push_back(header);
  }
  for (auto& [identity, places] : headers) {
    const auto without = items.without_msgid.find(identity);
    if (without != items.without_msgid.end()) {
      for (const size_t place : places) missing.again.push_back({place, SourceOf(*without->second.front(), mail)});
      continue;
    }
    const auto found = items.with_msgid.find(identity);
    std::erase_if(places, [&](size_t header) { return header < unsigned_mail.end; });  // not left by the last run
    if (found == items.with_msgid.end() || places.empty()) continue;
    if (places.size() > found->second.size()) {
      missing.twins.insert(missing.twins.end(), places.begin(), places.end());
      continue;
    }
    for (size_t i = 0; i < places.size(); ++i) {  // a toss stores in the order of its source
      const InboundItem& item = *found->second[i];
      missing.lines.push_back({places[i], item.msgid, SourceOf(item, mail)});
    }
  }
  const auto by_header = [](const auto& left, const auto& right) { return left.header < right.header; };
  std::sort(missing.twins.begin(), missing.twins.end());
  std::sort(missing.lines.begin(), missing.lines.end(), by_header);
  std::sort(missing.again.begin(), missing.again.end(), by_header);
  return missing;
}

std::vector<TornMessage> FindTornMessages(const BaseModel& model, const InboundMail& mail) {
  std::vector<TornMessage> torn;
  if (!HasMailFor(model, mail)) return torn;
  const TornSearch search(model, mail);
  for (size_t i = 0; i < model.headers.size(); ++i) {
    if (!MayBeTorn(model, model.headers[i])) continue;
    if (const InboundItem* const item = search.Find(i)) torn.push_back({i, SourceOf(*item, mail)});
  }
  return torn;
}

bool IsBegun(const BaseModel& model, const InboundMail& mail) {
  return model.headers.empty() && model.index.size() <= std::max<size_t>(mail.CountFor(model.conference), 1);
}

std::unordered_set<size_t> FindInboundHeaders(const BaseModel& model, const InboundMail& mail) {
  std::unordered_set<size_t> headers;
  if (!HasMailFor(model, mail)) return headers;
  const std::unordered_set<std::string_view> msgids = MsgidsFor(model, mail);
  const Known known(model);
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const auto line = known.numbers.find(model.headers[i].number);
    if (line != known.numbers.end() && msgids.contains(line->second)) headers.insert(i);
  }
  const MissingLines missing = FindMissingLines(model, mail);
  headers.insert(missing.twins.begin(), missing.twins.end());
  for (const MissingLine& line : missing.lines) headers.insert(line.header);
  for (const StoredAgain& message : missing.again) headers.insert(message.header);
  return headers;
}

size_t FindLostEntries(const BaseModel& model, const InboundMail& mail) {
  const IndexJudgement index = JudgeIndex(model);
  size_t lost = model.headers.size();
  if (index.verdict != IndexVerdict::kShort || index.tail == lost) return lost;
  const std::unordered_set<size_t> inbound = FindInboundHeaders(model, mail);
  while (lost > index.tail && inbound.contains(lost - 1)) --lost;
  return lost;
}

std::vector<PendingExport> FindPendingExports(const BaseModel& model, const ConferenceEntry& entry,
                                              const OutboundMail& mail) {
  std::vector<PendingExport> pending;
  if (mail.items.empty()) return pending;
  const Known known(model);
  StoredMessages stored(model);
  std::unordered_map<std::string_view, size_t> signed_unsent;  // by MSGID
  Places places;
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    if (header.sent || header.deleted || !stored.Read(i)) continue;
    places[KeyOf(header, stored)].push_back(i);
    const auto line = known.numbers.find(header.number);
    if (line != known.numbers.end()) signed_unsent.emplace(line->second, i);
  }
  OutboundItems unnamed;  // whose MSGIDs no line has
  for (const OutboundItem& item : mail.items) {
    const auto line = signed_unsent.find(item.msgid);
    if (line != signed_unsent.end()) {
      const auto same = places.find({item.netmail, item.identity});
      if (same == places.end() || std::erase(same->second, line->second) == 0) continue;
      pending.push_back({line->second, item.msgid, item.bundle, true, false});
    } else if (!known.msgids.contains(item.msgid) && (item.netmail || item.area == entry.NetIDName)) {
      unnamed[{item.netmail, item.identity}].push_back(&item);
    }
  }
  if (unnamed.empty()) return pending;
  const Places sent = SentWithoutLine(model, known, unnamed, &stored);
  for (const auto& [key, items] : unnamed) {
    std::vector<size_t>& found = places[key];
    if (const auto before = sent.find(key); before != sent.end()) {
      found.insert(found.end(), before->second.begin(), before->second.end());
      if (found.size() != items.size()) continue;  // which of them are in the bundle cannot be determined
    }
    std::sort(found.begin(), found.end());  // a scan takes them in this order
    for (size_t i = 0; i < std::min(found.size(), items.size()); ++i) {
      pending.push_back({found[i], items[i]->msgid, items[i]->bundle, false, model.headers[found[i]].sent});
    }
  }
  std::sort(pending.begin(), pending.end(),
            [](const auto& left, const auto& right) { return left.header < right.header; });
  return pending;
}
