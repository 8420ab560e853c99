// Assigns the log lines about a packet to its messages.
#pragma once

#include <optional>
#include <vector>

#include "kit/ledger_base.h"
#include "kit/ledger_source.h"
#include "kit/toss_history.h"

// Returns the outcome of each message of the packet; none for a message to which no line can be assigned. `done` means
// that the toss reached the end of the packet, so that each whole message had a line.
//
// If there are as many lines as the toss counted, they are assigned in order. If lines are missing, a line belongs to
// the message whose position it has, or whose number in the SIG file or header it has; the lines between two such lines
// are assigned in order if there are as many messages.
std::vector<std::optional<LoggedOutcome>> MatchOutcomes(const SourcePacket& packet, const LoggedPacket& logged,
                                                        bool done, LedgerBase* base);

// Whether the lines of an earlier toss can be those of this packet. `*proofs` is incremented for each line that is
// certainly about one of its messages.
bool CouldBeOf(const SourcePacket& packet, const LoggedPacket& logged, LedgerBase* base, size_t* proofs);
