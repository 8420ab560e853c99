// Keeping packets that could not be finished.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/filing_directory.h"

// Where they are kept for review.
struct BadPackets {
  FilingDirectory directory;
  bool lost = false;  // since it was last cleared, a copy was not written whole
};

// Writes the packet to BAD_<seconds>.PKT in the directory, which is created when missing, and logs where and why, or
// that the file could not be created. An older file of that name, or a link, is replaced.
void SaveBadPacket(BadPackets* bad_packets, const uint8_t* packet, size_t size, const char* reason);
