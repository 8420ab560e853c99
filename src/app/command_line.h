// The command line: which run, with which configuration.
#pragma once

// Runs the program: cvtoss32 -toss|-scan|-check [config-file-path]. Returns the exit status: that of the run, or 1 when
// no run could be started.
int RunCommandLine(int argc, const char* const* argv);
