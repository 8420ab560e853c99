// Where a message goes, whether it is stored at all, and under which parent.
#pragma once

#include "toss/inbound_message.h"
#include "toss/toss_site.h"

// What became of a message.
enum RouteResult {
  kRouteStored,
  kRouteSkipped,  // by a rule
  kRouteFailed,   // its packet has to be kept
  kRouteStopped,  // the run lock is lost: the run has to end
};

// Stores `message`, the number `n` of its packet (from 1), in the conference that its area tag names, unless it is a
// duplicate or has nowhere to go. Whatever cannot be decided about its parent stores it without one.
RouteResult RouteMessage(const TossSite& site, int n, const InboundMessage& message);

// Appends the local time and an area that no conference carries, at most 31 characters, to BADAREAS.LST in MSGDIR. When
// the file cannot be opened nothing is written and nothing said.
void RecordBadArea(const MessageBase& base, const char* area);
