// Tossing the messages of one packet that is held in memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/inbound_text.h"
#include "toss/toss_site.h"

// The result of tossing a packet, a bundle or an inbound file.
enum TossResult {
  NotAPacket = 0,     // nothing was done
  PacketDone = 1,     // every message was stored or skipped by a rule
  PacketCorrupt = 2,  // a structural fault ended the walk; a copy was saved for review
  PacketRetain = 3,   // at least one message could not be stored: the source has to be kept
  PacketStopped = 4,  // the run lock is lost: the source has to be kept and the run has to end
};

// Stores the messages of the packet. The bytes are only read; the caller moves, deletes or keeps the source.
TossResult TossPacket(const TossSite& site, const uint8_t* packet, size_t size);

// Logs the fault of a text; nothing for kTextNoMemory and kTextSound.
void ReportTextFault(const ParsedText& parsed);
