// The command line: which run, with which configuration.
#pragma once

// Runs the program: cvtoss32 -toss|-scan|-check [config-file-path]. Returns the exit status: 0 when nothing needs
// attention, else 1.
int RunCommandLine(int argc, const char* const* argv);
