// Plans the content of the four files of a conference after a repair. Nothing is changed here.
//
// Whole messages are never changed. What no header refers to is cut off at the end of a file. An index that contradicts
// the headers is built again. SIG lines of lost messages are removed before their numbers can be used again. A message
// without its SIG line gets one if its source is still inbound and has the MSGID. A message that is in a bundle in
// OUTDIR is marked sent, with its SIG line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bbs/conference_table.h"
#include "kit/base_model.h"
#include "kit/inbound_mail.h"
#include "kit/outbound_mail.h"

struct BaseRepair {
  std::optional<std::string> ptr;  // the new content; none: it is not changed
  std::optional<std::string> idx;
  std::optional<std::string> dat;
  std::optional<std::string> sig;
  std::vector<std::string> texts;  // what is repaired, one sentence each
};

BaseRepair PlanBaseRepair(const BaseModel& model, const ConferenceEntry& entry, const InboundMail& inbound,
                          const OutboundMail& outbound);
