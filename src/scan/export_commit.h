// Recording exported messages, after their bundle has been published.
//
// Invariants:
// 1. Nothing is recorded before the bundle is out, and the bundle is never taken back.
// 2. A message's SIG line is appended before its header is marked sent: no message is ever marked sent without one.
// 3. When marking fails, the file is asked: a byte that is set after all counts; otherwise the SIG file is cut back to
//    exactly its earlier length.
// 4. The lines and marks of all messages are on the disk before the commit counts as done: one wait at the end.
// 5. Every message is attempted, whatever became of the ones before it. One that fails stays unsent and is exported
//    again by the next run.
#pragma once

#include "scan/export_queue.h"
#include "scan/scan_site.h"

// Commits every message of the queue; the loss of the run lock does not end it, for the bundle is out. Returns 0, or -1
// when at least one stays unsent (each has been logged) or the disk may not hold all lines and marks.
int CommitExports(const ScanSite& site, const ExportQueue& queue);
