// The serial numbers of outbound MSGIDs: CVOUTBOUND.SEQ in MSGDIR holds the last one handed out.
//
// A serial that has been used must never come again, or other systems take the new message for a duplicate. So:
// 1. The file holds a serial before the serial is used.
// 2. The file is overwritten in place and cut afterwards, never emptied, and a number is on the disk before what stood
//    behind it is cut off: the old number or the new one stands in it whenever the program or the power is stopped.
// 3. A write that fails half-way is taken back.
// 4. The file is on the disk before a message with its serial is published.
#pragma once

#include <cstdint>

#include "app/site_paths.h"

// Hands out the next serial, from 1; it is never 0. Returns 0, or -1 when the file cannot be read or written.
int NextSerial(const MessageBase& base, uint32_t* serial);

// Waits until the disk holds the serials handed out. Returns 0 or -1.
int SyncSerial(const MessageBase& base);
