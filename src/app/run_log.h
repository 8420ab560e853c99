// The run log: time-stamped lines on the console and in TOSSER.LOG, in the directory of the program.
#pragma once

#include "base/printf_format.h"

// Opens TOSSER.LOG in the program's own directory for appending. If that fails, lines go to the console only, and
// nothing is reported.
void OpenRunLog();

// Writes one line, "[YYYY-MM-DD HH:MM:SS] message", to standard output and to the open log. A message is cut to 1,023
// characters. Write errors are ignored: reporting must never stop a run.
void LogLine(const char* format, ...) CVTOSS_PRINTF(1, 2);

// Returns the local time in the form of the log, "YYYY-MM-DD HH:MM:SS"; the text is valid until the next call.
const char* TimeStamp();

// Closes the log if it is open; lines then go to the console only.
void CloseRunLog();

// Writes one message to standard error, before a run has opened its log. The format has to contain the line end.
void StartupMessage(const char* format, ...) CVTOSS_PRINTF(1, 2);
