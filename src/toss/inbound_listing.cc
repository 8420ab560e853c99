#include "toss/inbound_listing.h"

#include <algorithm>
#include <cstring>

namespace {

size_t* Offsets(const InboundListing& listing) { return reinterpret_cast<size_t*>(listing.offsets.data); }

int Add(const char* name, InboundListing* listing) {
  const size_t at = listing->names.size;
  if (AppendBytes(&listing->names, name, strlen(name) + 1) != 0) return -1;
  if (AppendBytes(&listing->offsets, &at, sizeof at) != 0) return -1;
  ++listing->count;
  return 0;
}

void Sort(InboundListing* listing) {
  if (listing->count == 0) return;
  const auto* const names = reinterpret_cast<const char*>(listing->names.data);
  std::sort(Offsets(*listing), Offsets(*listing) + listing->count,
            [names](size_t left, size_t right) { return strcmp(names + left, names + right) < 0; });
}

}  // namespace

const char* InboundListing::Name(size_t index) const {
  return reinterpret_cast<const char*>(names.data) + Offsets(*this)[index];
}

ListResult ListInbound(const char* inbound, InboundListing* listing) {
  OsList list;
  if (OsListOpen(inbound, &list) != kOsOk) return kListNotOpened;
  char name[kOsNameSize];
  ListResult result = kListed;
  for (;;) {
    const OsResult listed = OsListNext(&list, name);
    if (listed == kOsMissing) break;
    if (listed == kOsUnaddressable) {
      ++listing->unaddressable;
    } else if (listed != kOsOk || Add(name, listing) != 0) {
      result = kListCutShort;
      break;
    }
  }
  Sort(listing);
  return result;
}
