// Judges PTR, IDX and DAT of one conference: sizes, index, headers, texts, numbers and threads.
#pragma once

#include "kit/base_model.h"
#include "kit/finding.h"
#include "kit/inbound_mail.h"

// Adds the findings. `mail` shows which messages an interrupted toss may have left incomplete.
void JudgeBase(const BaseModel& model, const InboundMail& mail, Findings* findings);
