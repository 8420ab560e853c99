// The judges of PTR, IDX and DAT: sizes, index, headers, texts, numbers and threads of one conference.
#pragma once

#include "kit/base_model.h"
#include "kit/finding.h"

void JudgeBase(const BaseModel& model, Findings* findings);
