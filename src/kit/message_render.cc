#include "kit/message_render.h"

#include <fmt/format.h>

#include <algorithm>

#include "kit/kit_output.h"

namespace {

constexpr int kDeepestShown = 20;

struct Counts {
  size_t live = 0;
  size_t deleted = 0;
  size_t unsent = 0;
  std::string newest;  // the date of the message with the highest number
};

Counts CountsOf(const StoredConference& conference) {
  Counts counts;
  int32_t highest = 0;
  for (const StoredMessage& message : conference.messages) {
    ++(message.header.Deleted ? counts.deleted : counts.live);
    if (message.unsent) ++counts.unsent;
    if (message.header.MsgNumber < highest) continue;
    highest = message.header.MsgNumber;
    counts.newest = message.header.MsgDate;
  }
  return counts;
}

// Returns a date with a blank where ISO 8601 has a T.
std::string ShownDate(const std::string& base_date) {
  std::string date = IsoDate(base_date);
  if (!IsIsoDate(date)) return ShownMail(base_date);
  std::replace(date.begin(), date.end(), 'T', ' ');
  return date;
}

std::string MarksOf(const StoredMessage& message) {
  std::string marks;
  if (message.header.Deleted) marks += " [deleted]";
  if (message.unsent) marks += " [unsent]";
  if (message.header.Private) marks += " [private]";
  if (message.header.NetMail) marks += " [netmail]";
  return marks;
}

}  // namespace

Json ConferenceJson(const StoredConference& conference) {
  const Counts counts = CountsOf(conference);
  return {{"number", conference.entry->Number},
          {"name", DecodedMail(conference.entry->ConfName)},
          {"tag", TextOrNull(conference.entry->NetIDName)},
          {"messages", counts.live},
          {"deleted", counts.deleted},
          {"unsent", counts.unsent},
          {"dat_records", conference.dat_records},
          {"newest", counts.newest.empty() ? Json(nullptr) : Json(IsoDate(counts.newest))}};
}

std::string ConferenceHeading() {
  return fmt::format("{:>4} {:>7} {:>7} {:>7} {:>8}  {:<16}  {:<15} {}\n", "conf", "live", "deleted", "unsent",
                     "records", "newest", "area", "name");
}

std::string ConferenceLine(const StoredConference& conference) {
  const Counts counts = CountsOf(conference);
  return fmt::format("{:>4} {:>7} {:>7} {:>7} {:>8}  {:<16}  {:<15} {}\n", conference.entry->Number, counts.live,
                     counts.deleted, counts.unsent, conference.dat_records, ShownDate(counts.newest),
                     ShownMail(conference.entry->NetIDName), ShownMail(conference.entry->ConfName));
}

Json MessageJson(int32_t conference, const StoredMessage& message, const std::optional<std::string>& text) {
  const PtrRecord& header = message.header;
  Json json = {{"conference", conference},
               {"number", header.MsgNumber},
               {"from", DecodedMail(header.From)},
               {"to", DecodedMail(header.To)},
               {"subject", DecodedMail(header.Subj)},
               {"date", IsoDate(header.MsgDate)},
               {"msgid", TextOrNull(message.msgid)},
               {"parent", OrNull(message.Parent())},
               {"deleted", header.Deleted},
               {"sent", header.MsgSent},
               {"private", header.Private},
               {"netmail", header.NetMail}};
  if (text) json["text"] = DecodedMail(*text);
  return json;
}

std::string MessageLine(const StoredMessage& message, int depth) {
  const PtrRecord& header = message.header;
  const std::string line =
      fmt::format("{:>7}  {:<16}  {}{} -> {}: {}", fmt::format("#{}", header.MsgNumber), ShownDate(header.MsgDate),
                  std::string(static_cast<size_t>(2 * std::min(depth, kDeepestShown)), ' '), ShownMail(header.From),
                  ShownMail(header.To), ShownMail(header.Subj));
  const std::string marks = MarksOf(message);
  if (header.Deleted) return Coloured(kFaint, line + marks) + "\n";
  return line + (marks.empty() ? "" : Coloured(kWarning, marks)) + "\n";
}

std::string WholeMessage(const StoredMessage& message, const std::optional<std::string>& text) {
  const PtrRecord& header = message.header;
  std::string shown = MessageLine(message, 0);
  const auto add = [&shown](const char* name, const std::string& value) {
    if (!value.empty()) shown += fmt::format("{:<8} {}\n", name, value);
  };
  add("MSGID", ShownMail(message.msgid));
  if (const std::optional<int32_t> parent = message.Parent()) add("reply to", fmt::format("#{}", *parent));
  add("origin", ShownMail(header.OrigNetNode));
  shown += "\n";
  if (!text) return shown + Coloured(kBad, "Its text cannot be read.") + "\n";
  for (size_t at = 0; at < text->size();) {
    const size_t end = std::min(text->find('\n', at), text->size());
    shown += ShownMail(std::string_view(*text).substr(at, end - at)) + "\n";
    at = end + 1;
  }
  return shown;
}
