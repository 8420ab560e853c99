// Finds the messages of a packet, including those after damage at which the toss stops.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ftn/packet_reader.h"
#include "kit/packet_facts.h"
#include "toss/inbound_message.h"
#include "toss/inbound_text.h"

struct FoundMessage {
  PackedMessageView view;  // of an incomplete message, only its offset
  size_t size = 0;         // bytes; of an incomplete message, up to the next one
  bool whole = true;
  bool reached = true;  // the toss gets this far
};

// Finds the messages of the packet and its fault. After the fault, a message begins where a head, a date in the form of
// packets and texts of plausible sizes follow each other.
std::vector<FoundMessage> FindMessages(const uint8_t* packet, size_t size, std::optional<PacketFault>* fault);

// Fills in what the packed message itself contains.
void DescribeMessage(const FoundMessage& found, MessageFacts* facts);

// Parses the message as the toss does, and fills in what its text contains but for the body.
ParsedText TakeMessage(const FoundMessage& found, InboundMessage* message, MessageFacts* facts);

// Fills in the body of a message that was parsed.
void TakeBody(const FoundMessage& found, const ParsedText& parsed, const InboundMessage& message, MessageFacts* facts);

// Returns the packet with its whole messages, without those whose numbers, from 1, are left out.
std::string PacketWithout(const uint8_t* packet, size_t size, const std::set<int>& left_out);
