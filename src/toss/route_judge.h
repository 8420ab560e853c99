// Which conference a message belongs to and which message it replies to, judged from what was read. Nothing is logged,
// read or changed here.
#pragma once

#include "bbs/conference_table.h"
#include "bbs/sig_search.h"
#include "toss/inbound_message.h"

enum DestinationKind {
  kToNetmail,   // the netmail conference
  kToArea,      // the conference that carries the message's area
  kToCatchAll,  // no conference carries it
  kNoNetmail,   // there is no netmail conference
  kNoCatchAll,  // no conference carries the area, and there is no catch-all either
};

struct Destination {
  DestinationKind kind = kNoCatchAll;
  int32_t conference = kNoConference;  // of the first three kinds
};

Destination ChooseConference(const ConferenceTable& table, const InboundMessage& message);

constexpr int32_t kNoParent = -1;

enum ParentKind {
  kNotAReply,
  kReplyBySubjectOnly,  // "Re:" without a REPLY kludge
  kParentNotFound,      // no line of the SIG file has the MSGID of the REPLY kludge
  kParentFound,
};

struct Parent {
  ParentKind kind = kNotAReply;
  int32_t number = kNoParent;  // its MsgNumber when it was found
};

// Judges which message this one replies to, by its texts and by a scan of its conference's SIG file.
Parent JudgeParent(const InboundMessage& message, const SigScan& sig);
