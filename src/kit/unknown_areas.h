// The areas that came without a conference, as BADAREAS.LST has them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "kit/kit_site.h"

struct UnknownArea {
  std::string tag;    // showable
  std::string first;  // the stamp of its first message, "2026-11-22 03:10:00"
  std::string last;
  size_t messages = 0;
};

// Sorted by the bytes of the tags as they came; none when there is no such file.
std::vector<UnknownArea> ReadUnknownAreas(const KitSite& site);
