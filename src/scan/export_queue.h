// What has to be recorded of each exported message once the bundle is published.
#pragma once

#include <cstddef>
#include <cstdint>

#include "app/site_paths.h"
#include "base/byte_buffer.h"

// One message: where its header is, and its new MSGID.
struct ExportRecord {
  BasePath ptr;
  int64_t ordinal;  // the header's position in the PTR file, from 0
  int32_t conference;
  int32_t msg_number;
  char msgid[128];
};

// The records in the order in which the messages were queued.
struct ExportQueue {
  ByteBuffer bytes;
  size_t count = 0;
};

constexpr size_t kFirstQueueCapacity = 32;  // records
constexpr size_t kLargestQueue = 6587373;   // records; of 652 bytes each, as many as a 32-bit size can hold

// Appends a record; the capacity doubles when it is used up. Returns 0, or -1 without memory (the queue is then
// unchanged).
int QueueExport(const ExportRecord& record, ExportQueue* queue);

// Returns record `index`, which is below `count`.
ExportRecord GetExport(const ExportQueue& queue, size_t index);
