// The only owner of raw memory: a byte array whose growth can fail.
#pragma once

#include <cstddef>
#include <cstdint>

struct ByteBuffer {
  uint8_t* data = nullptr;
  size_t size = 0;      // bytes in use
  size_t capacity = 0;  // bytes held

  ByteBuffer() = default;
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;
  ~ByteBuffer();
};

// Makes the capacity at least `capacity` bytes, exactly that many when it has to grow; the bytes in use are kept.
// Returns 0, or -1 without memory (the buffer is unchanged).
int ReserveBytes(ByteBuffer* buffer, size_t capacity);

// Appends bytes; the capacity at least doubles when it has to grow. Returns 0, or -1 without memory (the buffer is
// unchanged).
int AppendBytes(ByteBuffer* buffer, const void* from, size_t size);

// Releases the memory; the buffer is empty and can be used again.
void FreeBytes(ByteBuffer* buffer);
