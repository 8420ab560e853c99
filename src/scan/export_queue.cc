#include "scan/export_queue.h"

#include <algorithm>
#include <cstring>

int QueueExport(const ExportRecord& record, ExportQueue* queue) {
  const size_t capacity = queue->bytes.capacity / sizeof record;
  if (queue->count == capacity) {
    const size_t grown = std::max(kFirstQueueCapacity, 2 * capacity);
    if (grown > kLargestQueue || ReserveBytes(&queue->bytes, grown * sizeof record) != 0) return -1;
  }
  memcpy(queue->bytes.data + queue->count * sizeof record, &record, sizeof record);
  ++queue->count;
  return 0;
}

ExportRecord GetExport(const ExportQueue& queue, size_t index) {
  ExportRecord record;
  memcpy(&record, queue.bytes.data + index * sizeof record, sizeof record);
  return record;
}
