#include "kit/ledger_match.h"

#include <algorithm>

#include "app/shown_text.h"

namespace {

using Matches = std::vector<std::optional<LoggedOutcome>>;

constexpr size_t kLookAhead = 16;  // lines

enum class Proof { kIsItsOwn, kIsAnothers, kNone };

// Whether the line about a stored message is about this one, by its MSGID or otherwise by its header.
Proof ProofOf(const SourceMessage& message, const LoggedOutcome& stored, LedgerBase* base) {
  if (!message.msgid.empty()) {
    const int32_t number = base->NumberOf(stored.conference, message.msgid);
    if (number > 0) return number == stored.message_number ? Proof::kIsItsOwn : Proof::kIsAnothers;
  }
  const KnownHeader* const header = base->Header(stored.conference, stored.message_number);
  if (header == nullptr) return Proof::kNone;
  return header->identity == message.identity ? Proof::kIsItsOwn : Proof::kIsAnothers;
}

std::vector<LoggedOutcome> Lines(const LoggedPacket& logged) {
  std::vector<LoggedOutcome> lines;
  lines.reserve(logged.handled);
  for (const LoggedOutcome& several : logged.outcomes) {
    for (uint32_t i = 0; i < several.count; ++i) lines.push_back(several.At(i));
  }
  return lines;
}

// Whether, for every N, the Nth line can belong to the Nth message.
bool AreInOrder(const SourcePacket& packet, const LoggedPacket& logged, const std::vector<LoggedOutcome>& lines,
                bool done, LedgerBase* base) {
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].message != 0 && lines[i].message != i + 1) return false;
  }
  const size_t messages = packet.messages.size();
  const auto counted = static_cast<size_t>(std::max<int64_t>(logged.read, 0));
  if (logged.read >= 0 && counted != lines.size()) return false;
  if (counted == messages && logged.read >= 0) return true;
  const auto reached = static_cast<size_t>(std::count_if(packet.messages.begin(), packet.messages.end(),
                                                         [](const SourceMessage& one) { return one.reached; }));
  if (done && logged.read < 0 && !logged.IsStopped() && lines.size() < reached) return false;
  for (size_t i = 0; i < std::min(lines.size(), messages); ++i) {
    const SourceMessage& message = packet.messages[i];
    if (lines[i].outcome == Outcome::kStored && message.whole &&
        ProofOf(message, lines[i], base) == Proof::kIsAnothers) {
      return false;
    }
  }
  return true;
}

// Assigns the lines from `line` on to the messages from `message` on, if there are as many.
void FillBetween(const std::vector<LoggedOutcome>& lines, size_t line, size_t line_end, size_t message,
                 size_t message_end, Matches* matches) {
  if (line_end - line != message_end - message) return;
  for (; line != line_end; ++line, ++message) (*matches)[message] = lines[line];
}

bool IsOf(size_t place, const SourceMessage& message, const LoggedOutcome& line, LedgerBase* base) {
  if (line.message != 0) return line.message == place + 1;
  return line.outcome == Outcome::kStored && message.whole && ProofOf(message, line, base) == Proof::kIsItsOwn;
}

Matches MatchByProof(const SourcePacket& packet, const std::vector<LoggedOutcome>& lines, LedgerBase* base) {
  const size_t messages = packet.messages.size();
  Matches matches(messages);
  size_t line = 0;     // the first one after the last match
  size_t message = 0;  // likewise
  for (size_t place = 0; place < messages && line < lines.size(); ++place) {
    for (size_t ahead = line; ahead < std::min(lines.size(), line + kLookAhead); ++ahead) {
      if (lines[ahead].message > place + 1) break;
      if (!IsOf(place, packet.messages[place], lines[ahead], base)) continue;
      FillBetween(lines, line, ahead, message, place, &matches);
      matches[place] = lines[ahead];
      line = ahead + 1;
      message = place + 1;
      break;
    }
  }
  FillBetween(lines, line, lines.size(), message, messages, &matches);
  return matches;
}

}  // namespace

Matches MatchOutcomes(const SourcePacket& packet, const LoggedPacket& logged, bool done, LedgerBase* base) {
  const std::vector<LoggedOutcome> lines = Lines(logged);
  if (!AreInOrder(packet, logged, lines, done, base)) return MatchByProof(packet, lines, base);
  Matches matches(packet.messages.size());
  std::copy_n(lines.begin(), std::min(lines.size(), matches.size()), matches.begin());
  return matches;
}

bool CouldBeOf(const SourcePacket& packet, const LoggedPacket& logged, LedgerBase* base, size_t* proofs) {
  if (packet.key != logged.key || logged.Messages() > packet.messages.size()) return false;
  const std::vector<LoggedOutcome> lines = Lines(logged);
  uint64_t duplicates = 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    const SourceMessage& message = packet.messages[i];
    if (lines[i].outcome == Outcome::kDuplicate) {
      duplicates = HashWithDuplicate(duplicates, i + 1, ShownText(message.msgid.c_str()).text);
      ++*proofs;
    }
    if (lines[i].outcome != Outcome::kStored) continue;
    const Proof proof = ProofOf(message, lines[i], base);
    if (proof == Proof::kIsAnothers) return false;
    if (proof == Proof::kIsItsOwn) ++*proofs;
  }
  return duplicates == logged.duplicates;
}
