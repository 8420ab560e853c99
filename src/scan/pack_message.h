// Turning one local message into a packed message and a commit record.
#pragma once

#include "base/byte_buffer.h"
#include "scan/export_queue.h"
#include "scan/local_message.h"
#include "scan/scan_site.h"

// What a scan gathers: the packed messages, and what has to be recorded once they are published.
struct Outbound {
  ByteBuffer packet;
  ExportQueue queue;
  ByteBuffer text;  // scratch memory for one message's text
};

// Gives the message its serial, puts its text together and appends it to the packet and the queue. `ptr` is the
// conference's PTR file. Returns 0, or -1 after logging why; the scan cannot go on then.
int PackLocalMessage(const ScanSite& site, const BasePath& ptr, const LocalMessage& message, Outbound* outbound);
