// The facts of the report for programs.
#pragma once

#include <string>

#include "kit/report_facts.h"

std::string ReportJson(const ReportFacts& facts);
