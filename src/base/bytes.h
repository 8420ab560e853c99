// Little-endian integers in byte arrays, and the declaration of fixed layouts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

// One field of a fixed layout: where it starts and how many bytes it takes.
struct Field {
  size_t at;
  size_t width;
};

// Whether the fields, in order, cover a record of `size` bytes without gap or overlap.
constexpr bool CoversRecord(std::initializer_list<Field> fields, size_t size) {
  size_t next = 0;
  for (const Field& field : fields) {
    if (field.at != next) return false;
    next += field.width;
  }
  return next == size;
}

inline uint16_t GetU16(const uint8_t* from) { return static_cast<uint16_t>(from[0] | (from[1] << 8)); }

inline uint32_t GetU32(const uint8_t* from) {
  return static_cast<uint32_t>(from[0]) | (static_cast<uint32_t>(from[1]) << 8) |
         (static_cast<uint32_t>(from[2]) << 16) | (static_cast<uint32_t>(from[3]) << 24);
}

inline int32_t GetI32(const uint8_t* from) { return static_cast<int32_t>(GetU32(from)); }

inline void PutU16(uint8_t* to, uint16_t value) {
  to[0] = static_cast<uint8_t>(value);
  to[1] = static_cast<uint8_t>(value >> 8);
}

inline void PutU32(uint8_t* to, uint32_t value) {
  PutU16(to, static_cast<uint16_t>(value));
  PutU16(to + 2, static_cast<uint16_t>(value >> 16));
}

inline void PutI32(uint8_t* to, int32_t value) { PutU32(to, static_cast<uint32_t>(value)); }

// Copies a length-prefixed string field into `text` and adds a NUL. A length byte beyond the field is capped, and the
// text is cut to `size` - 1 bytes. Returns the length of the copied text (which may hold NUL bytes).
inline size_t GetPrefixedText(const uint8_t* record, Field field, char* text, size_t size) {
  size_t length = record[field.at];
  if (length > field.width - 1) length = field.width - 1;
  if (length > size - 1) length = size - 1;
  memcpy(text, record + field.at + 1, length);
  text[length] = '\0';
  return length;
}

// Writes a NUL-terminated text into a length-prefixed string field, whose bytes are zero before; a longer text is cut
// to the field.
inline void PutPrefixedText(uint8_t* record, Field field, const char* text) {
  size_t length = strlen(text);
  if (length > field.width - 1) length = field.width - 1;
  record[field.at] = static_cast<uint8_t>(length);
  memcpy(record + field.at + 1, text, length);
}
