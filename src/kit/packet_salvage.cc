#include "kit/packet_salvage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "base/ascii.h"
#include "bbs/records.h"

namespace {

constexpr size_t kLongestDate = 20;
constexpr size_t kLongestName = 36;
constexpr size_t kLongestSubject = 72;

std::string ReasonOf(PacketStep step, const PackedMessageView& message) {
  switch (step) {
    case kPacketMessage:
    case kPacketEnd: break;
    case kPacketBadType:
      return fmt::format("neither a message nor the end: the word 0x{:04x}", message.head.messageType);
    case kPacketCutHead: return "the packet ends within a message's head";
    case kPacketCutField: return "no NUL ends a message's date, a name or the subject";
    case kPacketCutText: return "no NUL ends a message's text";
  }
  return "";
}

// Whether there is a date in the form of "05 Jan 25  00:07:59" at `text`, with its NUL.
bool IsDate(const char* text, size_t left) {
  constexpr char kDateForm[] = "00 aaa 00  00:00:00";
  if (left < sizeof kDateForm) return false;
  for (size_t i = 0; i + 1 < sizeof kDateForm; ++i) {
    const char c = text[i];
    const bool digit = c >= '0' && c <= '9';
    const bool letter = UpperAscii(c) >= 'A' && UpperAscii(c) <= 'Z';
    if (kDateForm[i] == '0' ? !digit && c != ' ' : kDateForm[i] == 'a' ? !letter : c != kDateForm[i]) return false;
  }
  return text[sizeof kDateForm - 1] == '\0';
}

// Returns where the next message begins, from `from` on, or the size of the packet.
size_t FindNext(const uint8_t* packet, size_t size, size_t from) {
  for (size_t at = from; size - at > kPackedMessageHeadSize; ++at) {
    const void* const word = memchr(packet + at, kMessageFollows, size - at - kPackedMessageHeadSize);
    if (word == nullptr) break;
    at = static_cast<size_t>(static_cast<const uint8_t*>(word) - packet);
    const size_t date = at + kPackedMessageHeadSize;
    if (!IsDate(reinterpret_cast<const char*>(packet) + date, size - date)) continue;
    PacketReader reader = {packet, size, at};
    PackedMessageView view;
    if (ReadPackedMessage(&reader, &view) == kPacketMessage && view.dateTime.size <= kLongestDate &&
        view.toUserName.size <= kLongestName && view.fromUserName.size <= kLongestName &&
        view.subject.size <= kLongestSubject) {
      return at;
    }
  }
  return size;
}

void AddKludges(const PackedText& text, std::vector<std::string>* kludges) {
  const char* at = text.text;
  const char* const end = text.text + text.size;
  while (at != end) {
    const char* const stop = std::find_if(at, end, [](char c) { return c == '\r' || c == '\n'; });
    const auto is = [&](const char* name) { return BeginsWithWord(at + 1, static_cast<size_t>(stop - at - 1), name); };
    if (at != stop && *at == '\x01' && !is("MSGID:") && !is("REPLY:") && !is("CHRS:"))
      kludges->emplace_back(at + 1, stop);
    at = stop == end ? end : stop + 1;
  }
}

}  // namespace

std::vector<FoundMessage> FindMessages(const uint8_t* packet, size_t size, std::optional<PacketFault>* fault) {
  std::vector<FoundMessage> messages;
  PacketReader reader = {packet, size};
  for (;;) {
    FoundMessage found;
    const PacketStep step = ReadPackedMessage(&reader, &found.view);
    if (step == kPacketEnd) break;
    found.reached = !*fault;
    if (step == kPacketMessage) {
      found.size = reader.at - found.view.offset;
    } else {
      if (!*fault) *fault = PacketFault{found.view.offset, ReasonOf(step, found.view)};
      reader.at = FindNext(packet, size, found.view.offset + 1);
      found.size = reader.at - found.view.offset;
      found.whole = found.reached = false;
      const size_t offset = found.view.offset;
      found.view = PackedMessageView();
      found.view.offset = offset;
    }
    messages.push_back(found);
  }
  return messages;
}

void DescribeMessage(const FoundMessage& found, MessageFacts* facts) {
  const PackedMessageView& view = found.view;
  facts->offset = view.offset;
  facts->size = found.size;
  facts->head = view.head;
  facts->from.assign(view.fromUserName.text, view.fromUserName.size);
  facts->to.assign(view.toUserName.text, view.toUserName.size);
  facts->subject.assign(view.subject.text, view.subject.size);
  facts->date.assign(view.dateTime.text, view.dateTime.size);
}

ParsedText TakeMessage(const FoundMessage& found, InboundMessage* message, MessageFacts* facts) {
  TakePackedHead(found.view, message);
  const PackedText& text = found.view.text;
  const ParsedText parsed = ParseInboundText(text.text, text.size, message);
  facts->area = message->area;
  facts->msgid = message->msgid;
  facts->reply = message->reply;
  facts->charset = message->charset;
  AddKludges(text, &facts->kludges);
  return parsed;
}

void TakeBody(const FoundMessage& found, const ParsedText& parsed, const InboundMessage& message, MessageFacts* facts) {
  if (parsed.fault == kTextSound) {
    facts->body.assign(reinterpret_cast<const char*>(message.body.data), message.body.size);
    std::replace(facts->body.begin(), facts->body.end(), kLineEndByte, '\n');
  } else {
    facts->body.assign(found.view.text.text, found.view.text.size);
    std::replace(facts->body.begin(), facts->body.end(), '\r', '\n');
  }
}

std::string PacketWithout(const uint8_t* packet, size_t size, const std::set<int>& left_out) {
  const auto* const bytes = reinterpret_cast<const char*>(packet);
  std::string kept(bytes, kPacketHeaderSize);
  std::optional<PacketFault> fault;
  int number = 0;
  for (const FoundMessage& found : FindMessages(packet, size, &fault)) {
    if (found.whole && left_out.count(++number) == 0) kept.append(bytes + found.view.offset, found.size);
    if (!found.whole) ++number;
  }
  return kept.append(kPacketWordSize, '\0');
}
