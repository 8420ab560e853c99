// How long a conference has room: headers can address kMostDatRecords records of text.
#pragma once

#include <cstdint>
#include <string>

#include "kit/kit_site.h"

// The day on which a conference of so many DAT records will be full if it goes on as in the last 90 days,
// "2027-03-01"; empty when that is not in sight.
std::string FullOn(const KitSite& site, int32_t conference, int64_t records);
