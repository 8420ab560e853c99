// What the four files of a conference are to hold after a repair. Nothing is changed here.
//
// What is whole is never touched. At the end of a file goes what no header refers to; an index that contradicts the
// headers is built anew; SIG lines of messages that were lost go before anything can take their numbers; a message that
// lacks its SIG line gets it when the source that is still inbound tells its MSGID; a message that a bundle in OUTDIR
// holds is marked sent, with its SIG line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bbs/conference_table.h"
#include "kit/base_model.h"
#include "kit/inbound_mail.h"
#include "kit/outbound_mail.h"

struct BaseRepair {
  std::optional<std::string> ptr;  // the new content; nothing: it stays as it is
  std::optional<std::string> idx;
  std::optional<std::string> dat;
  std::optional<std::string> sig;
  std::vector<std::string> texts;  // what is repaired, a sentence each
};

BaseRepair PlanBaseRepair(const BaseModel& model, const ConferenceEntry& entry, const InboundMail& inbound,
                          const OutboundMail& outbound);
