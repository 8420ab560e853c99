// Saving the rest of a damaged packet for review.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/filing_directory.h"

// Where the copies are saved, and what is known of those of the current source.
struct BadPackets {
  FilingDirectory directory;
  bool lost = false;       // a copy was not written completely, or the disk may not hold it
  char unsynced[32] = {};  // the name of the copy that has not been synced; empty: none
};

// Writes the packet to BAD_<seconds>.PKT in the directory, which is created when missing, and logs where and why, or
// that the file could not be created. An older file or link of that name is replaced.
void SaveBadPacket(BadPackets* bad_packets, const uint8_t* packet, size_t size, const char* reason);

// Forgets the copies of the previous source.
void ForgetBadPackets(BadPackets* bad_packets);

// Waits until the disk holds the copies; a copy that it may not hold counts as lost. SaveBadPacket does so itself
// before it writes a file of another name, and so at most once a second.
void SyncBadPackets(BadPackets* bad_packets);
