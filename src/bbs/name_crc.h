// The checksum of names in IDX records.
#pragma once

#include <cstdint>

// The BBS looks up names by these sums, so they are part of its file format, and are not computed by the library that
// computes those of ZIP files: neither changes with the other.
//
// Returns the CRC-32 (reflected polynomial 0xEDB88320, as in ZIP) of a NUL-terminated name, case and blanks unchanged;
// 0 for an empty name.
uint32_t NameCrc(const char* name);
