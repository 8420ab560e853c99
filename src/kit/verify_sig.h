// Judges the SIG file: its lines, and whether they agree with the headers.
#pragma once

#include "kit/base_model.h"
#include "kit/finding.h"
#include "kit/inbound_mail.h"
#include "kit/mail_match.h"

void JudgeSig(const BaseModel& model, const InboundMail& mail, Findings* findings);

// Whether a line belongs to a message that was lost with its header, while its source is still inbound: a toss would
// drop that mail as a duplicate.
class LostLines {
 public:
  LostLines(const BaseModel& model, const InboundMail& mail);
  bool IsLost(const SigLine& line) const;

 private:
  const BaseModel& model_;
  int32_t highest_;
  std::vector<std::string_view> inbound_;  // the MSGIDs, sorted
};
