// Walking the messages of a packet that is held in memory (FTS-0001, see ftn/packet.h). Nothing is logged or changed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ftn/packet.h"

// Whether the bytes begin with the header of a type-2 packet whose date is plausible.
bool LooksLikePacket(const uint8_t* packet, size_t size);

// A NUL-terminated text within the packet.
struct PackedText {
  const char* text = "";
  size_t size = 0;  // bytes, without the NUL
};

// A packed message within the packet.
struct PackedMessageView {
  size_t offset = 0;  // of its first byte in the packet
  PackedMessageHead head;
  PackedText dateTime;
  PackedText toUserName;
  PackedText fromUserName;
  PackedText subject;
  PackedText text;
};

// The result of one step of the walk: a message, the packet's end, or the fault that ends the walk.
enum PacketStep {
  kPacketMessage,
  kPacketEnd,       // the closing word, or fewer bytes left than it takes
  kPacketBadType,   // the word is neither that of a message nor the closing one; the view's head has it as messageType
  kPacketCutHead,   // the packet ends within the message's head
  kPacketCutField,  // no NUL ends the date, a name or the subject
  kPacketCutText,   // no NUL ends the text
};

// A packet being walked; it is at least as long as its header.
struct PacketReader {
  const uint8_t* packet;
  size_t size;                    // bytes
  size_t at = kPacketHeaderSize;  // where the next step begins; after a fault, the offset of the faulty message
};

// Reads the next message and moves past it.
PacketStep ReadPackedMessage(PacketReader* reader, PackedMessageView* message);
