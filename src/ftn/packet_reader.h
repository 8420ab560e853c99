// Walking the messages of a packet that is held in memory (FTS-0001, see ftn/packet.h). Nothing is logged or changed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ftn/packet.h"

// Whether the bytes begin like a type-2 packet with a believable date.
bool LooksLikePacket(const uint8_t* packet, size_t size);

// A NUL-terminated text where it lies in the packet.
struct PackedText {
  const char* text = "";
  size_t size = 0;  // bytes, without the NUL
};

// A packed message as it lies in the packet.
struct PackedMessageView {
  size_t offset = 0;  // of its first byte in the packet
  PackedMessageHead head;
  PackedText dateTime;
  PackedText toUserName;
  PackedText fromUserName;
  PackedText subject;
  PackedText text;
};

// What a step of the walk has come to: a message, the packet's end, or the fault that ends the walk.
enum PacketStep {
  kPacketMessage,
  kPacketEnd,       // the closing word, or fewer bytes left than it takes
  kPacketBadType,   // the word where a message or the end should stand is neither; it is in the head
  kPacketCutHead,   // the packet ends within the message's head
  kPacketCutField,  // no NUL ends the date, a name or the subject
  kPacketCutText,   // no NUL ends the text
};

// A packet being walked; it holds at least its header.
struct PacketReader {
  const uint8_t* packet;
  size_t size;                    // bytes
  size_t at = kPacketHeaderSize;  // where the next step begins; after a fault, the offset of the faulty message
};

// Takes the next message apart and moves behind it.
PacketStep ReadPackedMessage(PacketReader* reader, PackedMessageView* message);
