// The tag of an echomail area, the text that follows "AREA:" (FTS-0004).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Whether the `size` bytes can be a tag: there is at least one, and none is a blank, a control character, a colon or
// DEL. Bytes of 128 and above are allowed.
inline bool IsAreaTag(const char* tag, size_t size) {
  return size != 0 && std::all_of(tag, tag + size, [](char c) {
           const auto byte = static_cast<uint8_t>(c);
           return byte > ' ' && byte != ':' && byte != 0x7F;
         });
}
