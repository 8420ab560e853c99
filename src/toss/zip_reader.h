// Tossing a ZIP bundle held in memory.
//
// The bundle is read by its local headers from the front; the central directory is never looked at. Whatever could not
// be handled keeps the whole bundle in the inbound directory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "toss/toss_site.h"

enum BundleResult {
  kBundleDispose,  // every entry was handled
  kBundleRetain,   // an entry failed, or there was nothing to handle
  kBundleLeave,    // not a bundle after all
};

constexpr uint32_t kLargestEntry = 67108864;  // bytes that one entry may expand to

// Tosses the packets in the bundle.
BundleResult TossZipBundle(const TossSite& site, const uint8_t* bundle, size_t size);
