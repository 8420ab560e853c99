#include "toss/route_message.h"

#include <cstring>

#include "app/run_log.h"
#include "app/shown_text.h"
#include "base/ascii.h"
#include "bbs/checked_append.h"
#include "bbs/preflight.h"
#include "bbs/ptr_scan.h"
#include "bbs/sig_file.h"
#include "ftn/fts_date.h"
#include "toss/bad_areas.h"
#include "toss/inbound_text.h"

namespace {

constexpr int32_t kNoParent = -1;

// The first routed conference with that tag, in capitals; kNoConference when there is none.
int32_t FindRouted(const ConferenceTable& table, const char* tag) {
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (entry.Routed && strcmp(entry.NetIDName, tag) == 0) return entry.Number;
  }
  return kNoConference;
}

int32_t ChooseForUnknownArea(const TossSite& site, int n, const char* area) {
  RecordBadArea(site.base, area);
  const int32_t catch_all = FindRouted(*site.conferences, "*");
  if (catch_all > 0) {
    LogLine("  msg %d: AREA:%s has no matching conference -- parked in catch-all conf %d (see BADAREAS.LST)", n, area,
            catch_all);
    return catch_all;
  }
  LogLine(
      "  msg %d: AREA:%s has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)", n,
      area);
  return kNoConference;
}

// Returns kNoConference, after logging why, when the message has nowhere to go.
int32_t ChooseConference(const TossSite& site, int n, const InboundMessage& message) {
  if (message.area[0] == '\0') {
    const int32_t netmail = site.conferences->NetmailConference;
    if (netmail == kNoConference) {
      LogLine("  msg %d: netmail with no NetMailConf=1 conference configured -- SKIPPED", n);
    }
    return netmail;
  }
  char tag[sizeof message.area];
  memcpy(tag, message.area, sizeof tag);
  UpperText(tag);
  const int32_t routed = FindRouted(*site.conferences, tag);
  return routed >= 0 ? routed : ChooseForUnknownArea(site, n, message.area);
}

// One reading of the SIG file tells of the duplicate and of the parent; a message that names neither does not read it.
SigScan AskSig(const TossSite& site, int32_t c, const InboundMessage& message) {
  BasePath path;
  if ((message.msgid[0] == '\0' && message.reply[0] == '\0') || FormatSigPath(site.base, c, &path) != 0) return {};
  return ScanSigFile(path, message.msgid, message.reply);
}

int32_t FindParent(int n, int32_t c, const InboundMessage& message, const SigScan& sig) {
  if (message.reply[0] == '\0') {
    if (LooksLikeReplySubject(message.subject)) {
      LogLine(
          "  msg %d: subject looks like a reply but no REPLY: kludge present -- storing as non-threaded (safe fallback)",
          n);
    }
    return kNoParent;
  }
  if (sig.has_parent && sig.parent >= 0) return sig.parent;
  LogLine(
      "  msg %d: reply to MSGID %s, but parent not found locally in conf %d -- storing as non-threaded (safe fallback)",
      n, ShownText(message.reply).text, c);
  return kNoParent;
}

RouteResult Refuse(int n) {
  LogLine("  msg %d: message-base append failed; source packet will be retained", n);
  return kRouteFailed;
}

// Scans and checks the message base of conference `c` and appends the message.
RouteResult Store(const TossSite& site, int n, int32_t c, int32_t parent, const InboundMessage& message) {
  char date[kMessageBaseDateSize];
  ConvertFtsDate(message.dateTime, date);

  const MessageBaseFiles files = InspectMessageBase(site.base, c);
  const PtrScan scan = ScanPtrFile(files.ptr, parent, files.found.dat_count);
  if (parent >= 1 && !scan.parent_live) {
    LogLine(
        "  parent MSGID resolved to MsgNumber %d via .SIG tracking, but that message no longer exists (or is marked Deleted) in the current message base -- storing as non-threaded (safe fallback)",
        parent);
  }
  if (JudgeMessageBase(c, files, scan) != 0) {
    LogLine("ERROR: conference %d failed message-base preflight; refusing to append", c);
    return Refuse(n);
  }
  NewMessage stored;
  stored.date = date;
  stored.from = message.fromUserName;
  stored.to = message.toUserName;
  stored.subject = message.subject;
  stored.origin = message.origin;
  stored.msgid = message.msgid;
  stored.attribute = message.attribute;
  stored.netmail = message.area[0] == '\0';
  stored.highest = scan.highest;
  stored.parent = parent;
  stored.parent_live = scan.parent_live;
  stored.body = message.body.data;
  stored.body_size = message.body.size;
  switch (CheckedAppend(site.base, site.lock, c, files.found, stored)) {
    case kAppended: return kRouteStored;
    case kAppendLostLock: return kRouteStopped;
    case kAppendFailed: break;
  }
  return Refuse(n);
}

}  // namespace

RouteResult RouteMessage(const TossSite& site, int n, const InboundMessage& message) {
  const int32_t c = ChooseConference(site, n, message);
  if (c == kNoConference) return kRouteSkipped;

  const SigScan sig = AskSig(site, c, message);
  if (sig.has_msgid) {
    LogLine("  msg %d: duplicate (MSGID %s already seen in conf %d) -- SKIPPED", n, ShownText(message.msgid).text, c);
    return kRouteSkipped;
  }
  return Store(site, n, c, FindParent(n, c, message, sig), message);
}
