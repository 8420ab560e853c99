// What a run logs when a call fails: the line of that call, and no alarm that does not follow from it.
#pragma once

#include <string>
#include <vector>

#include "fault/steps.h"

// Fails the test unless every alarm among the lines belongs to a call that failed or follows from one, and the first
// call that failed has its line or needs none. `expected` are lines that need no failure. Returns the exit status of a
// run with these alarms.
int ExpectAlarmsOf(const std::vector<Step>& steps, const std::vector<std::string>& lines, const Site& site,
                   const std::vector<std::string>& expected = {});
