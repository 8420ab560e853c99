// The commands that call the program or set its site up; the others are in kit_command.h.
#pragma once

#include "kit/kit_command.h"

void AddRehearse(CLI::App* program, int* status);
void AddSetup(CLI::App* program, int* status);
void AddTidy(CLI::App* program, int* status);
