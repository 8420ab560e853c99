#include "toss/packet_toss.h"

#include "app/run_log.h"
#include "app/shown_text.h"
#include "ftn/packet_reader.h"
#include "toss/bad_packet.h"
#include "toss/inbound_message.h"
#include "toss/inbound_text.h"
#include "toss/route_message.h"

namespace {

// The reason with which the rest of a damaged packet is saved, after the line of its fault.
const char* ReportFault(PacketStep fault, const PackedMessageView& message) {
  switch (fault) {
    case kPacketBadType:
      LogLine("  unexpected message-type word 0x%04x at offset %zu, stopping",
              static_cast<unsigned int>(message.head.messageType), message.offset);
      return "unexpected message-type word mid-packet";
    case kPacketCutHead: LogLine("  truncated message header, stopping"); return "truncated message header";
    case kPacketCutField:
      LogLine("  truncated message string field, stopping");
      return "truncated message string field";
    default: LogLine("  truncated message text, stopping"); return "truncated message text";
  }
}

}  // namespace

void ReportTextFault(const ParsedText& parsed) {
  switch (parsed.fault) {
    case kTextSound:
    case kTextNoMemory: return;
    case kTextBadArea:
      LogLine("ERROR: inbound AREA tag is empty, malformed, or too long: '%s'",
              ShownText(parsed.value, parsed.size).text);
      return;
    case kTextLongKludge:
      LogLine("ERROR: inbound %s value is too long (%lu bytes; maximum %lu)", parsed.kludge,
              static_cast<unsigned long>(parsed.size), static_cast<unsigned long>(parsed.limit));
      return;
    case kTextLongLine:
      LogLine("ERROR: inbound logical line is %lu bytes; safety limit is %u", static_cast<unsigned long>(parsed.size),
              static_cast<unsigned int>(parsed.limit));
      return;
  }
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

  PacketReader reader = {packet, size};
  PackedMessageView packed;
  InboundMessage message;
  int messages = 0;
  bool retain = false;
  PacketStep step = ReadPackedMessage(&reader, &packed);
  for (; step == kPacketMessage; step = ReadPackedMessage(&reader, &packed)) {
    TakePackedHead(packed, &message);
    const ParsedText parsed = ParseInboundText(packed.text.text, packed.text.size, &message);
    ReportTextFault(parsed);
    if (parsed.fault != kTextSound) {
      LogLine("  ERROR: could not allocate/clean message body; source packet will be retained");
      return PacketRetain;
    }
    ++messages;
    if (!KeepRunLock(site.lock)) return PacketStopped;
    switch (RouteMessage(site, messages, message)) {
      case kRouteStored:
      case kRouteSkipped: break;
      case kRouteFailed: retain = true; break;
      case kRouteStopped: return PacketStopped;
    }
  }
  if (step == kPacketEnd) {
    LogLine("  %d message(s) parsed from this packet", messages);
  } else {
    SaveBadPacket(site.bad_packets, packet, size, ReportFault(step, packed));
  }
  if (retain) return PacketRetain;
  return step == kPacketEnd ? PacketDone : PacketCorrupt;
}
