#include "kit/outbound_mail.h"

#include <algorithm>
#include <cctype>

#include "kit/message_identity.h"
#include "kit/packet_walk.h"
#include "kit/site_files.h"

namespace {

constexpr std::string_view kTemporary = ".tmp";

bool IsHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); }

// "6917f02c.su0": the time in hexadecimal, the day of the week, and a sequence character.
bool IsBundleName(std::string_view name) {
  if (name.size() != 12 || name[8] != '.' || !std::all_of(name.begin(), name.begin() + 8, IsHex)) return false;
  const std::string_view day = name.substr(9, 2);
  const auto days = {"su", "mo", "tu", "we", "th", "fr", "sa"};
  const bool known = std::find(days.begin(), days.end(), day) != days.end();
  return known && ((name[11] >= '0' && name[11] <= '9') || (name[11] >= 'a' && name[11] <= 'z'));
}

std::string_view View(const PackedText& text) { return {text.text, text.size}; }

// Removes the first line of a text if it begins with `word`.
bool TakeLine(std::string_view word, std::string_view* text, std::string_view* rest_of_line) {
  if (text->substr(0, word.size()) != word) return false;
  const size_t end = text->find('\r');
  if (end == std::string_view::npos) return false;
  *rest_of_line = text->substr(word.size(), end - word.size());
  text->remove_prefix(end + 1);
  return true;
}

// Parses a text as a scan writes it: kludges, the user's text, three line ends and the tear line. A text that a NUL has
// cut has no tear line.
bool TakeText(std::string_view text, OutboundItem* item, std::string_view* body) {
  std::string_view value;
  item->netmail = !TakeLine("AREA:", &text, &value);
  item->area = item->netmail ? std::string_view() : value;
  if (!TakeLine("\x01MSGID: ", &text, &value)) return false;
  item->msgid = value;
  if (!TakeLine("\x01TZUTC: ", &text, &value)) return false;
  (void)TakeLine("\x01REPLY: ", &text, &value);
  *body = text.substr(0, text.rfind("\r\r\r--- cvtoss32 "));
  return true;
}

}  // namespace

OutboundMail ReadOutboundMail(const TosserConfig& config) {
  OutboundMail mail;
  if (config.HaveOutDir == 0) return mail;
  ByteBuffer content;
  for (const std::string& name : ListNames(config.OutDir)) {
    const std::string path = std::string(config.OutDir) + "/" + name;
    const std::string_view view = name;
    if (view.size() > kTemporary.size() && view.substr(view.size() - kTemporary.size()) == kTemporary &&
        IsBundleName(view.substr(0, view.size() - kTemporary.size())) && LookAtFile(path).exists) {
      mail.temporaries.push_back(path);
    }
    if (!IsBundleName(name) || !ReadSiteFile(path, &content)) continue;
    const size_t bundle = mail.bundles.size();
    mail.bundles.push_back(path);
    EachPacket(content, [&](const uint8_t* packet, size_t size) {
      EachMessage(packet, size, [&](const PackedMessageView& packed) {
        OutboundItem item;
        std::string_view body;
        item.bundle = bundle;
        if (!TakeText(View(packed.text), &item, &body)) return;
        item.identity =
            IdentityOfOutbound(View(packed.fromUserName), View(packed.toUserName), View(packed.subject), body);
        mail.items.push_back(std::move(item));
      });
    });
  }
  return mail;
}

std::string OutboundBody(std::string_view body) {
  std::string packed;
  packed.reserve(body.size());
  for (const char c : body) {
    if (static_cast<unsigned char>(c) < 0x80) packed += c;
  }
  while (!packed.empty() && (packed.back() == '\r' || packed.back() == '\n')) packed.pop_back();
  return packed.substr(0, packed.find('\0'));
}
