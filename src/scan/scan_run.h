// The -scan run: from the message base to a published bundle.
#pragma once

#include "app/config.h"

// Runs a scan. Returns the exit status: 1 when the run was aborted or a message could not be committed, else 0 (a
// message that was skipped stays unsent and is only in the log).
int RunScan(const TosserConfig& config);
