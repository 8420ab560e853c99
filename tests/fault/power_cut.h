// The states that a disk can have after a power cut.
#pragma once

#include <functional>
#include <random>

#include "fault/power_disk.h"

// Calls `look` with every state that is tried for a power cut at that moment. For each file the writes since its last
// sync are lost or kept, all of them, the first ones, or some with zeros in place of the others, or only the new length
// is kept; each change of names is lost or kept. All files and names share a choice; then each stands alone against the
// others; then come choices by chance.
void ForEachCut(const DiskState& moment, std::mt19937* chance, const std::function<void(const SiteFiles&)>& look);
