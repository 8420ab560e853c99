// Reads the messages of an inbound file for the ledger, with the readers that the toss uses.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/byte_buffer.h"
#include "bbs/conference_table.h"
#include "bbs/records.h"

struct SourceMessage {
  std::string msgid;                   // as it came; empty for none
  uint64_t identity = 0;               // IdentityOfHeader of the header that a toss writes for it
  int32_t conference = kNoConference;  // in which a toss would store it today
  bool whole = true;                   // its end was found
  bool reached = true;                 // no damage before it in its packet
};

struct SourcePacket {
  std::string entry;  // its name in the bundle; empty for a packet that is a file
  uint64_t key = 0;   // KeyOfEntry of the entry
  std::vector<SourceMessage> messages;
};

// Calls `take` with each entry of a bundle in order, or once if the file is a packet. An entry that a toss cannot read
// has no messages. Returns false when the file is neither a bundle nor a packet.
bool EachSourcePacket(const ByteBuffer& file, const ConferenceTable& table,
                      const std::function<void(const SourcePacket&)>& take);

// A hash of the date, names, subject and origin of a header.
uint64_t IdentityOfHeader(const PtrRecord& header);
