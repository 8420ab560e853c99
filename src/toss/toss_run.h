// The -toss run: from the inbound directory to the message base.
#pragma once

#include "app/config.h"

// Runs a toss. Returns the exit status: 0 when every inbound file was handled whole, 1 when something needs attention
// or the run was aborted.
int RunToss(const TosserConfig& config);
