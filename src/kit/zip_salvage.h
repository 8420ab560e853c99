// Unpacks bundles, including those that the toss retains: with sizes after the data, and with local headers that are
// wrong although the central directory is right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct UnpackedEntry {
  std::string name;     // unchanged
  std::string content;  // after a fault, the part that could be unpacked
  std::string fault;    // empty when the content is whole
};

// Unpacks every entry that can be found, one after the other: by the central directory if it leads to local headers,
// otherwise by the local headers from the beginning. Returns how many there were.
size_t UnpackBundle(const uint8_t* bundle, size_t size, const std::function<void(const UnpackedEntry&)>& take);
