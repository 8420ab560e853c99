#include "toss/route_message.h"

#include <cstdio>

#include "app/run_log.h"
#include "app/shown_text.h"
#include "app/site_paths.h"
#include "bbs/checked_append.h"
#include "bbs/preflight.h"
#include "bbs/ptr_scan.h"
#include "bbs/sig_file.h"
#include "ftn/fts_date.h"
#include "toss/route_judge.h"

namespace {

// Logs a destination that is not the message's own conference, and records the area that none carries.
void ReportDestination(const TossSite& site, int n, const InboundMessage& message, const Destination& destination) {
  switch (destination.kind) {
    case kToNetmail:
    case kToArea: return;
    case kNoNetmail: LogLine("  msg %d: netmail with no NetMailConf=1 conference configured -- SKIPPED", n); return;
    case kToCatchAll:
      RecordBadArea(site.base, message.area);
      LogLine("  msg %d: AREA:%s has no matching conference -- parked in catch-all conf %d (see BADAREAS.LST)", n,
              message.area, destination.conference);
      return;
    case kNoCatchAll:
      RecordBadArea(site.base, message.area);
      LogLine(
          "  msg %d: AREA:%s has no matching conference and no catch-all configured -- SKIPPED (logged to BADAREAS.LST)",
          n, message.area);
      return;
  }
}

// One pass over the SIG file finds both a duplicate and the parent; without MSGID and REPLY the file is not read.
SigScan AskSig(const TossSite& site, int32_t c, const InboundMessage& message) {
  BasePath path;
  if ((message.msgid[0] == '\0' && message.reply[0] == '\0') || FormatSigPath(site.base, c, &path) != 0) return {};
  return ScanSigFile(path, message.msgid, message.reply);
}

// Logs why a message is stored without a parent.
void ReportParent(int n, int32_t c, const InboundMessage& message, const Parent& parent) {
  switch (parent.kind) {
    case kNotAReply:
    case kParentFound: return;
    case kReplyBySubjectOnly:
      LogLine(
          "  msg %d: subject looks like a reply but no REPLY: kludge present -- storing as non-threaded (safe fallback)",
          n);
      return;
    case kParentNotFound:
      LogLine(
          "  msg %d: reply to MSGID %s, but parent not found locally in conf %d -- storing as non-threaded (safe fallback)",
          n, ShownText(message.reply).text, c);
      return;
  }
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
  const BaseFault fault = JudgeMessageBase(files, scan);
  if (fault != kBaseSound) {
    ReportBaseFault(c, fault, files, scan);
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
  const Destination destination = ChooseConference(*site.conferences, message);
  ReportDestination(site, n, message, destination);
  const int32_t c = destination.conference;
  if (c == kNoConference) return kRouteSkipped;
  // Synced for a duplicate too: the run that stored it may have ended before the disk held it.
  site.touched->Add(c);

  const SigScan sig = AskSig(site, c, message);
  if (sig.has_msgid) {
    LogLine("  msg %d: duplicate (MSGID %s already seen in conf %d) -- SKIPPED", n, ShownText(message.msgid).text, c);
    return kRouteSkipped;
  }
  const Parent parent = JudgeParent(message, sig);
  ReportParent(n, c, message, parent);
  return Store(site, n, c, parent.number, message);
}

void RecordBadArea(const MessageBase& base, const char* area) {
  BasePath path;
  if (FormatBadAreasPath(base, &path) != 0) return;
  OsFile file;
  if (OsOpen(path, kOsAppendText, &file) != kOsOk) return;
  char line[128];
  const int length = snprintf(line, sizeof line, "%s  %s\n", TimeStamp(), area);
  if (static_cast<size_t>(length) < sizeof line) (void)OsWrite(file, line, static_cast<size_t>(length));
}
