// Finds the messages of the base that are also inbound or in a bundle: what an interrupted run has left undone.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
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

// A message that was stored from a source that is still inbound, and that the next toss cannot recognise.
struct StoredAgain {
  size_t header = 0;  // its record in the PTR file, from 0
  std::string source;
};

struct MissingLines {
  std::vector<MissingLine> lines;  // in the order of their headers
  std::vector<size_t> twins;       // headers of which one lacks its line, but nothing shows which
  std::vector<StoredAgain> again;
};

// Finds the messages whose SIG lines an interrupted toss did not write.
MissingLines FindMissingLines(const BaseModel& model, const InboundMail& mail);

// A message that was stored incompletely, and whose source is still inbound.
struct TornMessage {
  size_t header = 0;  // its record in the PTR file, from 0
  std::string source;
};

// Returns them in the order of their headers.
std::vector<TornMessage> FindTornMessages(const BaseModel& model, const InboundMail& mail);

// Returns the headers of whole messages whose mail is still inbound, by their SIG lines or by what is stored.
std::unordered_set<size_t> FindInboundHeaders(const BaseModel& model, const InboundMail& mail);

// Whether a base without headers holds no more than an interrupted run leaves: texts and index entries of a first
// message or of mail that is still inbound. Otherwise there were headers, which the operator may be able to restore.
bool IsBegun(const BaseModel& model, const InboundMail& mail);

// Returns the first of the headers at the end of the PTR file that have no index entry and whose mail is still inbound:
// the run that stored them did not end. Returns the count of headers when there are none.
size_t FindLostEntries(const BaseModel& model, const InboundMail& mail);

// A message in a bundle in OUTDIR that is still unsent, or has no SIG line.
struct PendingExport {
  size_t header = 0;  // its record in the PTR file, from 0
  std::string msgid;
  size_t bundle = 0;      // index in OutboundMail::bundles
  bool has_line = false;  // a SIG line names it
  bool sent = false;      // it is marked sent
};

// Returns them in the order of their headers. Of several messages with the same names and text, those in the bundle are
// the first ones; if some have been sent without a SIG line, the bundle has to hold all of them.
std::vector<PendingExport> FindPendingExports(const BaseModel& model, const ConferenceEntry& entry,
                                              const OutboundMail& mail);
