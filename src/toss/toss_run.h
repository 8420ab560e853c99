// The -toss run: from the inbound directory to the message base.
#pragma once

#include "app/config.h"

// Runs a toss. Returns the exit status: 1 when the run was aborted, mail was retained or a tossed file could not be
// disposed of, else 0 (what a rule dropped, saved for review or passed over is in the log only).
int RunToss(const TosserConfig& config);
