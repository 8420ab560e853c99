#include "fault/power_cut.h"

#include <algorithm>

namespace {

constexpr size_t kSector = 512;  // is on the disk as a whole or not at all
constexpr int kByChance = 24;

enum class Kept { kNothing, kEverything, kFirst, kSome, kLength };

struct Survival {
  Kept kept = Kept::kNothing;
  uint64_t which = 0;  // kFirst: how many pieces, counted round; kSome: a bit for each piece
};

constexpr Survival kLost = {Kept::kNothing, 0};
constexpr Survival kKept = {Kept::kEverything, 0};
constexpr Survival kChoices[] = {
    kLost,
    kKept,
    {Kept::kFirst, 1},
    {Kept::kFirst, 2},
    {Kept::kSome, 0xAAAAAAAAAAAAAAAA},
    {Kept::kSome, 0x5555555555555555},
    {Kept::kLength, 0},
};

// What of each file with writes, and of each change of names, is on the disk.
struct Cut {
  std::vector<Survival> files;
  std::vector<bool> names;
};

// The writes in pieces that no sector's end divides.
std::vector<DiskWrite> PiecesOf(const DiskFile& file) {
  std::vector<DiskWrite> pieces;
  for (const DiskWrite& write : file.writes) {
    if (write.bytes.empty()) pieces.push_back(write);  // a new length
    for (size_t done = 0; done < write.bytes.size();) {
      const size_t size = std::min(write.bytes.size() - done, kSector - (write.at + done) % kSector);
      pieces.push_back({write.at + done, write.bytes.substr(done, size)});
      done += size;
    }
  }
  return pieces;
}

// The bytes that a file has after the cut. What was beyond its end for a while is zero where it was not written again.
std::string Left(const DiskFile& file, const Survival& survival) {
  std::string left = file.synced;
  if (survival.kept == Kept::kNothing) return left;
  if (survival.kept == Kept::kEverything) return file.now;
  const std::vector<DiskWrite> pieces = PiecesOf(file);
  if (survival.kept == Kept::kFirst) {
    const size_t count = survival.which % (pieces.size() + 1);
    for (size_t i = 0; i < count; ++i) Apply(pieces[i], &left);
    return left;
  }
  for (size_t i = 0; i < pieces.size(); ++i) {
    const bool is_length = pieces[i].bytes.empty();
    const bool is_there = survival.kept == Kept::kSome && (survival.which >> (i % 64) & 1) != 0;
    if (is_length || is_there) Apply(pieces[i], &left);
  }
  left.resize(file.now.size());
  return left;
}

SiteFiles FilesAfter(const DiskState& moment, const std::vector<size_t>& written, const Cut& cut) {
  std::map<std::string, int> names = moment.synced_names;
  for (size_t i = 0; i < moment.changes.size(); ++i) {
    if (cut.names[i]) Apply(moment.changes[i], &names);
  }
  SiteFiles files;
  for (const auto& [name, file] : names) {
    if (file < 0 || names.count(name.substr(0, name.rfind('/'))) == 0) continue;
    const DiskFile& found = moment.files[static_cast<size_t>(file)];
    const auto at = std::find(written.begin(), written.end(), static_cast<size_t>(file));
    files[name] = at == written.end() ? found.now : Left(found, cut.files[static_cast<size_t>(at - written.begin())]);
  }
  return files;
}

Survival AnyOf(std::mt19937* chance) {
  const auto kept = static_cast<Kept>((*chance)() % 5);
  return {kept, uint64_t{(*chance)()} << 32 | (*chance)()};
}

}  // namespace

void ForEachCut(const DiskState& moment, std::mt19937* chance, const std::function<void(const SiteFiles&)>& look) {
  std::vector<size_t> written;
  for (size_t i = 0; i < moment.files.size(); ++i) {
    if (!moment.files[i].writes.empty()) written.push_back(i);
  }
  const auto tries = [&](const Cut& cut) { look(FilesAfter(moment, written, cut)); };
  const auto all = [&](const Survival& survival, bool names) {
    return Cut{std::vector<Survival>(written.size(), survival), std::vector<bool>(moment.changes.size(), names)};
  };
  for (const bool names : {false, true}) {
    for (const Survival& choice : kChoices) tries(all(choice, names));
    for (const Survival& others : {kLost, kKept}) {
      for (size_t file = 0; file < written.size(); ++file) {
        for (const Survival& choice : kChoices) {
          Cut cut = all(others, names);
          cut.files[file] = choice;
          tries(cut);
        }
      }
      for (size_t change = 0; change < moment.changes.size(); ++change) {
        Cut cut = all(others, names);
        cut.names[change] = !names;
        tries(cut);
      }
    }
  }
  for (int i = 0; i < kByChance; ++i) {
    Cut cut = all(kLost, false);
    for (Survival& survival : cut.files) survival = AnyOf(chance);
    for (auto&& kept : cut.names) kept = (*chance)() % 2 != 0;
    tries(cut);
  }
}
