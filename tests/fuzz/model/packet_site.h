// The small message base into which the fuzz targets toss packets.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "bbs/conference_table.h"
#include "fuzz/model/toss_model.h"

// Bits of `options`: bit 0, there is a conference for netmail; bit 1, there is one for unknown areas; bits 2 and 3,
// which file of the first conference cannot be written. Conference 3 has an index without headers.
ModelSite MakeSite(uint8_t options);

ConferenceTable TableOf(const ModelSite& site);

// The files by their paths.
std::map<std::string, std::string> InMessageDirectory(const ModelSite& site);
