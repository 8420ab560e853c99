// The command line of cvkit: which commands there are, their help, and the exit status.
#pragma once

// Runs the command that the arguments name. Returns the exit status: 0 when nothing needs attention, 1 when something
// does, 2 when the question could not be answered (the reason is then on standard error).
int RunKit(int argc, const char* const* argv);
