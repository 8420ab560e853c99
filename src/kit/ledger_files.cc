#include "kit/ledger_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "app/shown_text.h"
#include "base/ascii.h"
#include "kit/log_period.h"
#include "kit/site_files.h"

namespace {

using Tosses = std::vector<const LoggedToss*>;

// Whether `one` stopped at a message that could not be taken, and `other` did not.
bool IsMended(const LoggedPacket& one, const LoggedPacket& other) {
  return one.IsStopped() && (other.handled > one.handled || (other.handled == one.handled && !other.IsStopped()));
}

// Whether two tosses of a name, the later one second, must have been of different files.
bool Differ(const LoggedToss& one, const LoggedToss& other) {
  for (size_t i = 0; i < std::min(one.packets.size(), other.packets.size()); ++i) {
    const LoggedPacket& left = one.packets[i];
    const LoggedPacket& right = other.packets[i];
    if (left.key != right.key || IsMended(left, right) ||
        (left.read >= 0 && right.read >= 0 && left.read != right.read))
      return true;
  }
  return false;
}

// Groups the tosses of a name by arrival: an arrival ends with the disposal of its file, or before the toss of another
// file.
std::vector<Tosses> Arrivals(const std::vector<LoggedToss>& tosses) {
  std::vector<Tosses> arrivals;
  for (const LoggedToss& toss : tosses) {
    if (arrivals.empty() || arrivals.back().back()->IsDone() || Differ(*arrivals.back().back(), toss)) {
      arrivals.emplace_back();
    }
    arrivals.back().push_back(&toss);
  }
  return arrivals;
}

bool HasFault(const Tosses& tosses) {
  return std::any_of(tosses.begin(), tosses.end(), [](const LoggedToss* toss) {
    return std::any_of(toss->packets.begin(), toss->packets.end(), [](const LoggedPacket& one) { return one.fault; });
  });
}

bool IsBeginningOf(const std::string& part, const std::string& whole) {
  ByteBuffer begun;
  ByteBuffer all;
  return ReadSiteFile(part, &begun) && ReadSiteFile(whole, &all) && begun.size <= all.size &&
         (begun.size == 0 || memcmp(begun.data, all.data, begun.size) == 0);
}

// Returns the arrival that the processed file belongs to, or the count of arrivals.
size_t OwnerOfProcessed(const std::vector<Tosses>& arrivals, bool is_inbound) {
  size_t moved = arrivals.size();
  for (size_t i = 0; i < arrivals.size(); ++i) {
    if (arrivals[i].back()->disposal == Disposal::kMoved) moved = i;
  }
  if (arrivals.empty() || is_inbound || arrivals.back().back()->IsDone()) return moved;
  // The last arrival is neither inbound nor processed: a toss was killed after the move, or somebody removed the file.
  const bool killed = arrivals.back().back()->disposal == Disposal::kNone;
  return killed || moved == arrivals.size() ? arrivals.size() - 1 : moved;
}

}  // namespace

InboundFiles::ByName InboundFiles::List(const std::string& directory) {
  ByName found;
  for (const std::string& name : ListNames(directory)) {
    const std::string path = fmt::format("{}/{}", directory, name);
    const FoundFile file = LookAtFile(path);
    if (!file.exists || SameWord(name.c_str(), "TOSSER.LOG")) continue;
    found[ShownText(name.c_str()).text] = {name, path, file.status.size, StampOf(file.status.modified)};
  }
  return found;
}

InboundFiles::InboundFiles(const TosserConfig& config) {
  if (config.HaveInbound == 0) return;
  processed_ = config.ProcessedDir[0] != '\0' ? config.ProcessedDir : fmt::format("{}/processed", config.Inbound);
  in_inbound_ = List(config.Inbound);
  in_processed_ = List(processed_);
}

LedgerItem InboundFiles::ItemOf(const std::string& shown, const Found* found, Tosses tosses) {
  LedgerItem item;
  item.file.name = found != nullptr ? found->name : shown;
  if (!tosses.empty()) {
    item.file.when = tosses.back()->last;
  } else if (found != nullptr) {
    item.file.when = found->modified;
  }
  if (found != nullptr) {
    item.file.path = found->path;
    item.size = found->size;
  }
  item.tosses = std::move(tosses);
  return item;
}

std::vector<LedgerItem> InboundFiles::Items(const TossHistory& history) const {
  std::vector<LedgerItem> items;
  static const std::vector<LoggedToss> kNoTosses;
  std::map<std::string, const std::vector<LoggedToss>*> names;
  for (const auto& [name, tosses] : history.Files()) names[name] = &tosses;
  for (const ByName* place : {&in_inbound_, &in_processed_}) {
    for (const auto& [name, found] : *place) names.try_emplace(name, &kNoTosses);
  }
  for (const auto& [name, logged] : names) {
    const auto inbound = in_inbound_.find(name);
    const auto processed = in_processed_.find(name);
    const Found* const waits = inbound != in_inbound_.end() ? &inbound->second : nullptr;
    const Found* done = processed != in_processed_.end() ? &processed->second : nullptr;
    std::vector<Tosses> arrivals = Arrivals(*logged);
    size_t owner = OwnerOfProcessed(arrivals, waits != nullptr);
    const bool is_under_way = waits != nullptr && (arrivals.empty() || !arrivals.back().back()->IsDone());
    // A move may have been interrupted: then the other file is an incomplete copy of it, or its second name.
    if (is_under_way && done != nullptr && (owner == arrivals.size() || done->size < waits->size) &&
        IsBeginningOf(done->path, waits->path)) {
      done = nullptr;
    }
    if (done != nullptr && owner == arrivals.size()) {
      items.push_back(ItemOf(name, done, {}));
      items.back().file.state = FileState::kProcessed;
    }
    if (waits != nullptr && !(is_under_way && !arrivals.empty())) items.push_back(ItemOf(name, waits, {}));
    for (size_t i = 0; i < arrivals.size(); ++i) {
      const bool is_last = i + 1 == arrivals.size();
      const Found* const found = is_last && is_under_way ? waits : i == owner ? done : nullptr;
      const bool is_retained = arrivals[i].back()->disposal == Disposal::kRetained;
      const bool was_moved = arrivals[i].back()->disposal == Disposal::kMoved;
      const bool bad = HasFault(arrivals[i]);
      items.push_back(ItemOf(name, found, std::move(arrivals[i])));
      LedgerItem& item = items.back();
      if (found == nullptr && done != nullptr && was_moved) item.other = done->path;
      item.file.state = found != nullptr && found == waits ? (is_retained ? FileState::kRetained : FileState::kWaiting)
                        : bad                              ? FileState::kBad
                        : found != nullptr                 ? FileState::kProcessed
                                                           : FileState::kGone;
    }
  }
  std::stable_sort(items.begin(), items.end(),
                   [](const LedgerItem& a, const LedgerItem& b) { return a.file.when < b.file.when; });
  return items;
}
