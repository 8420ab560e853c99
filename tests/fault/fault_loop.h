// The fault loop: the same scene again and again, each time with another call of the door failing, until a run meets no
// fault any more.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "unit/support/scoped_door.h"

// Lays the scene, sets the fault at a door, plays the scene and asserts what must hold afterwards. Returns whether the
// fault has struck.
using FaultAttempt = std::function<bool(const Fault& fault)>;

// Which faults a loop tries.
struct FaultLoop {
  std::string path_end;      // only calls on paths with this end
  int more_than = 0;         // fewer faults that strike than this fail the test: the scene was not played
  bool everything = true;    // also: from the Nth call of whatever kind on, everything fails
  std::vector<Call> except;  // kinds that are left out
};

// For each kind of call the Nth call fails, for N = 1, 2, ...: once alone and once with all later ones of its kind; the
// calls that move bytes also come back short. A failed assertion ends the loop of its kind, and names the fault. The
// number of faults that struck is returned, and added to the test's property "fault_points".
int TryFaults(const FaultAttempt& attempt, const FaultLoop& loop = {});

// Adds to the count of the running test, its property "fault_points", what it tries without the loop.
void CountFaultPoints(int points);

// "the 3rd ReadAt fails for good, paths ending in .SIG", to be read in a failed assertion.
std::string Describe(const Fault& fault);
