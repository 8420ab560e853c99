#include "kit/mbox.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "kit/kit_output.h"
#include "kit/shown_facts.h"

namespace {

constexpr size_t kLongestMailLine = 998;  // bytes; the limit of RFC 5322
constexpr size_t kEncodedAtOnce = 42;     // bytes of text in one encoded word
constexpr size_t kEncodedLine = 57;       // bytes of text in one line of base64

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    uint32_t group = 0;
    for (size_t i = 0; i < 3; ++i) {
      group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0);
    }
    for (size_t i = 0; i < 4; ++i) {
      text += at + i > bytes.size() ? '=' : kDigits[group >> (18 - 6 * i) & 0x3F];
    }
  }
  return text;
}

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0x80) != 0; });
}

// Returns the text as the value of a header: unchanged, or in encoded words of whole characters.
std::string HeaderText(const std::string& mail) {
  std::string text = ShownMail(mail);
  if (IsAscii(text) && text.find("=?") == std::string::npos) return text;
  std::string words;
  for (size_t at = 0; at < text.size();) {
    size_t size = std::min(kEncodedAtOnce, text.size() - at);
    while (at + size < text.size() && (static_cast<unsigned char>(text[at + size]) & 0xC0) == 0x80) --size;
    words += (words.empty() ? "=?UTF-8?B?" : "\n =?UTF-8?B?") + Base64(text.substr(at, size)) + "?=";
    at += size;
  }
  return words;
}

// Returns a name with an address, which the header must have but the message does not.
std::string Mailbox(const std::string& name, const std::string& domain) {
  std::string text = HeaderText(name);
  if (text.compare(0, 2, "=?") != 0) {
    std::string quoted;
    for (const char c : text) quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    text = "\"" + quoted + "\"";
  }
  return text + " <unknown@" + domain + ">";
}

// Converts a MSGID to a Message-ID: characters that are not allowed there become "%20" and so on.
std::string NameOfMsgid(const std::string& msgid) {
  std::string name;
  for (const char c : msgid) {
    const bool plain =
        (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '/' || c == '-';
    name += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return "<" + name + "@msgid.invalid>";
}

std::string NameOfMessage(int32_t conference, int32_t number, const std::string& msgid) {
  return msgid.empty() ? fmt::format("<{}.{}@base.invalid>", conference, number) : NameOfMsgid(msgid);
}

struct MailDate {
  std::string from_line = "Thu Jan  1 00:00:00 1970";
  std::string header = "Thu, 01 Jan 1970 00:00:00 -0000";
};

// A text that is no date becomes the earliest time that mail programs accept.
MailDate DateOf(const std::string& base_date) {
  const std::string iso = IsoDate(base_date);
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  MailDate date;
  if (sscanf(iso.c_str(), "%4d-%2u-%2uT%2u:%2u", &year, &month, &day, &hour, &minute) != 5) return date;
  const std::chrono::year_month_day when{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  if (!when.ok() || hour > 23 || minute > 59) return date;
  constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const char* const weekday = kDays[std::chrono::weekday(std::chrono::sys_days(when)).c_encoding()];
  date.from_line = fmt::format("{} {} {:>2} {:02}:{:02}:00 {}", weekday, kMonths[month - 1], day, hour, minute, year);
  date.header =
      fmt::format("{}, {:02} {} {} {:02}:{:02}:00 -0000", weekday, day, kMonths[month - 1], year, hour, minute);
  return date;
}

// Returns the lines of a text in UTF-8.
std::string BodyLines(const std::string& text, bool* long_lines) {
  std::string body;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = ShownMail(std::string_view(text).substr(at, end - at));
    *long_lines = *long_lines || line.size() > kLongestMailLine;
    body += line + "\n";
    at = end + 1;
  }
  return body;
}

// Adds a ">" before each line that begins with "From ", after any number of ">": otherwise it could be taken for the
// beginning of a message.
std::string Quoted(const std::string& body) {
  std::string quoted;
  for (size_t at = 0; at < body.size();) {
    const size_t end = body.find('\n', at) + 1;
    const size_t text = std::min(body.find_first_not_of('>', at), end);
    if (body.compare(text, 5, "From ") == 0) quoted += '>';
    quoted.append(body, at, end - at);
    at = end;
  }
  return quoted;
}

std::string Encoded(const std::string& body) {
  std::string encoded;
  for (size_t at = 0; at < body.size(); at += kEncodedLine) {
    encoded += Base64(std::string_view(body).substr(at, kEncodedLine)) + "\n";
  }
  return encoded;
}

}  // namespace

std::string MboxMessage(const ConferenceEntry& conference, const StoredMessage& message, const std::string& text,
                        const std::function<std::string(int32_t)>& msgid_of) {
  const PtrRecord& header = message.header;
  const MailDate date = DateOf(header.MsgDate);
  bool long_lines = false;
  const std::string body = BodyLines(text, &long_lines);
  std::string mail = "From unknown@base.invalid " + date.from_line + "\n";
  const auto add = [&mail](const char* name, const std::string& value) {
    mail += std::string(name) + ": " + value + "\n";
  };
  add("From", Mailbox(header.From, "from.invalid"));
  add("To", Mailbox(header.To, "to.invalid"));
  add("Subject", HeaderText(header.Subj));
  add("Date", date.header);
  add("Message-ID", NameOfMessage(conference.Number, header.MsgNumber, message.msgid));
  if (const std::optional<int32_t> parent = message.Parent()) {
    const std::string name = NameOfMessage(conference.Number, *parent, msgid_of(*parent));
    add("In-Reply-To", name);
    add("References", name);
  }
  add("MIME-Version", "1.0");
  add("Content-Type", "text/plain; charset=utf-8");
  add("Content-Transfer-Encoding", long_lines ? "base64" : "8bit");
  add("X-Conference", fmt::format("{}", conference.Number));
  if (conference.NetIDName[0] != '\0') add("X-Area", HeaderText(conference.NetIDName));
  add("X-Message-Number", fmt::format("{}", header.MsgNumber));
  if (!message.msgid.empty()) add("X-MSGID", HeaderText(message.msgid));
  if (header.OrigNetNode[0] != '\0') add("X-Origin", HeaderText(header.OrigNetNode));
  return mail + "\n" + (long_lines ? Encoded(body) : Quoted(body)) + "\n";
}
