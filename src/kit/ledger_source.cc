#include "kit/ledger_source.h"

#include "app/shown_text.h"
#include "ftn/zip_reader.h"
#include "kit/message_identity.h"
#include "kit/packet_salvage.h"
#include "kit/toss_history.h"
#include "toss/inbound_message.h"
#include "toss/inbound_text.h"
#include "toss/route_judge.h"

namespace {

void TakePacket(const uint8_t* bytes, size_t size, const ConferenceTable& table, InboundMessage* message,
                SourcePacket* packet) {
  if (!LooksLikePacket(bytes, size)) return;
  std::optional<PacketFault> fault;
  for (const FoundMessage& found : FindMessages(bytes, size, &fault)) {
    SourceMessage& taken = packet->messages.emplace_back();
    taken.whole = found.whole;
    taken.reached = found.reached;
    if (!found.whole) continue;
    TakePackedHead(found.view, message);
    (void)ParseInboundText(found.view.text.text, found.view.text.size, message);
    taken.msgid = message->msgid;
    taken.identity = IdentityOfHeader(TextsOfInbound(*message));
    taken.conference = ChooseConference(table, *message).conference;
  }
}

}  // namespace

uint64_t IdentityOfHeader(const PtrRecord& header) {
  std::string text;
  for (const char* part : {header.MsgDate, header.From, header.To, header.Subj, header.OrigNetNode}) {
    text.append(part).push_back('\0');
  }
  return std::hash<std::string>()(text);
}

bool EachSourcePacket(const ByteBuffer& file, const ConferenceTable& table,
                      const std::function<void(const SourcePacket&)>& take) {
  InboundMessage message;
  if (LooksLikePacket(file.data, file.size)) {
    SourcePacket packet;
    TakePacket(file.data, file.size, table, &message, &packet);
    take(packet);
    return true;
  }
  if (!LooksLikeZip(file.data, file.size)) return false;
  if (file.size < kZipLocalHeaderSize) return true;
  ZipReader reader = {file.data, file.size};
  ZipEntryView entry;
  ByteBuffer content;
  while (ReadZipEntry(&reader, &entry) == kZipEntry) {
    const ZipLocalHeader& header = entry.header;
    SourcePacket packet;
    packet.entry = entry.name;
    packet.key =
        KeyOfEntry(ShownText(entry.name).text, header.method, header.compressed_size, header.uncompressed_size);
    const ZipContent kind = JudgeZipEntry(header);
    if (kind == kZipAsItLies) {
      TakePacket(entry.data, header.compressed_size, table, &message, &packet);
    } else if (kind == kZipInflate && InflateZipEntry(entry, &content).result == kInflated) {
      TakePacket(content.data, content.size, table, &message, &packet);
    }
    take(packet);
  }
  return true;
}
