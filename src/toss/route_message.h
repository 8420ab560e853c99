// Storing one message: in which conference, whether at all, and linked to which parent.
#pragma once

#include "toss/inbound_message.h"
#include "toss/toss_site.h"

// The result for one message.
enum RouteResult {
  kRouteStored,
  kRouteSkipped,  // by a rule
  kRouteFailed,   // its packet has to be kept
  kRouteStopped,  // the run lock is lost: the run has to end
};

// Stores `message`, number `n` (from 1) of its packet, in the conference of its area tag, unless it is a duplicate or
// no conference takes it. A message whose parent cannot be determined is stored without one.
RouteResult RouteMessage(const TossSite& site, int n, const InboundMessage& message);

// Appends the local time and an area that no conference carries, at most 31 characters, to BADAREAS.LST in MSGDIR. A
// failure is ignored and not logged.
void RecordBadArea(const MessageBase& base, const char* area);
