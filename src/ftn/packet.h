// The type-2 packet of FTS-0001, with the point and zone fields of FSC-0048 (type 2+), as read and written here.
//
// A packet is a header of 58 bytes, packed messages one directly after another, and a closing 16-bit word 0. A packed
// message is a head of 14 bytes and five NUL-terminated texts: date, to, from, subject and the message text. All
// integers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace packet_layout {

constexpr size_t kHeaderSize = 58;
constexpr Field origNode{0, 2};
constexpr Field destNode{2, 2};
constexpr Field year{4, 2};
constexpr Field month{6, 2};
constexpr Field day{8, 2};
constexpr Field hour{10, 2};
constexpr Field minute{12, 2};
constexpr Field second{14, 2};
constexpr Field baud{16, 2};
constexpr Field packetType{18, 2};
constexpr Field origNet{20, 2};
constexpr Field destNet{22, 2};
constexpr Field productCodeLo{24, 1};
constexpr Field revisionMajor{25, 1};
constexpr Field password{26, 8};
constexpr Field qOrigZone{34, 2};
constexpr Field qDestZone{36, 2};
constexpr Field auxNet{38, 2};
constexpr Field capWordCopy{40, 2};  // high byte first
constexpr Field productCodeHi{42, 1};
constexpr Field revisionMinor{43, 1};
constexpr Field capWord{44, 2};
constexpr Field origZone{46, 2};
constexpr Field destZone{48, 2};
constexpr Field origPoint{50, 2};
constexpr Field destPoint{52, 2};
constexpr Field productData{54, 4};
static_assert(CoversRecord({origNode, destNode,  year,       month,     day,         hour,          minute,
                            second,   baud,      packetType, origNet,   destNet,     productCodeLo, revisionMajor,
                            password, qOrigZone, qDestZone,  auxNet,    capWordCopy, productCodeHi, revisionMinor,
                            capWord,  origZone,  destZone,   origPoint, destPoint,   productData},
                           kHeaderSize));

constexpr size_t kMessageHeadSize = 14;
constexpr Field messageType{0, 2};
constexpr Field messageOrigNode{2, 2};
constexpr Field messageDestNode{4, 2};
constexpr Field messageOrigNet{6, 2};
constexpr Field messageDestNet{8, 2};
constexpr Field attribute{10, 2};
constexpr Field cost{12, 2};
static_assert(CoversRecord({messageType, messageOrigNode, messageDestNode, messageOrigNet, messageDestNet, attribute,
                            cost},
                           kMessageHeadSize));

}  // namespace packet_layout

constexpr size_t kPacketHeaderSize = packet_layout::kHeaderSize;
constexpr size_t kPackedMessageHeadSize = packet_layout::kMessageHeadSize;
constexpr size_t kPacketWordSize = 2;      // a message's type, or the closing 0
constexpr size_t kPacketPasswordSize = 8;  // bytes in the header, NUL-padded
constexpr uint16_t kPacketType2 = 2;
constexpr uint16_t kMessageFollows = 2;
constexpr uint16_t kEndOfPacket = 0;
constexpr uint16_t kAttributePrivate = 1;  // bit 0 of a message's attribute word

struct PacketHeader {
  uint16_t origNode = 0;
  uint16_t destNode = 0;
  uint16_t year = 0;   // full
  uint16_t month = 0;  // 0 = January .. 11 = December
  uint16_t day = 0;
  uint16_t hour = 0;
  uint16_t minute = 0;
  uint16_t second = 0;
  uint16_t packetType = 0;
  uint16_t origNet = 0;
  uint16_t destNet = 0;
  uint8_t password[kPacketPasswordSize] = {};
  uint16_t qOrigZone = 0;  // the older position of the zones
  uint16_t qDestZone = 0;
  uint16_t capWord = 0;
  uint16_t origZone = 0;
  uint16_t destZone = 0;
  uint16_t origPoint = 0;
  uint16_t destPoint = 0;
};

struct PackedMessageHead {
  uint16_t messageType = 0;
  uint16_t origNode = 0;
  uint16_t destNode = 0;
  uint16_t origNet = 0;
  uint16_t destNet = 0;
  uint16_t attribute = 0;
  uint16_t cost = 0;
};

// Reads the kPacketHeaderSize bytes of a packet header.
PacketHeader UnpackPacketHeader(const uint8_t* from);

// Writes a packet header of kPacketHeaderSize bytes; the fields that the structure leaves out are zero, and the copy
// of the capability word is made from `capWord`.
void PackPacketHeader(const PacketHeader& header, uint8_t* to);

// Reads and writes the kPackedMessageHeadSize bytes in front of a packed message's texts.
PackedMessageHead UnpackMessageHead(const uint8_t* from);
void PackMessageHead(const PackedMessageHead& head, uint8_t* to);
