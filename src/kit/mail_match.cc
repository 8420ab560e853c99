#include "kit/mail_match.h"

#include <algorithm>
#include <deque>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "bbs/message_body.h"
#include "kit/message_identity.h"

namespace {

// The headers and texts of one conference, read one by one.
class StoredMessages {
 public:
  explicit StoredMessages(const BaseModel& model) : model_(model) { (void)OsOpen(model.ptr.place, kOsRead, &ptr_); }

  // Reads the header and its text. Returns false when they are not there as they were.
  bool Read(size_t header) {
    const HeaderModel& known = model_.headers[header];
    const auto at = static_cast<int64_t>(header * kPtrRecordSize);
    if (OsReadAt(ptr_, at, record, sizeof record).bytes != sizeof record) return false;
    const PtrVitals vitals = UnpackPtrVitals(record);
    if (vitals.MsgNumber != known.number || vitals.Records == 0) return false;
    return ReadMessageBody(model_.dat.place, vitals.Where, vitals.Records, &body_) == 0;
  }

  std::string_view Body() const { return {reinterpret_cast<const char*>(body_.data), body_.size}; }

  uint8_t record[kPtrRecordSize];

 private:
  const BaseModel& model_;
  OsFile ptr_;
  ByteBuffer body_;
};

// What the whole lines of the SIG file know.
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

// The messages at the end that came from the network and have no SIG line.
std::vector<size_t> UnsignedAtEnd(const BaseModel& model, const Known& known) {
  std::vector<size_t> found;
  for (size_t i = model.headers.size(); i-- > 0;) {
    const HeaderModel& header = model.headers[i];
    if (!header.inbound) continue;
    if (known.numbers.contains(header.number)) break;
    found.push_back(i);
  }
  std::reverse(found.begin(), found.end());
  return found;
}

// The inbound items of a conference whose MSGIDs are not known, each MSGID once, by their identity.
std::map<std::string, std::vector<const InboundItem*>> UnknownItems(const BaseModel& model, const Known& known,
                                                                    const InboundMail& mail) {
  std::map<std::string, std::vector<const InboundItem*>> items;
  std::unordered_set<std::string_view> seen;
  for (const InboundItem& item : mail.items) {
    if (item.conference != model.conference || item.msgid.empty() || known.msgids.contains(item.msgid)) continue;
    if (seen.insert(item.msgid).second) items[item.identity].push_back(&item);
  }
  return items;
}

// Names and texts as a scan packs them.
std::string OutboundIdentity(const uint8_t* record, std::string_view body) {
  const PtrRecord header = UnpackPtrRecord(record);
  std::string_view to = header.To;
  if (header.NetMail) to = to.substr(0, to.rfind('@'));
  return IdentityOfOutbound(header.From, to, header.Subj, OutboundBody(body));
}

bool BelongsTo(const OutboundItem& item, const HeaderModel& header, const ConferenceEntry& entry) {
  return item.netmail == header.netmail && (item.netmail || item.area == entry.NetIDName);
}

}  // namespace

MissingLines FindMissingLines(const BaseModel& model, const InboundMail& mail) {
  MissingLines missing;
  const Known known(model);
  const auto items = UnknownItems(model, known, mail);
  if (items.empty()) return missing;
  StoredMessages stored(model);
  std::map<std::string, std::vector<size_t>> headers;  // by identity
  for (const size_t header : UnsignedAtEnd(model, known)) {
    if (stored.Read(header)) headers[IdentityOfStored(stored.record, stored.Body())].push_back(header);
  }
  for (const auto& [identity, places] : headers) {
    const auto found = items.find(identity);
    if (found == items.end()) continue;
    if (places.size() > found->second.size()) {
      missing.twins.insert(missing.twins.end(), places.begin(), places.end());
      continue;
    }
    for (size_t i = 0; i < places.size(); ++i) {  // a toss stores in the order of its source
      const InboundItem& item = *found->second[i];
      missing.lines.push_back({places[i], item.msgid, mail.sources[item.source].name});
    }
  }
  std::sort(missing.twins.begin(), missing.twins.end());
  std::sort(missing.lines.begin(), missing.lines.end(),
            [](const MissingLine& left, const MissingLine& right) { return left.header < right.header; });
  return missing;
}

std::vector<PendingExport> FindPendingExports(const BaseModel& model, const ConferenceEntry& entry,
                                              const OutboundMail& mail) {
  std::vector<PendingExport> pending;
  if (mail.items.empty()) return pending;
  const Known known(model);
  StoredMessages stored(model);
  std::unordered_map<std::string_view, size_t> signed_unsent;  // by MSGID
  std::map<std::string, std::deque<size_t>> unsent;            // by identity
  for (size_t i = 0; i < model.headers.size(); ++i) {
    const HeaderModel& header = model.headers[i];
    if (header.sent || header.deleted || !stored.Read(i)) continue;
    unsent[OutboundIdentity(stored.record, stored.Body())].push_back(i);
    const auto line = known.numbers.find(header.number);
    if (line != known.numbers.end()) signed_unsent.emplace(line->second, i);
  }
  if (unsent.empty()) return pending;
  for (const OutboundItem& item : mail.items) {
    const auto same = unsent.find(item.identity);
    if (same == unsent.end()) continue;
    std::deque<size_t>& places = same->second;  // a scan takes them in this order
    const auto line = signed_unsent.find(item.msgid);
    const bool has_line = line != signed_unsent.end();
    if (!has_line && known.msgids.contains(item.msgid)) continue;  // committed, and its header is marked
    const auto place = has_line ? std::find(places.begin(), places.end(), line->second)
                                : std::find_if(places.begin(), places.end(), [&](size_t header) {
                                    return BelongsTo(item, model.headers[header], entry);
                                  });
    if (place == places.end()) continue;
    pending.push_back({*place, item.msgid, item.bundle, has_line});
    places.erase(place);
  }
  return pending;
}
