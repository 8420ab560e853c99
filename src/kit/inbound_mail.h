// The mail in INBOUND: what the next toss would store, and where.
//
// A toss moves a source away only when its mail is on the disk. After an interrupted run, the files that are still
// inbound therefore show which messages of the base may be incomplete.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/config.h"
#include "base/byte_buffer.h"
#include "bbs/conference_table.h"
#include "kit/message_identity.h"

struct InboundItem {
  size_t source = 0;  // index in InboundMail::sources
  int32_t conference = 0;
  std::string msgid;  // unchanged; empty for none
  Identity identity;
};

struct InboundSource {
  std::string name;
  int64_t size = 0;  // bytes
};

struct InboundMail {
  std::vector<InboundSource> sources;  // packets and bundles, sorted by name
  std::vector<InboundItem> items;      // in the order of a toss; without messages that no conference takes

  size_t CountFor(int32_t conference) const;  // items of the conference
};

// Adds the mail of a file with that name and content; adds nothing when it is neither a packet nor a bundle.
void AddInboundFile(const std::string& name, const ByteBuffer& content, const ConferenceTable& table,
                    InboundMail* mail);

// Reads every packet and bundle in INBOUND. The result is empty when the configuration has no INBOUND.
InboundMail ReadInboundMail(const TosserConfig& config, const ConferenceTable& table);
