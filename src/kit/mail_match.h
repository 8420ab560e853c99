// Which messages of the base are those that lie inbound, or in a bundle: what a run that did not end has left undone.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bbs/conference_table.h"
#include "kit/base_model.h"
#include "kit/inbound_mail.h"
#include "kit/outbound_mail.h"

// A message that was stored from a source that is still inbound, without its SIG line.
struct MissingLine {
  size_t header = 0;  // its place in the PTR file
  std::string msgid;
  std::string source;  // the name of the file in INBOUND
};

// A message that was stored from a source that is still inbound, and that nothing can be recognised by.
struct StoredAgain {
  size_t header = 0;  // its place in the PTR file
  std::string source;
};

struct MissingLines {
  std::vector<MissingLine> lines;  // in the order of their headers
  std::vector<size_t> twins;       // headers that could each be the one whose line is missing
  std::vector<StoredAgain> again;
};

MissingLines FindMissingLines(const BaseModel& model, const InboundMail& mail);

// A message of which only a part was stored, and whose source is still inbound.
struct TornMessage {
  size_t header = 0;  // its place in the PTR file
  std::string source;
};

std::vector<TornMessage> FindTornMessages(const BaseModel& model, const InboundMail& mail);

// A message that a bundle in OUTDIR holds and that is still unsent.
struct PendingExport {
  size_t header = 0;  // its place in the PTR file
  std::string msgid;
  size_t bundle = 0;      // its place among the bundles
  bool has_line = false;  // its SIG line is there
};

std::vector<PendingExport> FindPendingExports(const BaseModel& model, const ConferenceEntry& entry,
                                              const OutboundMail& mail);
