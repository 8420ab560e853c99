// Reads TOSSER.LOG and its rotated parts line by line. The memory needed does not depend on their size.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kit/log_patterns.h"

// Returns whether something other than a file has the log's name: no run can write its log then.
bool IsLogBlocked(const std::string& log);

// Returns the parts of the log, the oldest first: the log itself and the files beside it whose names add a number or a
// date to its name ("TOSSER.LOG.1", ".2.gz", ".20261122", "-20261122.gz"). Empty when there is no log. Throws
// NotAnswered when something other than a file has the log's name, or when a part cannot be read.
std::vector<std::string> FindLogParts(const std::string& log);

// Returns the stamp of the first line of a part, "2026-11-22 03:10:00"; empty when it has none.
std::string FirstStamp(const std::string& path);

// Reads the parts in order and calls `take` with each complete line that has a stamp, until it returns false. The line
// is valid during the call only. A part that no longer exists is skipped; throws NotAnswered when one cannot be read to
// its end. `look`, if given, is called at intervals with the number of bytes read since its last call.
void ReadLog(const std::vector<std::string>& parts, const std::function<bool(const LogRecord&)>& take,
             const std::function<void(size_t)>& look = {});

// Calls `take` with the bytes of one part, decompressed, until it returns false. Otherwise as ReadLog; returns false
// when `take` did.
bool ReadLogBytes(const std::string& path, const std::function<bool(const char*, size_t)>& take,
                  const std::function<void(size_t)>& look = {});
