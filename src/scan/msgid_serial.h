// The serial numbers of outbound MSGIDs: CVOUTBOUND.SEQ in MSGDIR has the last one that was used.
//
// A serial must never be used twice, or other systems take the new message for a duplicate. So:
// 1. The file has a serial before the serial is used.
// 2. The file is overwritten in place and then cut to its new length, never emptied, and the new number is on the disk
//    before the file is cut: whenever the program is killed or the power fails, the file has the old or the new number.
// 3. A write that fails half-way is undone.
// 4. The file is on the disk before a message with its serial is published.
#pragma once

#include <cstdint>

#include "app/site_paths.h"

// Saves and returns the next serial in `serial`, from 1; it is never 0. Returns 0, or -1 when the file cannot be read
// or written.
int NextSerial(const MessageBase& base, uint32_t* serial);

// Waits until the disk holds the serials saved so far. Returns 0 or -1.
int SyncSerial(const MessageBase& base);
