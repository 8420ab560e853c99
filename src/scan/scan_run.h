// The -scan run: from the message base to a published bundle.
#pragma once

#include "app/config.h"

// Runs a scan. Returns the exit status: 0 when everything unsent was exported and committed, or nothing was unsent; 1
// when something needs attention or the run was aborted.
int RunScan(const TosserConfig& config);
