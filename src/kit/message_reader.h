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
  std::string msgid;    // in the first SIG line with its number; empty for none
  bool unsent = false;  // the next scan exports it

  // Returns the number of the message that it is linked to.
  std::optional<int32_t> Parent() const;
};

struct StoredConference {
  const ConferenceEntry* entry = nullptr;
  int64_t dat_records = 0;
  std::vector<StoredMessage> messages;  // in the order of their headers
  std::string times;                    // of the files; empty when they changed while they were read
};

// Reads headers and SIG lines; repeats that when a run or the BBS changes them meanwhile. Throws NotAnswered when a
// file cannot be read.
StoredConference ReadConference(const KitSite& site, const ConferenceEntry& entry);

// Whether the files are unchanged since the conference was read.
bool IsSettled(const KitSite& site, const StoredConference& conference);

// Returns the text, with LF line ends; nothing when it cannot be read.
std::optional<std::string> ReadMessageText(const KitSite& site, const StoredMessage& message, int32_t conference);

// Which messages are wanted; an empty member selects all.
struct MessageFilter {
  std::string search;  // part of a name, subject, MSGID or text; UTF-8, the letters A to Z in either case
  std::string from;
  std::string to;
  std::string since;  // "2025-01-05": messages with an earlier date, or without one, are left out
  bool unsent = false;

  bool IsEmpty() const { return search.empty() && from.empty() && to.empty() && since.empty() && !unsent; }
};

bool IsAskedFor(const KitSite& site, const StoredMessage& message, int32_t conference, const MessageFilter& filter);

// Returns the messages as threads: indices in `messages` with their depth, each parent before its replies. A message
// that refers to itself, directly or over others, begins a thread.
struct ThreadPlace {
  size_t index;
  int depth;
};

std::vector<ThreadPlace> ThreadOrder(const std::vector<StoredMessage>& messages);
