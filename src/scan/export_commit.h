// Recording exported messages, after their bundle has been published.
//
// Invariants:
// 1. Nothing is recorded before the bundle is published, and a published bundle is never withdrawn.
// 2. A message's SIG line is appended before its header is marked sent: no message is ever marked sent without one.
// 3. When marking fails, the header is read again: if it is marked after all, that counts; otherwise the SIG file is
//    cut back to exactly its earlier length.
// 4. The lines and marks of all messages are on the disk before the commit counts as done: one wait at the end.
// 5. Every message is attempted, whatever the result of those before it. One that fails stays unsent and is exported
//    again by the next run.
#pragma once

#include "scan/export_queue.h"
#include "scan/scan_site.h"

// Commits every message of the queue, even if the run lock is lost, for the bundle is published. Returns 0, or -1 when
// at least one stays unsent (each has been logged) or the disk may not hold all lines and marks.
int CommitExports(const ScanSite& site, const ExportQueue& queue);
