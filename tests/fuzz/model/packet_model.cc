#include "fuzz/model/packet_model.h"

#include "fuzz/model/records_model.h"

namespace {

bool HasPacketHeader(const std::string& packet) {
  if (packet.size() < 60) return false;
  const unsigned int year = WordAt(packet, 4);
  const unsigned int day = WordAt(packet, 8);
  const unsigned int first = WordAt(packet, 58);
  return WordAt(packet, 18) == 2 && year >= 1990 && year <= 2100 && WordAt(packet, 6) <= 11 && day >= 1 && day <= 31 &&
         (first == 0 || first == 2);
}

// Removes the text before the next NUL from the packet. Returns false when there is none.
bool TakeText(const std::string& packet, size_t* at, size_t most, std::string* text) {
  const size_t nul = packet.find('\0', *at);
  if (nul == std::string::npos) return false;
  *text = packet.substr(*at, nul - *at).substr(0, most);
  *at = nul + 1;
  return true;
}

}  // namespace

ModelPacket ReadPacket(const std::string& packet) {
  ModelPacket read;
  if (!HasPacketHeader(packet)) return read;
  for (size_t at = 58; at + 2 <= packet.size() && WordAt(packet, at) != 0;) {
    read.end = kModelFault;
    ModelMessage message;
    std::string text;
    if (WordAt(packet, at) != 2) {
      read.fault = "unexpected message-type word mid-packet";
      return read;
    }
    if (at + 14 > packet.size()) {
      read.fault = "truncated message header";
      return read;
    }
    message.origin = std::to_string(WordAt(packet, at + 6)) + "/" + std::to_string(WordAt(packet, at + 2));
    message.attribute = static_cast<uint16_t>(WordAt(packet, at + 10));
    at += 14;
    if (!TakeText(packet, &at, 63, &message.date) || !TakeText(packet, &at, 63, &message.to) ||
        !TakeText(packet, &at, 63, &message.from) || !TakeText(packet, &at, 127, &message.subject)) {
      read.fault = "truncated message string field";
      return read;
    }
    if (!TakeText(packet, &at, packet.size(), &text)) {
      read.fault = "truncated message text";
      return read;
    }
    message.text = ReadText(text);
    if (message.text.refused) {
      read.end = kModelRefused;
      return read;
    }
    read.messages.push_back(message);
  }
  read.end = kModelWhole;
  return read;
}
