// The last scan, as TOSSER.LOG tells it: did it publish a bundle that it did not come to mark?
#pragma once

#include <string>

#include "kit/kit_site.h"

// The name of the bundle that the last scan published, when it did not come to its end and the bundle is no longer in
// OUTDIR: the mailer may have fetched it. Empty when the log shows no such thing, or is not there. Must not be asked
// while a run is at work. Throws NotAnswered when the log cannot be read.
std::string FindFetchedBundle(const KitSite& site);
