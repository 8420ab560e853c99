// Which of the lines about a packet is about which of its messages.
#pragma once

#include <optional>
#include <vector>

#include "kit/ledger_base.h"
#include "kit/ledger_source.h"
#include "kit/toss_history.h"

// The outcome of each message of the packet; none for one that no line can be told to be about. `done` says that the
// toss came to the packet's end, so that each whole message had a line once.
//
// Where the lines are as many as the toss counted they are taken in their order. Where lines are missing, one is a
// message's when it gives its place, or the number that the SIG file or the header has of it; what lies between two
// such lines is taken in order when there are as many messages as lines.
std::vector<std::optional<LoggedOutcome>> MatchOutcomes(const SourcePacket& packet, const LoggedPacket& logged,
                                                        bool done, LedgerBase* base);

// Whether the lines of an earlier toss can be those of this packet. `*proofs` is raised by each that names one of its
// messages.
bool CouldBeOf(const SourcePacket& packet, const LoggedPacket& logged, LedgerBase* base, size_t* proofs);
