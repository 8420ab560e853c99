// Keeping packets that could not be finished.
#pragma once

#include <cstddef>
#include <cstdint>

// Writes the packet to BAD_<seconds>.PKT in `bad_msgs_dir`, which is created when missing, and logs where and why, or
// that it could not be written.
void SaveBadPacket(const char* bad_msgs_dir, const uint8_t* packet, size_t size, const char* reason);
