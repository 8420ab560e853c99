#include "kit/ledger_render.h"

#include <fmt/format.h>

#include "kit/kit_output.h"
#include "kit/shown_facts.h"
#include "kit/shown_number.h"

namespace {

Colour ColourOf(Fate fate) {
  switch (fate) {
    case Fate::kStored:
    case Fate::kDuplicate: break;
    case Fate::kRemoved:
    case Fate::kWaiting: return kFaint;
    case Fate::kDropped:
    case Fate::kDamaged:
    case Fate::kUnknown: return kWarning;
    case Fate::kUnaccounted: return kBad;
  }
  return kPlain;
}

std::string Dump(const Json& object) { return JsonText(object, -1); }

std::string IsoStamp(std::string stamp) {
  if (stamp.size() > 10) stamp[10] = 'T';
  return stamp;
}

}  // namespace

std::string SumLine(const LedgerSums& sums) {
  const auto of = [&sums](Fate fate) { return Grouped(static_cast<int64_t>(sums.Of(fate))); };
  return fmt::format(
      "in {} = stored {} + removed {} + duplicates {} + dropped {} + damaged {} + waiting {}; unknown {}, unaccounted {}",
      Grouped(static_cast<int64_t>(sums.In())), of(Fate::kStored), of(Fate::kRemoved), of(Fate::kDuplicate),
      of(Fate::kDropped), of(Fate::kDamaged), of(Fate::kWaiting), of(Fate::kUnknown), of(Fate::kUnaccounted));
}

std::string LedgerText(const LedgerFile& file) {
  return fmt::format("{:<9}  {}  {}\n", NameOf(file.state), file.when, Coloured(kStrong, ShownName(file.name)));
}

std::string LedgerText(const LedgerMessage& message) {
  std::string place;
  if (message.conference) place = fmt::format("conf {}", *message.conference);
  if (message.message_number) place += fmt::format(" #{}", *message.message_number);
  std::string line = Coloured(ColourOf(message.fate), fmt::format("{:<11}", NameOf(message.fate)));
  line = fmt::format("  {:>4}  {} {:<14} {}", message.number, line, place,
                     message.msgid.empty() ? "-" : ShownMail(message.msgid));
  if (message.entry) line += "  in " + ShownMail(*message.entry);
  if (message.parked) line += "  (parked in the catch-all)";
  if (message.deleted) line += "  (deleted)";
  if (!message.reason.empty()) line += "  (" + message.reason + ")";
  return line + "\n";
}

void LedgerJson::Begin() { Show("{\"messages\": ["); }

void LedgerJson::Add(const LedgerFile& file) {
  const Json object = {{"file", file.name},
                       {"path", file.path.empty() ? Json() : Json(file.path)},
                       {"state", NameOf(file.state)},
                       {"when", IsoStamp(file.when)}};
  files_ += (files_.empty() ? "\n  " : ",\n  ") + Dump(object);
}

void LedgerJson::Add(const LedgerFile& file, const LedgerMessage& message) {
  const Json object = {{"file", file.name},
                       {"entry", message.entry ? Json(DecodedMail(*message.entry)) : Json()},
                       {"number", message.number},
                       {"msgid", TextOrNull(message.msgid)},
                       {"fate", NameOf(message.fate)},
                       {"conference", OrNull(message.conference)},
                       {"message_number", OrNull(message.message_number)},
                       {"parked", message.parked},
                       {"deleted", message.deleted},
                       {"reason", message.reason}};
  Show((any_ ? ",\n  " : "\n  ") + Dump(object));
  any_ = true;
}

void LedgerJson::End(const LedgerSums& sums, const LedgerQuestion& question) {
  Json rest = {{"in", sums.In()}};
  for (size_t i = 0; i < kFates; ++i) rest[NameOf(static_cast<Fate>(i))] = sums.of[i];
  const auto stamp_or_null = [](const std::string& stamp) { return stamp.empty() ? Json() : Json(IsoStamp(stamp)); };
  rest["since"] = stamp_or_null(question.since);
  rest["until"] = stamp_or_null(question.until);
  rest["unsettled"] = TextOrNull(sums.unsettled);
  Show(fmt::format("],\n\"files\": [{}],\n{}\n", files_, Dump(rest).substr(1)));
}
