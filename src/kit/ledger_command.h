// cvkit ledger: was any mail lost?
#pragma once

#include "kit/kit_command.h"

// As AddPacket and the others of kit/kit_command.h.
void AddLedger(CLI::App* program, int* status);
