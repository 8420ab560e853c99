// What a run says when a call fails: the call that is struck has its line, and no other alarm is raised.
#pragma once

#include <string>
#include <vector>

#include "fault/steps.h"

// Fails the test unless every alarm among the lines belongs to a call that failed or follows from one, and the first
// call that failed has its line or may pass in silence. `expected` are lines that need no failure. Returns the status
// that a run with these alarms has to end with.
int ExpectAlarmsOf(const std::vector<Step>& steps, const std::vector<std::string>& lines, const Site& site,
                   const std::vector<std::string>& expected = {});
