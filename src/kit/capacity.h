// Forecasts when a conference is full: headers can address kMostDatRecords records of text.
#pragma once

#include <cstdint>
#include <string>

#include "kit/kit_site.h"

// Returns the day, "2027-03-01", on which a conference that has that many DAT records is full if it grows as in the
// last 90 days; empty when it did not grow, or would take more than ten years.
std::string FullOn(const KitSite& site, int32_t conference, int64_t records);
