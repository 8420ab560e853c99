// Areas of inbound mail for which there is no conference, read from BADAREAS.LST.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kit/kit_site.h"

struct UnknownArea {
  std::string tag;    // UTF-8, control bytes unchanged
  std::string first;  // the stamp of its first message, "2026-11-22 03:10:00"
  std::string last;
  size_t messages = 0;
};

// Returns the areas sorted by the bytes of their tags; none when there is no such file.
std::vector<UnknownArea> ReadUnknownAreas(const KitSite& site);
