// What a run reports: time-stamped lines on the console and in TOSSER.LOG beside the program.
#pragma once

#include "base/printf_format.h"

// Opens TOSSER.LOG in the program's own directory for appending. When that fails the run goes on with the console
// alone, and nothing is said.
void OpenRunLog();

// Writes one line, "[YYYY-MM-DD HH:MM:SS] message", to standard output and to the open log. A message is cut to 1,023
// characters. Write errors are ignored: reporting must never stop a run.
void LogLine(const char* format, ...) CVTOSS_PRINTF(1, 2);

// The local time of the call as the log writes it, "YYYY-MM-DD HH:MM:SS"; good until the next call.
const char* TimeStamp();

// Closes the log if it is open; lines then go to the console alone.
void CloseRunLog();

// Writes one message to standard error: for the start-up, before a run has opened its log. The message brings its own
// line end.
void StartupMessage(const char* format, ...) CVTOSS_PRINTF(1, 2);
