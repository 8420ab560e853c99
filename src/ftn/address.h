// FTN addresses, zone:net/node.point (FSP-1028 gives the text form).
#pragma once

#include <cstdint>

struct FtnAddress {
  int32_t Zone = 0;
  int32_t Net = 0;
  int32_t Node = 0;
  int32_t Point = 0;
};

// Reads zone:net/node with an optional .point from the start of `text`; blanks before a number and signs are accepted,
// what follows the last number is ignored, and no range is checked (beyond 32 bits the nearest number that fits is
// taken). All four numbers are set, to 0 where none was read. Returns true when at least zone, net and node were there.
bool ParseFtnAddress(const char* text, FtnAddress* address);
