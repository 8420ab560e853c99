// The -toss run: from the inbound directory to the message base.
#pragma once

#include "app/config.h"

// Runs a toss. Returns the exit status: 1 when the run was aborted, mail was retained or a tossed file could not be
// disposed of, else 0 (what was dropped by a rule, saved for review or ignored is only in the log).
int RunToss(const TosserConfig& config);
