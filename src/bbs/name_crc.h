// The checksum of names in IDX records.
#pragma once

#include <cstdint>

// The BBS looks names up by these sums, so they are a format of its own, kept apart from the checksum of ZIP files that
// a library computes: neither changes with the other.
//
// The CRC-32 (reflected polynomial 0xEDB88320, as in ZIP) of a NUL-terminated name, case and blanks as they are; 0 for
// an empty name.
uint32_t NameCrc(const char* name);
