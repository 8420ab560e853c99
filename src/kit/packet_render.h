// The output of "cvkit packet".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kit/packet_facts.h"
#include "kit/shown_facts.h"

// What is shown in addition to the list.
struct PacketView {
  int text_of = kNone;  // the number of the message whose text is shown, or kAll

  static constexpr int kNone = -1;
  static constexpr int kAll = 0;
};

Json PacketJson(const std::vector<FileFacts>& files);

// The lines about a file.
std::string PacketText(const FileFacts& file, const PacketView& view);

// Returns a hex dump in rows of 16 bytes, with characters.
std::string HexRows(const std::string& bytes);
