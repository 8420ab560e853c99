#include "ftn/packet.h"

#include <cstring>

namespace layout = packet_layout;

PacketHeader UnpackPacketHeader(const uint8_t* from) {
  PacketHeader header;
  header.origNode = GetU16(from + layout::origNode.at);
  header.destNode = GetU16(from + layout::destNode.at);
  header.year = GetU16(from + layout::year.at);
  header.month = GetU16(from + layout::month.at);
  header.day = GetU16(from + layout::day.at);
  header.hour = GetU16(from + layout::hour.at);
  header.minute = GetU16(from + layout::minute.at);
  header.second = GetU16(from + layout::second.at);
  header.packetType = GetU16(from + layout::packetType.at);
  header.origNet = GetU16(from + layout::origNet.at);
  header.destNet = GetU16(from + layout::destNet.at);
  memcpy(header.password, from + layout::password.at, layout::password.width);
  header.qOrigZone = GetU16(from + layout::qOrigZone.at);
  header.qDestZone = GetU16(from + layout::qDestZone.at);
  header.capWord = GetU16(from + layout::capWord.at);
  header.origZone = GetU16(from + layout::origZone.at);
  header.destZone = GetU16(from + layout::destZone.at);
  header.origPoint = GetU16(from + layout::origPoint.at);
  header.destPoint = GetU16(from + layout::destPoint.at);
  return header;
}

void PackPacketHeader(const PacketHeader& header, uint8_t* to) {
  memset(to, 0, layout::kHeaderSize);
  PutU16(to + layout::origNode.at, header.origNode);
  PutU16(to + layout::destNode.at, header.destNode);
  PutU16(to + layout::year.at, header.year);
  PutU16(to + layout::month.at, header.month);
  PutU16(to + layout::day.at, header.day);
  PutU16(to + layout::hour.at, header.hour);
  PutU16(to + layout::minute.at, header.minute);
  PutU16(to + layout::second.at, header.second);
  PutU16(to + layout::packetType.at, header.packetType);
  PutU16(to + layout::origNet.at, header.origNet);
  PutU16(to + layout::destNet.at, header.destNet);
  memcpy(to + layout::password.at, header.password, layout::password.width);
  PutU16(to + layout::qOrigZone.at, header.qOrigZone);
  PutU16(to + layout::qDestZone.at, header.qDestZone);
  to[layout::capWordCopy.at] = static_cast<uint8_t>(header.capWord >> 8);
  to[layout::capWordCopy.at + 1] = static_cast<uint8_t>(header.capWord);
  PutU16(to + layout::capWord.at, header.capWord);
  PutU16(to + layout::origZone.at, header.origZone);
  PutU16(to + layout::destZone.at, header.destZone);
  PutU16(to + layout::origPoint.at, header.origPoint);
  PutU16(to + layout::destPoint.at, header.destPoint);
}

PackedMessageHead UnpackMessageHead(const uint8_t* from) {
  PackedMessageHead head;
  head.messageType = GetU16(from + layout::messageType.at);
  head.origNode = GetU16(from + layout::messageOrigNode.at);
  head.destNode = GetU16(from + layout::messageDestNode.at);
  head.origNet = GetU16(from + layout::messageOrigNet.at);
  head.destNet = GetU16(from + layout::messageDestNet.at);
  head.attribute = GetU16(from + layout::attribute.at);
  head.cost = GetU16(from + layout::cost.at);
  return head;
}

void PackMessageHead(const PackedMessageHead& head, uint8_t* to) {
  PutU16(to + layout::messageType.at, head.messageType);
  PutU16(to + layout::messageOrigNode.at, head.origNode);
  PutU16(to + layout::messageDestNode.at, head.destNode);
  PutU16(to + layout::messageOrigNet.at, head.origNet);
  PutU16(to + layout::messageDestNet.at, head.destNet);
  PutU16(to + layout::attribute.at, head.attribute);
  PutU16(to + layout::cost.at, head.cost);
}
