#include "ftn/packet_reader.h"

#include <cstring>

#include "base/bytes.h"

namespace {

// Reads the text at `*at` and moves past its NUL. Returns false when there is no NUL.
bool TakeText(const PacketReader& reader, size_t* at, PackedText* text) {
  const uint8_t* const start = reader.packet + *at;
  const void* const nul = memchr(start, '\0', reader.size - *at);
  if (nul == nullptr) return false;
  text->text = reinterpret_cast<const char*>(start);
  text->size = static_cast<size_t>(static_cast<const uint8_t*>(nul) - start);
  *at += text->size + 1;
  return true;
}

}  // namespace

bool LooksLikePacket(const uint8_t* packet, size_t size) {
  if (size < kPacketHeaderSize + kPacketWordSize) return false;
  const PacketHeader header = UnpackPacketHeader(packet);
  const uint16_t first_word = GetU16(packet + kPacketHeaderSize);
  return header.packetType == kPacketType2 && header.year >= 1990 && header.year <= 2100 && header.month <= 11 &&
         header.day >= 1 && header.day <= 31 && (first_word == kEndOfPacket || first_word == kMessageFollows);
}

PacketStep ReadPackedMessage(PacketReader* reader, PackedMessageView* message) {
  message->offset = reader->at;
  const uint8_t* const head = reader->packet + reader->at;
  const size_t left = reader->size - reader->at;
  if (left < kPacketWordSize) return kPacketEnd;
  message->head.messageType = GetU16(head);
  if (message->head.messageType == kEndOfPacket) return kPacketEnd;
  if (message->head.messageType != kMessageFollows) return kPacketBadType;
  if (left < kPackedMessageHeadSize) return kPacketCutHead;
  message->head = UnpackMessageHead(head);
  size_t at = reader->at + kPackedMessageHeadSize;
  if (!TakeText(*reader, &at, &message->dateTime) || !TakeText(*reader, &at, &message->toUserName) ||
      !TakeText(*reader, &at, &message->fromUserName) || !TakeText(*reader, &at, &message->subject)) {
    return kPacketCutField;
  }
  if (!TakeText(*reader, &at, &message->text)) return kPacketCutText;
  reader->at = at;
  return kPacketMessage;
}
