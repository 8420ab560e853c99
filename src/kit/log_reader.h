// Reading TOSSER.LOG and its rotated parts, line by line, whatever their size.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kit/log_patterns.h"

// The parts of the log, the oldest first: the log itself and what lies beside it under its name with a number or a date
// behind ("TOSSER.LOG.1", ".2.gz", ".20261122", "-20261122.gz"). None when there is no log.
std::vector<std::string> FindLogParts(const std::string& log);

// Reads the parts in their order and calls `take` with each whole line that has a stamp, until it returns false. What
// it is handed is good for the call only. A part that has gone is passed over; throws NotAnswered when one cannot be
// read to its end. `look`, when given, is called now and then with the bytes that were read since.
void ReadLog(const std::vector<std::string>& parts, const std::function<bool(const LogRecord&)>& take,
             const std::function<void(size_t)>& look = {});
