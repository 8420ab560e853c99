// One message on its way from a packet to the message base.
#pragma once

#include <cstdint>

#include "base/byte_buffer.h"
#include "ftn/packet_reader.h"

constexpr int64_t kLargestSource = 2147483647;  // bytes: a larger inbound file is not read

// Every text is NUL-terminated. The head comes from the packet, the rest from the message text.
struct InboundMessage {
  char dateTime[64] = {};  // as received
  char toUserName[64] = {};
  char fromUserName[64] = {};
  char subject[128] = {};
  char origin[24] = {};    // the message's origin net and node, "250/10"
  uint16_t attribute = 0;  // FTS-0001 attribute bits
  char area[32] = {};      // the AREA tag as received; empty for netmail
  char charset[32] = {};   // this and the next two: the values of CHRS, MSGID and REPLY; empty when missing
  char msgid[128] = {};
  char reply[128] = {};
  ByteBuffer body;  // the kept lines, each ended by kLineEndByte
};

// Clears every text for the next message; the body's memory is kept.
void ClearInboundMessage(InboundMessage* message);

// Clears the message and copies its head, names, date and subject from the packet.
void TakePackedHead(const PackedMessageView& packed, InboundMessage* message);
