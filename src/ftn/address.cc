#include "ftn/address.h"

#include "base/scan_number.h"

namespace {

bool ScanSeparatedInt32(const char** at, char separator, int32_t* value) {
  if (**at != separator) return false;
  ++*at;
  return ScanInt32(at, value);
}

}  // namespace

bool ParseFtnAddress(const char* text, FtnAddress* address) {
  *address = FtnAddress{};
  const bool found = ScanInt32(&text, &address->Zone) && ScanSeparatedInt32(&text, ':', &address->Net) &&
                     ScanSeparatedInt32(&text, '/', &address->Node);
  if (found) (void)ScanSeparatedInt32(&text, '.', &address->Point);
  return found;
}
