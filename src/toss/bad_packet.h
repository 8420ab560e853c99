// Keeping packets that could not be finished.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/filing_directory.h"

// Where they are kept for review.
struct BadPackets {
  FilingDirectory directory;
  bool lost = false;       // a copy was not written whole, or the disk may not hold it
  char unsynced[32] = {};  // the name of the copy that has not been waited for; empty: none
};

// Writes the packet to BAD_<seconds>.PKT in the directory, which is created when missing, and logs where and why, or
// that the file could not be created. An older file of that name, or a link, is replaced.
void SaveBadPacket(BadPackets* bad_packets, const uint8_t* packet, size_t size, const char* reason);

// For the next source: what became of the copies so far no longer counts.
void ForgetBadPackets(BadPackets* bad_packets);

// Waits until the disk holds the copies; a copy that it may not hold counts as lost. Saving does so itself when another
// second gives another name, and so at most once a second.
void SyncBadPackets(BadPackets* bad_packets);
