// The names in the inbound directory, sorted: when a mailer numbers its packets, a message is tossed before its
// replies.
#pragma once

#include "base/byte_buffer.h"
#include "platform/os.h"

// The names, sorted by their bytes.
struct InboundListing {
  ByteBuffer names;    // NUL-terminated, one after another, as they were listed
  ByteBuffer offsets;  // size_t each: where a name begins; in sorted order
  size_t count = 0;
  int unaddressable = 0;  // how many names cannot be part of a path; they are not listed

  const char* Name(size_t index) const;
};

// kListCutShort: the listing failed; the names that were read before are listed.
enum ListResult { kListed, kListCutShort, kListNotOpened };

ListResult ListInbound(const char* inbound, InboundListing* listing);
