// The -check run, which reports whether a toss or a scan would be safe now. It changes nothing but the log.
#pragma once

#include "app/config.h"

// Runs every check and logs what it finds. Returns the exit status: 0 when nothing is wrong, else 1.
int RunCheckMode(const TosserConfig& config);
