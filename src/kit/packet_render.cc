#include "kit/packet_render.h"

#include <fmt/format.h>

#include <algorithm>

#include "kit/kit_output.h"

namespace {

std::string FromOf(const PacketHeader& header) {
  return AddressOf(header.origZone != 0 ? header.origZone : header.qOrigZone, header.origNet, header.origNode,
                   header.origPoint);
}

std::string ToOf(const PacketHeader& header) {
  return AddressOf(header.destZone != 0 ? header.destZone : header.qDestZone, header.destNet, header.destNode,
                   header.destPoint);
}

std::string DateOf(const PacketHeader& header) {
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", header.year, header.month + 1, header.day, header.hour,
                     header.minute, header.second);
}

bool HasPassword(const PacketHeader& header) {
  return std::any_of(std::begin(header.password), std::end(header.password), [](uint8_t byte) { return byte != 0; });
}

Json MessageJson(const MessageFacts& message) {
  Json kludges = Json::array();
  for (const std::string& kludge : message.kludges) kludges.push_back(DecodedMail(kludge));
  return {{"number", message.number},
          {"from", DecodedMail(message.from)},
          {"to", DecodedMail(message.to)},
          {"subject", DecodedMail(message.subject)},
          {"date", IsoPackedDate(message.date)},
          {"area", TextOrNull(message.area)},
          {"msgid", TextOrNull(message.msgid)},
          {"reply", TextOrNull(message.reply)},
          {"charset", TextOrNull(message.charset)},
          {"kludges", kludges},
          {"attributes", message.head.attribute},
          {"origin", fmt::format("{}/{}", message.head.origNet, message.head.origNode)},
          {"verdict", NameOf(message.verdict)},
          {"conference", OrNull(message.conference)},
          {"message_number", OrNull(message.message_number)},
          {"parent", OrNull(message.parent)},
          {"reason", DecodedMail(message.reason)},
          {"offset", message.offset},
          {"size", message.size}};
}

// Returns the JSON of an object up to its closing brace, so that more can be added as text.
std::string OpenJson(const Json& object) {
  std::string text = JsonText(object, -1);
  text.pop_back();
  return text;
}

template <class Item, class Text>
std::string ArrayJson(const std::vector<Item>& items, Text text_of) {
  std::string text = "[";
  for (const Item& item : items) text += (text.size() == 1 ? "" : ",\n") + text_of(item);
  return text + "]";
}

std::string PacketJson(const PacketFacts& packet) {
  Json json = {{"entry", packet.entry ? Json(DecodedMail(*packet.entry)) : Json(nullptr)}};
  json["from"] = packet.header ? Json(FromOf(*packet.header)) : Json(nullptr);
  json["to"] = packet.header ? Json(ToOf(*packet.header)) : Json(nullptr);
  json["date"] = packet.header ? Json(DateOf(*packet.header)) : Json(nullptr);
  json["password"] = packet.header && HasPassword(*packet.header);
  Json fault;
  if (packet.fault) fault = {{"offset", packet.fault->offset}, {"reason", packet.fault->reason}};
  const auto message_text = [](const MessageFacts& message) { return JsonText(MessageJson(message), -1); };
  return OpenJson(json) + ",\"messages\":" + ArrayJson(packet.messages, message_text) +
         ",\"fault\":" + JsonText(fault, -1) + "}";
}

const char* NameOf(FileKind kind) { return kind == kFileBundle ? "bundle" : kind == kFilePacket ? "packet" : "other"; }

Colour ColourOf(Verdict verdict) {
  switch (verdict) {
    case kVerdictStored: return kGood;
    case kVerdictDuplicate: return kFaint;
    case kVerdictCatchAll: return kWarning;
    default: return kBad;
  }
}

// "conf 3 #46, reply to #12"
std::string PlaceOf(const MessageFacts& message) {
  std::string place;
  if (message.conference) place = fmt::format("conf {}", *message.conference);
  if (message.message_number) place += fmt::format(" #{}", *message.message_number);
  if (message.parent) place += fmt::format(", reply to #{}", *message.parent);
  if (!message.reason.empty()) place += (place.empty() ? "" : "; ") + message.reason;
  return place;
}

void AddLine(const char* name, const std::string& value, std::string* to) {
  if (!value.empty()) *to += fmt::format("          {:<8} {}\n", name, ShownMail(value));
}

std::string ShownLines(const std::string& body) {
  std::string shown;
  for (size_t at = 0; at < body.size();) {
    const size_t end = std::min(body.find('\n', at), body.size());
    shown += "      | " + ShownMail(std::string_view(body).substr(at, end - at)) + "\n";
    at = end + 1;
  }
  return shown;
}

std::string MessageText(const MessageFacts& message) {
  const std::string verdict = Coloured(ColourOf(message.verdict), fmt::format("{:<9}", NameOf(message.verdict)));
  std::string text = fmt::format("  {:>4}  {} {}\n", message.number, verdict, PlaceOf(message));
  if (message.from.empty() && message.to.empty() && message.date.empty()) {
    return text + fmt::format("          at offset {}, {} bytes\n", message.offset, message.size);
  }
  text += fmt::format("          {} -> {}: {}\n", ShownMail(message.from), ShownMail(message.to),
                      Coloured(kStrong, ShownMail(message.subject)));
  text += fmt::format("          {}, from node {}/{}, attributes 0x{:04x}, {} bytes at offset {}\n",
                      ShownMail(message.date), message.head.origNet, message.head.origNode, message.head.attribute,
                      message.size, message.offset);
  AddLine("AREA", message.area, &text);
  AddLine("MSGID", message.msgid, &text);
  AddLine("REPLY", message.reply, &text);
  AddLine("CHRS", message.charset, &text);
  for (const std::string& kludge : message.kludges) AddLine("kludge", kludge, &text);
  return text + ShownLines(message.body);
}

}  // namespace

std::string FileJson(const FileFacts& file) {
  const Json json = {
      {"path", file.path}, {"kind", NameOf(file.kind)}, {"fate", NameOf(file.fate)}, {"reason", file.reason}};
  return OpenJson(json) + ",\"packets\":" + ArrayJson(file.packets, PacketJson) + "}";
}

std::string FileText(const FileFacts& file) {
  std::string text = fmt::format("{}: {}, would be {}", Coloured(kStrong, ShownName(file.path)), NameOf(file.kind),
                                 Coloured(file.fate == kFateProcessed ? kGood : kBad, NameOf(file.fate)));
  text += (file.reason.empty() ? "" : " (" + file.reason + ")") + "\n";
  for (const PacketFacts& packet : file.packets) {
    if (packet.entry) text += fmt::format(" entry {}\n", ShownMail(*packet.entry));
    if (packet.header) {
      text += fmt::format(" packet from {} to {}, {}, {}, {} message(s)\n", FromOf(*packet.header),
                          ToOf(*packet.header), DateOf(*packet.header),
                          HasPassword(*packet.header) ? "with a password" : "no password", packet.messages.size());
    }
    for (const MessageFacts& message : packet.messages) text += MessageText(message);
    if (packet.fault) {
      text += Coloured(kBad, fmt::format(" damaged at offset {}: {}\n", packet.fault->offset, packet.fault->reason));
      if (packet.header) text += " the toss stores what stands before it and saves the whole packet in badmsgs\n";
    }
  }
  return text;
}

std::string HexRows(const std::string& bytes) {
  std::string rows;
  for (size_t at = 0; at < bytes.size(); at += 16) {
    const std::string row = bytes.substr(at, 16);
    std::string hex;
    std::string characters;
    for (const char c : row) {
      const auto byte = static_cast<unsigned char>(c);
      hex += fmt::format("{:02x} ", byte);
      characters += byte < 0x20 || byte == 0x7F ? "." : DecodedMail(std::string_view(&c, 1));
    }
    rows += fmt::format("{:08x}  {:<48} {}\n", at, hex, characters);
  }
  return rows;
}
