// The commands that maintain a whole site or call its program; the others are in kit_command.h.
#pragma once

#include "kit/kit_command.h"

void AddDoctor(CLI::App* program, int* status);
void AddRehearse(CLI::App* program, int* status);
void AddSetup(CLI::App* program, int* status);
void AddStatus(CLI::App* program, int* status);
void AddTidy(CLI::App* program, int* status);
