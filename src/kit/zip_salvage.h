// Unpacking bundles, those too that the toss keeps: with sizes that follow the data, and with local headers that are
// wrong where the central directory is right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct UnpackedEntry {
  std::string name;     // as it came
  std::string content;  // of one that could not be unpacked, what could
  std::string fault;    // empty when the content is whole
};

// Unpacks every entry that can be found, one after the other: by the central directory when it leads to local headers,
// else by the local headers from the front. Returns how many there were.
size_t UnpackBundle(const uint8_t* bundle, size_t size, const std::function<void(const UnpackedEntry&)>& take);
