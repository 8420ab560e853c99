// FTN addresses, zone:net/node.point (FSP-1028 gives the text form).
#pragma once

#include <cstdint>

struct FtnAddress {
  int32_t Zone = 0;
  int32_t Net = 0;
  int32_t Node = 0;
  int32_t Point = 0;
};

// Reads zone:net/node with an optional .point from the start of `text`. Blanks and a sign before a number are accepted,
// what follows the last number is ignored, and no range is checked (a number beyond 32 bits becomes the nearest one
// that fits). All four numbers are set, to 0 where none was read. Returns true when at least zone, net and node were
// read.
bool ParseFtnAddress(const char* text, FtnAddress* address);
