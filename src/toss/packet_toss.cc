#include "toss/packet_toss.h"

#include <cstdio>
#include <cstring>

#include "app/run_log.h"
#include "base/bytes.h"
#include "ftn/packet.h"
#include "toss/bad_packet.h"
#include "toss/inbound_message.h"
#include "toss/inbound_text.h"
#include "toss/route_message.h"

namespace {

// A packet being walked.
struct PacketWalk {
  const uint8_t* packet;
  size_t size;
  size_t at = kPacketHeaderSize;
  int messages = 0;
  bool retain = false;
};

enum StepResult { kStepOn, kStepEnd, kStepFault, kStepRefused, kStepStopped };

// Finds the NUL-terminated text at the walk's position and moves behind it. Returns false when no NUL follows.
bool TakeText(PacketWalk* walk, const char** text, size_t* size) {
  const uint8_t* const start = walk->packet + walk->at;
  const void* const nul = memchr(start, '\0', walk->size - walk->at);
  if (nul == nullptr) return false;
  *text = reinterpret_cast<const char*>(start);
  *size = static_cast<size_t>(static_cast<const uint8_t*>(nul) - start);
  walk->at += *size + 1;
  return true;
}

// As TakeText, copying the text; what does not fit is cut off.
template <size_t kSize>
bool CopyText(PacketWalk* walk, char (&destination)[kSize]) {
  const char* text = nullptr;
  size_t size = 0;
  if (!TakeText(walk, &text, &size)) return false;
  if (size > kSize - 1) size = kSize - 1;
  memcpy(destination, text, size);
  destination[size] = '\0';
  return true;
}

StepResult Fault(const TossSite& site, const PacketWalk& walk, const char* reason) {
  SaveBadPacket(site.bad_packets, walk.packet, walk.size, reason);
  return kStepFault;
}

StepResult TossNextMessage(const TossSite& site, PacketWalk* walk, InboundMessage* message) {
  if (walk->size - walk->at < kPacketWordSize) return kStepEnd;  // ended without its closing word, or with a stray byte
  const uint16_t type = GetU16(walk->packet + walk->at);
  if (type == kEndOfPacket) return kStepEnd;
  if (type != kMessageFollows) {
    LogLine("  unexpected message-type word 0x%04x at offset %zu, stopping", static_cast<unsigned int>(type), walk->at);
    return Fault(site, *walk, "unexpected message-type word mid-packet");
  }
  if (walk->size - walk->at < kPackedMessageHeadSize) {
    LogLine("  truncated message header, stopping");
    return Fault(site, *walk, "truncated message header");
  }
  ClearInboundMessage(message);
  const PackedMessageHead head = UnpackMessageHead(walk->packet + walk->at);
  message->attribute = head.attribute;
  (void)snprintf(message->origin, sizeof message->origin, "%u/%u", static_cast<unsigned int>(head.origNet),
                 static_cast<unsigned int>(head.origNode));
  walk->at += kPackedMessageHeadSize;
  if (!CopyText(walk, message->dateTime) || !CopyText(walk, message->toUserName) ||
      !CopyText(walk, message->fromUserName) || !CopyText(walk, message->subject)) {
    LogLine("  truncated message string field, stopping");
    return Fault(site, *walk, "truncated message string field");
  }
  const char* text = nullptr;
  size_t size = 0;
  if (!TakeText(walk, &text, &size)) {
    LogLine("  truncated message text, stopping");
    return Fault(site, *walk, "truncated message text");
  }
  if (ParseInboundText(text, size, message) != 0) {
    LogLine("  ERROR: could not allocate/clean message body; source packet will be retained");
    return kStepRefused;
  }
  ++walk->messages;
  if (!KeepRunLock(site.lock)) return kStepStopped;
  const RouteResult result = RouteMessage(site, walk->messages, *message);
  if (result == kRouteFailed) walk->retain = true;
  return result == kRouteStopped ? kStepStopped : kStepOn;
}

}  // namespace

bool LooksLikePacket(const uint8_t* packet, size_t size) {
  if (size < kPacketHeaderSize + kPacketWordSize) return false;
  const PacketHeader header = UnpackPacketHeader(packet);
  const uint16_t first_word = GetU16(packet + kPacketHeaderSize);
  return header.packetType == kPacketType2 && header.year >= 1990 && header.year <= 2100 && header.month <= 11 &&
         header.day >= 1 && header.day <= 31 && (first_word == kEndOfPacket || first_word == kMessageFollows);
}

TossResult TossPacket(const TossSite& site, const uint8_t* packet, size_t size) {
  if (!LooksLikePacket(packet, size)) {
    LogLine("  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file");
    return NotAPacket;
  }
  const PacketHeader header = UnpackPacketHeader(packet);
  LogLine("  packet: orig %u:%u/%u.%u -> dest %u:%u/%u.%u  (month field is 0-based; %04d-%02d-%02d)", header.origZone,
          header.origNet, header.origNode, header.origPoint, header.destZone, header.destNet, header.destNode,
          header.destPoint, header.year, header.month + 1, header.day);

  PacketWalk walk = {packet, size};
  InboundMessage message;
  StepResult step = kStepOn;
  while (step == kStepOn) step = TossNextMessage(site, &walk, &message);
  if (step == kStepStopped) return PacketStopped;
  if (step == kStepRefused) return PacketRetain;
  if (step == kStepEnd) LogLine("  %d message(s) parsed from this packet", walk.messages);
  if (walk.retain) return PacketRetain;
  return step == kStepEnd ? PacketDone : PacketCorrupt;
}
