// The messages of a packet, also those behind damage that ends the walk of the toss.
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
  PackedMessageView view;  // of a message that is not whole, its offset only
  size_t size = 0;         // bytes; of one that is not whole, up to the next message
  bool whole = true;
  bool reached = true;  // the toss comes this far
};

// Finds the messages of the packet. Behind a fault, which is told, one begins where a head, a date as packets have it
// and texts of believable sizes follow each other.
std::vector<FoundMessage> FindMessages(const uint8_t* packet, size_t size, std::optional<PacketFault>* fault);

// Fills in what the packed message itself tells.
void DescribeMessage(const FoundMessage& found, MessageFacts* facts);

// Takes the message as the toss takes it, and fills in what its text tells.
ParsedText TakeMessage(const FoundMessage& found, InboundMessage* message, MessageFacts* facts);

// The packet with the whole messages but those whose numbers, from 1, are left out.
std::string PacketWithout(const uint8_t* packet, size_t size, const std::set<int>& left_out);
