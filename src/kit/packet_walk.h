// Walks the packets in a file, and the messages in a packet, with the readers that the toss uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "base/byte_buffer.h"
#include "ftn/packet_reader.h"

// Calls `take` with each packet in a packet or bundle that a toss would process; others are skipped.
void EachPacket(const ByteBuffer& file, const std::function<void(const uint8_t* packet, size_t size)>& take);

// Calls `take` with each message of a packet, up to its first fault.
void EachMessage(const uint8_t* packet, size_t size, const std::function<void(const PackedMessageView&)>& take);
