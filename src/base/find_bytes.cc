#include "base/find_bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

// So many places are judged together, in a loop that the compiler turns into vector instructions.
constexpr size_t kPlaces = 64;
constexpr size_t kProbes = 4;

// The last bytes of a text: where each stands in it, and what it is. They tell MSGIDs apart best.
struct Probes {
  size_t at[kProbes];
  char byte[kProbes];

  Probes(const char* text, size_t size) {
    for (size_t i = 0; i < kProbes; ++i) {
      at[i] = size - 1 - std::min(i, size - 1);
      byte[i] = text[at[i]];
    }
  }
};

// Whether the text may begin at one of the places from `from` on.
bool MayBegin(const char* from, const Probes& probes) {
  const char* const a = from + probes.at[0];
  const char* const b = from + probes.at[1];
  const char* const c = from + probes.at[2];
  const char* const d = from + probes.at[3];
  const char w = probes.byte[0];
  const char x = probes.byte[1];
  const char y = probes.byte[2];
  const char z = probes.byte[3];
  uint8_t any = 0;
  for (size_t i = 0; i < kPlaces; ++i) {
    any |= static_cast<uint8_t>(static_cast<int>(a[i] == w) & static_cast<int>(b[i] == x) &
                                static_cast<int>(c[i] == y) & static_cast<int>(d[i] == z));
  }
  return any != 0;
}

}  // namespace

const char* FindBytes(const char* from, const char* end, const char* text, size_t size) {
  const auto length = static_cast<size_t>(end - from);
  if (length < size - 1 + kPlaces) return std::search(from, end, text, text + size);
  const Probes probes(text, size);
  const char* const last = end - (size - 1) - kPlaces;  // its places reach to the very end
  for (const char* at = from;; at = std::min(at + kPlaces, last)) {
    if (MayBegin(at, probes)) {
      for (const char* place = at; place != at + kPlaces; ++place) {
        if (memcmp(place, text, size) == 0) return place;
      }
    }
    if (at == last) return end;
  }
}
