// Publishing: a mailer that polls OUTDIR sees either no bundle or a complete one.
//
// Invariants:
// 1. The bundle is complete, on the disk and closed under a temporary name before it gets its own; so are its serials.
// 2. The rename to its own name never replaces a file.
// 3. After a failure neither the temporary packet nor the temporary bundle is left.
//
// Steps: write the packet to a temporary file; read it back; remove it; choose a free name; wait for the serials; write
// the bundle under a temporary name and wait for it; check the run lock; rename the bundle.
#pragma once

#include "base/byte_buffer.h"
#include "scan/scan_site.h"

// Publishes the packed messages in `packet` as one bundle in OUTDIR; the packet's memory is released. `messages` is
// their number, for the log. Returns 0, or -1 after logging why.
int PublishBundle(const ScanSite& site, size_t messages, ByteBuffer* packet);
