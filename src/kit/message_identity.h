// What a message is known by again: the hash of what is stored of it, but for its number, its place and its marks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bbs/records.h"
#include "toss/inbound_message.h"

struct Identity {
  std::string header;  // of date, names, subject and marks
  std::string body;    // of the text
  std::string whole;   // of both, and of the origin
};

// Of a stored message: the kPtrRecordSize bytes of its header, and its text with CR line ends as ReadMessageBody
// returns it.
Identity IdentityOfStored(const uint8_t* header, std::string_view body);

// The date, names, subject and origin of the header that a toss would store; the rest is empty.
PtrRecord TextsOfInbound(const InboundMessage& message);

// Of a message that a toss would store.
Identity IdentityOfInbound(const InboundMessage& message);

// Of a message that a scan sends: its names, its subject, and the user's text as it is packed.
std::string IdentityOfOutbound(std::string_view from, std::string_view to, std::string_view subject,
                               std::string_view body);
