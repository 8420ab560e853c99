// Reports that a rule is broken: shows the rule and ends the process, so that the fuzzer saves the input.
#pragma once

#include <string>

// Does nothing if the rule holds.
void Must(bool holds, const char* rule);

// As Must, for two texts or numbers that must be equal; shows both.
void MustEqual(const std::string& actual, const std::string& expected, const char* rule);
void MustEqual(long long actual, long long expected, const char* rule);
