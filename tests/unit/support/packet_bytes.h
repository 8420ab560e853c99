// Builds packets and ZIP bundles for tests, by the offsets of the formats and not by the code under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One packed message.
struct PacketMessage {
  std::string text;  // as packed: kludges, lines ended by CR
  std::string subject = "Hello";
  std::string from = "Ann Author";
  std::string to = "All";
  std::string date = "07 Mar 24  21:05:00";
  uint16_t attribute = 0;
  uint16_t orig_node = 426;
  uint16_t orig_net = 229;
};

// "AREA:<area>", a MSGID kludge and the lines; what is empty is left out.
std::string EchoText(const std::string& area, const std::string& msgid, const std::string& lines);

// The 58 bytes of a header: from 1:229/426 to 1:229/100, 2025-01-05.
std::string PacketHeaderBytes();

// Type word, head and texts of one message.
std::string PackedBytes(const PacketMessage& message);

// A whole packet with its closing word.
std::string PacketBytes(const std::vector<PacketMessage>& messages);

// One entry of a bundle. The sizes are those of the content unless they are given.
struct ZipEntryParts {
  std::string name = "0000a1b2.pkt";
  std::string content;
  bool deflated = false;
  std::string extra;
  uint16_t flags = 0;
  int64_t compressed_size = -1;
  int64_t uncompressed_size = -1;
  int method = -1;  // unless stored or deflated
};

// The local header with name, extra field and data.
std::string ZipEntryBytes(const ZipEntryParts& entry);

// Raw deflate data.
std::string Deflated(const std::string& content);
