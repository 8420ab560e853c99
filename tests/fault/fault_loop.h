// The fault loop: the same scene is run again and again, each time with another system call failing, until a run makes
// fewer calls than that.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "unit/support/scoped_door.h"

// Sets up the scene and the fault, runs the scene and asserts what must hold afterwards. Returns whether the fault has
// made a call fail.
using FaultAttempt = std::function<bool(const Fault& fault)>;

// Which faults a loop tries.
struct FaultLoop {
  std::string path_end;      // only calls on paths with this end
  int more_than = 0;         // the test fails unless more faults than this took effect: the scene did not run
  bool everything = true;    // also: from the Nth call of whatever kind on, everything fails
  std::vector<Call> except;  // kinds that are left out
};

// Every fault; the test fails unless more took effect.
FaultLoop MoreThan(int points);

// For each kind of call the Nth call fails, for N = 1, 2, ...: once alone and once with all later ones of its kind; the
// calls that move bytes also come back short. A failed assertion ends the loop of its kind, and names the fault. The
// number of faults that took effect is returned, and added to the test's property "fault_points".
int TryFaults(const FaultAttempt& attempt, const FaultLoop& loop = {});

// Adds to the count of the running test, its property "fault_points", what it tries without the loop.
void CountFaultPoints(int points);

// "the 3rd ReadAt fails for good, paths ending in .SIG", to be read in a failed assertion.
std::string Describe(const Fault& fault);
