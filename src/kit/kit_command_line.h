// The command line of cvkit: which commands there are, their help, and the exit status.
#pragma once

// Runs the command that the arguments name. Returns the exit status: 0 if nothing needs attention, 1 if something does,
// 2 if the question could not be answered; the reason is then on standard error.
int RunKit(int argc, const char* const* argv);
