// The messages of an inbound file as the ledger needs them, told by the readers that the toss uses.
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
  uint64_t identity = 0;               // as IdentityOfHeader of the header that a toss makes of it
  int32_t conference = kNoConference;  // where a toss would put it today
  bool whole = true;                   // its end can be told
  bool reached = true;                 // no damage lies before it
};

struct SourcePacket {
  std::string entry;  // its name in the bundle; empty for a packet that is a file
  uint64_t key = 0;   // as KeyOfEntry
  std::vector<SourceMessage> messages;
};

// Calls `take` with each entry of a bundle, or with the packet that the file is, one at a time. An entry that a toss
// cannot read has no messages. Returns false when the file is neither a bundle nor a packet.
bool EachSourcePacket(const ByteBuffer& file, const ConferenceTable& table,
                      const std::function<void(const SourcePacket&)>& take);

// A hash of the date, names, subject and origin of a header.
uint64_t IdentityOfHeader(const PtrRecord& header);
