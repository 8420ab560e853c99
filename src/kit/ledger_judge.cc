#include "kit/ledger_judge.h"

#include <fmt/format.h>

#include <algorithm>

#include "kit/kit_output.h"
#include "kit/ledger_match.h"

namespace {

// All that the log says about one message.
struct Evidence {
  std::optional<LoggedOutcome> stored;  // if several: the last one whose header exists, otherwise the last one
  bool present = false;                 // the header exists and is that of the message
  bool deleted = false;
  std::optional<LoggedOutcome> duplicate;
  std::optional<LoggedOutcome> dropped;
  bool begun = false;         // an interrupted toss may have stored it without logging that
  bool begun_before = false;  // the same, before a later toss found it to be a duplicate
};

struct Telling {
  const LedgerJudge& judge;
  LedgerMessage* message;

  void Call(Fate fate, std::string reason = {}) const {
    message->fate = fate;
    message->reason = std::move(reason);
  }
};

const KnownHeader* OwnHeader(const LedgerJudge& judge, const SourceMessage& message, const LoggedOutcome& stored) {
  if (judge.history.IsGivenAgain(stored.conference, stored.message_number, stored.order)) return nullptr;
  const KnownHeader* const header = judge.base->Header(stored.conference, stored.message_number);
  return header != nullptr && header->identity == message.identity ? header : nullptr;
}

void AddOutcome(const LedgerJudge& judge, const SourceMessage& message, const LoggedOutcome& outcome,
                Evidence* evidence) {
  switch (outcome.outcome) {
    case Outcome::kStored: {
      const KnownHeader* const header = OwnHeader(judge, message, outcome);
      if (evidence->present && header == nullptr) return;
      evidence->stored = outcome;
      evidence->present = header != nullptr;
      evidence->deleted = header != nullptr && header->deleted;
      return;
    }
    case Outcome::kDuplicate:
      if (!evidence->duplicate) evidence->begun_before = evidence->begun;
      evidence->duplicate = outcome;
      return;
    case Outcome::kNoNetmail:
    case Outcome::kNoArea: evidence->dropped = outcome; return;
    case Outcome::kRefused: evidence->begun = true; return;
  }
}

void CallStored(const Telling& telling, const Evidence& evidence) {
  telling.message->conference = evidence.stored->conference;
  telling.message->message_number = evidence.stored->message_number;
  telling.message->parked = evidence.stored->parked;
  telling.message->deleted = evidence.deleted;
  telling.Call(evidence.present ? Fate::kStored : Fate::kRemoved);
}

// It is a duplicate of itself if an earlier toss stored it but was interrupted before it logged that.
void CallDuplicate(const Telling& telling, const SourceMessage& message, const Evidence& evidence) {
  const int32_t conference = evidence.duplicate->conference;
  const int32_t number = telling.judge.base->NumberOf(conference, message.msgid);
  telling.message->conference = conference;
  if (number > 0) telling.message->message_number = number;
  telling.Call(Fate::kDuplicate);
  if (!evidence.begun_before || number <= 0 || telling.judge.history.IsGiven(conference, number)) return;
  const KnownHeader* const header = telling.judge.base->Header(conference, number);
  if (header == nullptr || header->identity != message.identity) return;
  telling.message->deleted = header->deleted;
  telling.Call(Fate::kStored, "by a toss that ended before it said so");
}

std::string WhereItMayBe(const LedgerJudge& judge, const SourceMessage& message) {
  if (message.msgid.empty() || message.conference == kNoConference) return "";
  const int32_t number = judge.base->NumberOf(message.conference, message.msgid);
  if (number < 0) return fmt::format("; conference {} does not know its MSGID", message.conference);
  return fmt::format("; conference {} knows its MSGID", message.conference) +
         (number > 0 ? fmt::format(" as message {}", number) : "");
}

void CallByEvidence(const Telling& telling, const SourceMessage& message, const Evidence& evidence, bool inbound,
                    const std::string& saved, bool fault) {
  if (!message.whole && (evidence.stored || evidence.duplicate || evidence.dropped)) {
    return telling.Call(Fate::kUnknown, "the log names it, and its packet was cut off since");
  }
  if (evidence.stored) return CallStored(telling, evidence);
  if (evidence.duplicate) return CallDuplicate(telling, message, evidence);
  if (evidence.dropped) {
    return telling.Call(Fate::kDropped, evidence.dropped->outcome == Outcome::kNoNetmail
                                            ? "it is netmail, and no conference takes netmail"
                                            : "no conference carries its area, and there is no catch-all");
  }
  if (inbound) return telling.Call(Fate::kWaiting);
  if (!message.reached && fault) {
    return telling.Call(Fate::kDamaged,
                        saved.empty() ? "its packet could not be saved" : "saved in " + ShownName(saved));
  }
  telling.Call(Fate::kUnaccounted, "the log does not tell what became of it" + WhereItMayBe(telling.judge, message));
}

size_t HandledOf(const PacketToss& toss) { return toss.packet->handled; }

}  // namespace

void LedgerJudge::JudgePacket(const SourcePacket& packet, const std::vector<PacketToss>& tosses, bool inbound) const {
  const size_t count = packet.messages.size();
  std::vector<Evidence> evidence(count);
  std::string saved;
  bool fault = false;
  for (const PacketToss& toss : tosses) {
    const auto matches = MatchOutcomes(packet, *toss.packet, toss.done, base);
    for (size_t i = 0; i < count; ++i) {
      if (matches[i]) AddOutcome(*this, packet.messages[i], *matches[i], &evidence[i]);
    }
    if (!toss.done && HandledOf(toss) < count) evidence[HandledOf(toss)].begun = true;
    fault = fault || toss.packet->fault;
    if (!toss.packet->saved.empty()) saved = toss.packet->saved;
  }
  for (size_t i = 0; i < count; ++i) {
    LedgerMessage message;
    if (!packet.entry.empty()) message.entry = packet.entry;
    message.number = i + 1;
    message.msgid = packet.messages[i].msgid;
    CallByEvidence({*this, &message}, packet.messages[i], evidence[i], inbound, saved, fault);
    take(message);
  }
  TellUnknown(tosses, count);
}

void LedgerJudge::TellUnknown(const std::vector<PacketToss>& tosses, size_t from) const {
  const auto most = std::max_element(tosses.begin(), tosses.end(), [](const PacketToss& a, const PacketToss& b) {
    return a.packet->Messages() < b.packet->Messages();
  });
  if (most == tosses.end()) return;
  const LoggedPacket& packet = *most->packet;
  size_t place = 0;
  const auto tell = [&](const LoggedOutcome* outcome) {
    if (++place <= from) return;
    LedgerMessage message;
    if (!packet.entry.empty()) message.entry = packet.entry;
    message.number = place;
    message.fate = Fate::kUnknown;
    message.reason = "its source is gone, and the log alone names it";
    if (outcome != nullptr && outcome->conference != 0) message.conference = outcome->conference;
    if (outcome != nullptr && outcome->outcome == Outcome::kStored) message.message_number = outcome->message_number;
    take(message);
  };
  for (const LoggedOutcome& several : packet.outcomes) {
    for (uint32_t i = 0; i < several.count; ++i) {
      const LoggedOutcome one = several.At(i);
      tell(&one);
    }
  }
  while (place < packet.Messages()) tell(nullptr);
}
