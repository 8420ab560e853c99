// Judges the SIG file: its lines, and whether they agree with the headers.
#pragma once

#include "kit/base_model.h"
#include "kit/finding.h"
#include "kit/inbound_mail.h"
#include "kit/mail_match.h"

// Adds the findings.
void JudgeSig(const BaseModel& model, const InboundMail& mail, Findings* findings);

// Finds the SIG lines of messages whose headers are lost and whose sources are still inbound: because of such a line a
// toss would drop that mail as a duplicate.
class LostLines {
 public:
  LostLines(const BaseModel& model, const InboundMail& mail);
  bool IsLost(const SigLine& line) const;

 private:
  const BaseModel& model_;
  int32_t highest_;
  std::vector<std::string_view> inbound_;  // the MSGIDs, sorted
};
