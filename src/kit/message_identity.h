// Hashes that are equal for the same message in the base, in a packet and in a bundle. They cover all that is stored of
// it except its number, its position and its status bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bbs/records.h"
#include "toss/inbound_message.h"

struct Identity {
  std::string header;  // date, names, subject, netmail and private bytes
  std::string body;    // the text
  std::string whole;   // both, and the origin
};

// Returns the identity of a stored message. `header` has kPtrRecordSize bytes; `body` has CR line ends, as
// ReadMessageBody returns it.
Identity IdentityOfStored(const uint8_t* header, std::string_view body);

// Returns the date, names, subject and origin of the header that a toss would store; the rest is empty.
PtrRecord TextsOfInbound(const InboundMessage& message);

// Returns the identity that a message would have when a toss had stored it.
Identity IdentityOfInbound(const InboundMessage& message);

// Returns the hash of what a scan sends of a message: its names, its subject, and the user's text as it is packed.
std::string IdentityOfOutbound(std::string_view from, std::string_view to, std::string_view subject,
                               std::string_view body);
