// Tossing a ZIP bundle that is held in memory.
//
// One entry that could not be handled keeps the whole bundle in the inbound directory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/packet_toss.h"
#include "toss/toss_site.h"

// Tosses the packets in the bundle. Returns PacketDone when every entry was handled, PacketRetain when an entry failed
// or the bundle has none, NotAPacket when it is no bundle, or PacketStopped.
TossResult TossZipBundle(const TossSite& site, const uint8_t* bundle, size_t size);
