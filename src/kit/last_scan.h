// The last scan according to TOSSER.LOG: did it publish a bundle without marking its messages sent?
#pragma once

#include <string>

#include "kit/kit_site.h"

// Returns the name of the bundle that the last scan published, if that scan did not end and the bundle is no longer in
// OUTDIR: the mailer may have fetched it. Empty otherwise, also when there is no log. Must not be called while a run is
// at work. Throws NotAnswered when the log cannot be read.
std::string FindFetchedBundle(const KitSite& site);
