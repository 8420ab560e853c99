#include "kit/inbound_mail.h"

#include <algorithm>

#include "base/ascii.h"
#include "ftn/zip_reader.h"
#include "kit/packet_walk.h"
#include "kit/site_files.h"
#include "toss/inbound_message.h"
#include "toss/inbound_text.h"
#include "toss/route_judge.h"

namespace {

void AddItem(const PackedMessageView& packed, const ConferenceTable& table, size_t source, InboundMessage* message,
             InboundMail* mail) {
  TakePackedHead(packed, message);
  if (ParseInboundText(packed.text.text, packed.text.size, message).fault != kTextSound) return;
  const Destination destination = ChooseConference(table, *message);
  if (destination.conference == kNoConference) return;
  mail->items.push_back({source, destination.conference, message->msgid, IdentityOfInbound(*message)});
}

}  // namespace

size_t InboundMail::CountFor(int32_t conference) const {
  return static_cast<size_t>(std::count_if(
      items.begin(), items.end(), [conference](const InboundItem& item) { return item.conference == conference; }));
}

void AddInboundFile(const std::string& name, const ByteBuffer& content, const ConferenceTable& table,
                    InboundMail* mail) {
  if (!LooksLikePacket(content.data, content.size) && !LooksLikeZip(content.data, content.size)) return;
  const size_t source = mail->sources.size();
  mail->sources.push_back({name, static_cast<int64_t>(content.size)});
  InboundMessage message;
  EachPacket(content, [&](const uint8_t* packet, size_t size) {
    EachMessage(packet, size, [&](const PackedMessageView& packed) { AddItem(packed, table, source, &message, mail); });
  });
}

InboundMail ReadInboundMail(const TosserConfig& config, const ConferenceTable& table) {
  InboundMail mail;
  if (config.HaveInbound == 0) return mail;
  ByteBuffer content;
  for (const std::string& name : ListNames(config.Inbound)) {
    if (SameWord(name.c_str(), "TOSSER.LOG") || !ReadSiteFile(std::string(config.Inbound) + "/" + name, &content)) {
      continue;
    }
    AddInboundFile(name, content, table, &mail);
  }
  return mail;
}
