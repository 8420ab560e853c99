// Finds the messages of the base that are also inbound or in a bundle: what an interrupted run has left undone.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bbs/conference_table.h"
#include "kit/base_model.h"
#include "kit/inbound_mail.h"
#include "kit/outbound_mail.h"

// A message without a SIG line that was stored from a source that is still inbound.
struct MissingLine {
  size_t header = 0;  // its record in the PTR file, from 0
  std::string msgid;
  std::string source;  // the name of the file in INBOUND
};

// A message that was stored from a source that is still inbound, and that cannot be recognised by anything.
struct StoredAgain {
  size_t header = 0;  // its place in the PTR file
  std::string source;
};

struct MissingLines {
  std::vector<MissingLine> lines;  // in the order of their headers
  std::vector<size_t> twins;       // headers any one of which may be the one whose line is missing
  std::vector<StoredAgain> again;
};

MissingLines FindMissingLines(const BaseModel& model, const InboundMail& mail);

// A message that was stored incompletely, and whose source is still inbound.
struct TornMessage {
  size_t header = 0;  // its place in the PTR file
  std::string source;
};

std::vector<TornMessage> FindTornMessages(const BaseModel& model, const InboundMail& mail);

// An unsent message that is in a bundle in OUTDIR.
struct PendingExport {
  size_t header = 0;  // its place in the PTR file
  std::string msgid;
  size_t bundle = 0;      // index of the bundle
  bool has_line = false;  // it has a SIG line
};

std::vector<PendingExport> FindPendingExports(const BaseModel& model, const ConferenceEntry& entry,
                                              const OutboundMail& mail);
