// The names in the inbound directory, in order: a mailer that numbers its packets has its parents tossed before
// replies.
#pragma once

#include "base/byte_buffer.h"
#include "platform/os.h"

// The names, sorted by their bytes.
struct InboundListing {
  ByteBuffer names;    // NUL-terminated, one after another, as they were listed
  ByteBuffer offsets;  // size_t each: where a name begins; in the order of the names
  size_t count = 0;
  int unaddressable = 0;  // names that no path can hold, not among them

  const char* Name(size_t index) const;
};

// How a listing ended: kListed; cut short, with the names that came before; or the directory could not be opened.
enum ListResult { kListed, kListCutShort, kListNotOpened };

ListResult ListInbound(const char* inbound, InboundListing* listing);
