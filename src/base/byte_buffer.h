// The one owner of raw memory: a byte array that grows and says when it cannot.
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

// Makes room for `capacity` bytes in all, exactly that many when the buffer has to grow; the bytes in use are kept.
// Returns 0, or -1 without memory (the buffer is as it was).
int ReserveBytes(ByteBuffer* buffer, size_t capacity);

// Appends bytes; the room at least doubles when it has to grow. Returns 0, or -1 without memory (the buffer is as it
// was).
int AppendBytes(ByteBuffer* buffer, const void* from, size_t size);

// Gives the memory back; the buffer is empty and can be used again.
void FreeBytes(ByteBuffer* buffer);
