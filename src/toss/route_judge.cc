#include "toss/route_judge.h"

#include <cstring>

#include "base/ascii.h"

namespace {

// The first routed conference with that tag, in capitals; kNoConference when there is none.
int32_t FindRouted(const ConferenceTable& table, const char* tag) {
  for (size_t i = 0; i < table.count; ++i) {
    const ConferenceEntry& entry = table.entries[i];
    if (entry.Routed && strcmp(entry.NetIDName, tag) == 0) return entry.Number;
  }
  return kNoConference;
}

bool LooksLikeReply(const char* subject) { return BeginsWithWord(subject, strlen(subject), "re:"); }

}  // namespace

Destination ChooseConference(const ConferenceTable& table, const InboundMessage& message) {
  if (message.area[0] == '\0') {
    return {table.NetmailConference != kNoConference ? kToNetmail : kNoNetmail, table.NetmailConference};
  }
  char tag[sizeof message.area];
  memcpy(tag, message.area, sizeof tag);
  UpperText(tag);
  const int32_t routed = FindRouted(table, tag);
  if (routed != kNoConference) return {kToArea, routed};
  const int32_t catch_all = FindRouted(table, "*");
  return {catch_all != kNoConference ? kToCatchAll : kNoCatchAll, catch_all};
}

Parent JudgeParent(const InboundMessage& message, const SigScan& sig) {
  if (message.reply[0] == '\0') return {LooksLikeReply(message.subject) ? kReplyBySubjectOnly : kNotAReply};
  if (!sig.has_parent || sig.parent < 0) return {kParentNotFound};
  return {kParentFound, sig.parent};
}
