// The messages of a conference as the message base holds them, with the MSGIDs of its SIG file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bbs/records.h"
#include "kit/kit_site.h"

struct StoredMessage {
  PtrRecord header;
  std::string msgid;    // of the first SIG line with its number; empty for none
  bool unsent = false;  // the next scan takes it

  // The number of the message that it is linked to.
  std::optional<int32_t> Parent() const;
};

struct StoredConference {
  const ConferenceEntry* entry = nullptr;
  int64_t dat_records = 0;
  std::vector<StoredMessage> messages;  // in the order of their headers
  std::string times;                    // of the files; empty when they did not stay as they were
};

// Reads headers and SIG lines, again when a run or the BBS changes them meanwhile. Throws NotAnswered when a file
// cannot be read.
StoredConference ReadConference(const KitSite& site, const ConferenceEntry& entry);

// Whether the files are still as they were when the conference was read.
bool IsSettled(const KitSite& site, const StoredConference& conference);

// Reads the text, lines ended by LF. Returns nothing when it cannot be read.
std::optional<std::string> ReadText(const KitSite& site, const StoredMessage& message, int32_t conference);

// Which messages are asked for; each part that is empty asks for all.
struct MessageFilter {
  std::string search;  // a piece of names, subject, MSGID or text; UTF-8, letters from A to Z in any case
  std::string from;
  std::string to;
  std::string since;  // "2025-01-05": messages of an earlier date, or of none, are left out
  bool unsent = false;

  bool IsEmpty() const { return search.empty() && from.empty() && to.empty() && since.empty() && !unsent; }
};

bool IsAskedFor(const KitSite& site, const StoredMessage& message, int32_t conference, const MessageFilter& filter);

// The messages as threads: places in `messages` with their depth, each parent before its replies. Whatever refers to
// itself, in however many steps, begins a thread of its own.
struct ThreadPlace {
  size_t index;
  int depth;
};

std::vector<ThreadPlace> ThreadOrder(const std::vector<StoredMessage>& messages);
