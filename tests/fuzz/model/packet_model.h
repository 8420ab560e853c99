// A packet and the texts of its messages, parsed in the simplest way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A message text. If it is refused, `refusal` is the line in the log.
struct ModelText {
  bool refused = false;
  std::string refusal;
  std::string area;
  std::string charset;
  std::string msgid;
  std::string reply;
  std::string body;
};

ModelText ReadText(const std::string& text);

// UTF-8 as code page 437.
std::string InCp437(const std::string& utf8);

struct ModelMessage {
  std::string date;
  std::string to;
  std::string from;
  std::string subject;
  std::string origin;
  uint16_t attribute = 0;
  ModelText text;
};

enum ModelEnd {
  kModelNoPacket,  // the header test fails
  kModelWhole,     // it ends as it should, or just without its closing word
  kModelFault,     // `fault` stops the walk
  kModelRefused,   // the last message's text is refused, and nothing after it is read
};

struct ModelPacket {
  ModelEnd end = kModelNoPacket;
  std::string fault;                   // the reason logged with the saved copy
  std::vector<ModelMessage> messages;  // those that reach the routing
};

ModelPacket ReadPacket(const std::string& packet);
