// Making a packed message and a commit record of one local message.
#pragma once

#include "base/byte_buffer.h"
#include "scan/export_queue.h"
#include "scan/local_message.h"
#include "scan/scan_site.h"

// What a scan collects: the packed messages, and what has to be recorded once they are published.
struct Outbound {
  ByteBuffer packet;
  ExportQueue queue;
  ByteBuffer text;  // scratch memory for one message's text
};

// Takes a serial for the message, assembles its text and appends it to the packet and the queue. `ptr` is the
// conference's PTR file. Returns 0, or -1 after logging why; the scan has to end then.
int PackLocalMessage(const ScanSite& site, const BasePath& ptr, const LocalMessage& message, Outbound* outbound);
