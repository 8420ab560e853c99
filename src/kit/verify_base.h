// Judges PTR, IDX and DAT of one conference: sizes, index, headers, texts, numbers and threads.
#pragma once

#include "kit/base_model.h"
#include "kit/finding.h"

void JudgeBase(const BaseModel& model, Findings* findings);
