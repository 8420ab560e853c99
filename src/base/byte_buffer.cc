#include "base/byte_buffer.h"

#include <algorithm>
#include <cstring>

#include "platform/os.h"

ByteBuffer::~ByteBuffer() { FreeBytes(this); }

int ReserveBytes(ByteBuffer* buffer, size_t capacity) {
  if (capacity <= buffer->capacity) return 0;
  void* grown = OsReallocate(buffer->data, capacity);
  if (grown == nullptr) return -1;
  buffer->data = static_cast<uint8_t*>(grown);
  buffer->capacity = capacity;
  return 0;
}

int AppendBytes(ByteBuffer* buffer, const void* from, size_t size) {
  if (size > SIZE_MAX / 2 - buffer->size) return -1;
  const size_t needed = buffer->size + size;
  if (needed > buffer->capacity && ReserveBytes(buffer, std::max(needed, 2 * buffer->capacity)) != 0) return -1;
  if (size != 0) memcpy(buffer->data + buffer->size, from, size);
  buffer->size = needed;
  return 0;
}

void FreeBytes(ByteBuffer* buffer) {
  OsRelease(buffer->data);
  buffer->data = nullptr;
  buffer->size = 0;
  buffer->capacity = 0;
}
