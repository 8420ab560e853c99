#include "kit/rehearsal_copy.h"

#include <algorithm>
#include <cstring>

#include "bbs/node_status.h"
#include "bbs/records.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/output_file.h"
#include "kit/program_copy.h"
#include "kit/progress.h"
#include "kit/site_files.h"
#include "platform/os_companion.h"
#include "toss/inbound_listing.h"
#include "toss/inbound_message.h"

namespace {

constexpr const char* kDirectives[] = {"INBOUND", "CONFDIR", "WORKDIR", "MSGDIR", "OUTDIR", "PROCESSEDDIR"};
constexpr int64_t kSpareRoom = int64_t{16} << 20;  // bytes for the log and what else a run writes
constexpr int64_t kInflation = 8;                  // assumed ratio of the size of mail to that of its bundles
constexpr int kCopyLooks = 3;
constexpr size_t kCopyPiece = size_t{1} << 20;

struct CopyItem {
  std::string from;
  std::string to;
  int64_t size = 0;
  int32_t conference = 0;   // whose message base it belongs to
  bool unreadable = false;  // a run cannot read it
};

struct CopyPlan {
  std::vector<CopyItem> items;
  int64_t written = 0;  // bytes that the run may write

  int64_t Size() const {
    int64_t size = 0;
    for (const CopyItem& item : items) size += item.unreadable ? 0 : item.size;
    return size;
  }
};

bool IsCopiedDirectory(const std::string& path) {
  OsStatus status;
  return OsStat((path + "/.").c_str(), &status) == kOsOk && status.kind == kOsDirectory;
}

void Make(const std::string& path) {
  const OsResult made = OsMakeDirectory(path.c_str());
  if (made != kOsOk && made != kOsExists) throw NotAnswered(ShownName(path) + " cannot be made");
}

void WriteFile(const std::string& path, const std::string& content) {
  OsFile file;
  (void)OsRemove(path.c_str());
  if (OsOpen(path.c_str(), kOsCreateNew, &file) != kOsOk || OsWrite(file, content.data(), content.size()) != 0 ||
      OsClose(&file) != 0) {
    throw NotAnswered(ShownName(path) + " cannot be written");
  }
}

// Chooses the place of each directory in the copy. A directory that is the same as an earlier one has the same place,
// spelled differently.
void PlaceDirectories(const TosserConfig& config, const std::string& mark, SiteCopy* copy) {
  const char* const sites[] = {config.Inbound, config.ConfDir, config.WorkDir,
                               config.MsgDir,  config.OutDir,  config.ProcessedDir};
  for (size_t i = 0; i < copy->directories.size(); ++i) {
    CopiedDirectory& directory = copy->directories[i];
    directory.site = sites[i];
    if (directory.site.empty()) continue;
    directory.place = mark + "-" + kDirectives[i];
    for (size_t j = 0; j < i; ++j) {
      const CopiedDirectory& earlier = copy->directories[j];
      if (earlier.site.empty()) continue;
      if (earlier.site != directory.site &&
          (!IsCopiedDirectory(directory.site) ||
           OsSameFile((directory.site + "/.").c_str(), (earlier.site + "/.").c_str()) != kOsSame))
        continue;
      directory.place = earlier.place;
      for (size_t k = 0; k < i; ++k) directory.place.insert(0, "./");  // a different spelling for each
      break;
    }
    if (IsCopiedDirectory(directory.site)) {
      Make(copy->root + "/" + directory.place);
    } else if (i == kDoneDirectory && !IsCopiedDirectory(directory.site + "/..") &&
               !IsCopiedDirectory(DirectoryPart(directory.site) + ".")) {
      directory.place = mark + "-NOWHERE/" + directory.place;  // a run cannot create it either
    }
  }
}

std::string ConfigurationOf(const TosserConfig& config, const SiteCopy& copy) {
  std::string text;
  for (size_t i = 0; i < copy.directories.size(); ++i) {
    if (!copy.directories[i].site.empty()) text += fmt::format("{} {}\n", kDirectives[i], copy.directories[i].place);
  }
  const auto add_address = [&text](const char* directive, const FtnAddress& address) {
    text += fmt::format("{} {}:{}/{}.{}\n", directive, address.Zone, address.Net, address.Node, address.Point);
  };
  if (config.HaveAddress != 0) add_address("ADDRESS", config.OurAddress);
  if (config.HaveHub != 0) add_address("HUB", config.HubAddress);
  if (config.HaveSystem != 0) text += fmt::format("SYSTEM {}\n", config.SystemName);
  if (config.PacketPassword[0] != '\0') text += fmt::format("PKTPW {}\n", config.PacketPassword);
  return text + (config.KeepProcessed != 0 ? "KEEPPROCESSED yes\n" : "KEEPPROCESSED no\n");
}

// A file to copy, or the directory that is there instead.
void PlanFile(const SiteCopy& copy, SiteDirectory directory, const std::string& name, int32_t conference,
              CopyPlan* plan) {
  const std::string from = copy.SitePath(directory, name);
  const std::string to = copy.Path(directory) + "/" + name;
  OsStatus status;
  if (OsStat(from.c_str(), &status) != kOsOk) return;
  if (status.kind == kOsDirectory) Make(to);
  if (status.kind == kOsRegularFile) plan->items.push_back({from, to, status.size, conference});
}

void PlanBase(const KitSite& site, RehearsedRun mode, const SiteCopy& copy, CopyPlan* plan) {
  PlanFile(copy, kMsgDirectory, "CVOUTBOUND.SEQ", 0, plan);
  PlanFile(copy, kMsgDirectory, "BADAREAS.LST", 0, plan);
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (!IsNetworked(entry)) continue;
    for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
      PlanFile(copy, kMsgDirectory, fmt::format("CVMSG{:02}.{}", entry.Number, kind), entry.Number, plan);
    }
    if (mode == RehearsedRun::kScan) {
      const std::string ptr = copy.SitePath(kMsgDirectory, fmt::format("CVMSG{:02}.PTR", entry.Number));
      plan->written += 2 * ReadUnsent(ptr).text_size;
    }
  }
}

// The entries of the processed directory that a move would find: files, which it replaces, and directories.
void PlanProcessed(const SiteCopy& copy, const std::string& name) {
  const bool given = !copy.directories[kDoneDirectory].site.empty();
  const std::string from =
      given ? copy.SitePath(kDoneDirectory, name) : copy.SitePath(kInboundDirectory, "processed/" + name);
  const std::string to = given ? copy.Path(kDoneDirectory) : copy.Path(kInboundDirectory) + "/processed";
  OsStatus status;
  if (OsStat(from.c_str(), &status) != kOsOk || OsStat(to.c_str(), &status) != kOsOk) return;
  const std::string target = to + "/" + name;
  if (OsStat(target.c_str(), &status) == kOsOk) return;  // it is INBOUND itself
  if (IsCopiedDirectory(from)) {
    Make(target);
  } else {
    WriteFile(target, "");
  }
}

bool CanBeRead(const std::string& path) {
  OsFile file;
  return OsOpen(path.c_str(), kOsRead, &file) == kOsOk;
}

void PlanInbound(const std::string& mark, SiteCopy* copy, CopyPlan* plan) {
  InboundListing listing;
  if (!IsCopiedDirectory(copy->directories[kInboundDirectory].site) ||
      ListInbound(copy->directories[kInboundDirectory].site.c_str(), &listing) == kListNotOpened) {
    return;
  }
  for (size_t i = 0; i < listing.count; ++i) {
    const std::string name = listing.Name(i);
    const size_t before = plan->items.size();
    if (name == "." || name == "..") continue;
    PlanFile(*copy, kInboundDirectory, name, 0, plan);
    if (plan->items.size() == before) continue;
    CopyItem& item = plan->items.back();
    item.unreadable = item.size > kLargestSource || !CanBeRead(item.from);
    if (!item.unreadable) plan->written += kInflation * item.size;
    copy->inbound.push_back(name);
  }
  for (const std::string& name : copy->inbound) PlanProcessed(*copy, name);
  // A run ignores and counts files whose names no path can hold. Empty files replace them here, and are counted too.
  for (int i = 0; i < listing.unaddressable; ++i) {
    WriteFile(fmt::format("{}/{}-{}", copy->Path(kInboundDirectory), mark, i), "");
  }
}

void RequireRoom(const CopyPlan& plan, const std::string& root) {
  const int64_t needed = plan.Size() + plan.written + kSpareRoom;
  const int64_t room = OsRoom(root.c_str());
  if (room < needed) {
    throw NotAnswered(fmt::format("the copy needs {} MB in {}, where there are {}: set TMPDIR to a directory with more",
                                  (needed >> 20) + 1, ShownName(TemporaryDirectoryPath()),
                                  std::max<int64_t>(room, 0) >> 20));
  }
}

void CopyFile(const CopyItem& item, Progress* progress) {
  OsFile from;
  OsFile to;
  (void)OsRemove(item.to.c_str());
  if (OsOpen(item.to.c_str(), kOsCreateNew, &to) != kOsOk) throw NotAnswered(ShownName(item.to) + " cannot be made");
  if (item.unreadable) {
    if (OsSetSize(to, kLargestSource + 1) != 0) throw NotAnswered(ShownName(item.to) + " cannot be written");
    return;
  }
  const auto unread = [&item] { return NotAnswered("could not read " + ShownName(item.from)); };
  if (OsOpen(item.from.c_str(), kOsRead, &from) != kOsOk) throw unread();
  std::vector<char> piece(kCopyPiece);
  for (int64_t at = 0;;) {
    const OsReadResult got = OsReadAt(from, at, piece.data(), piece.size());
    if (got.failed) throw unread();
    if (OsWrite(to, piece.data(), got.bytes) != 0) throw NotAnswered(ShownName(item.to) + " cannot be written");
    progress->Add(got.bytes);
    at += static_cast<int64_t>(got.bytes);
    if (got.bytes < piece.size()) break;
  }
  if (OsClose(&to) != 0) throw NotAnswered(ShownName(item.to) + " cannot be written");
}

// The files of one conference belong together: if one changes meanwhile, all of them are copied again.
void CopyConference(const KitSite& site, const CopyItem* first, const CopyItem* last, Progress* progress,
                    SiteCopy* copy) {
  const int32_t conference = first->conference;
  for (int look = 1;; ++look) {
    const std::string before = FileTimes(site, conference);
    for (const CopyItem* item = first; item != last; ++item) CopyFile(*item, progress);
    if (FileTimes(site, conference) == before) return;
    if (look == kCopyLooks) {
      copy->unsettled.push_back(fmt::format("conference {} changes", conference));
      return;
    }
  }
}

void CopyAll(const KitSite& site, const CopyPlan& plan, SiteCopy* copy) {
  Progress progress("copying", static_cast<uint64_t>(plan.Size()));
  const CopyItem* const end = plan.items.data() + plan.items.size();
  for (const CopyItem* item = plan.items.data(); item != end;) {
    const CopyItem* const last =
        std::find_if(item, end, [item](const CopyItem& other) { return other.conference != item->conference; });
    if (item->conference != 0) {
      CopyConference(site, item, last, &progress, copy);
    } else {
      for (const CopyItem* one = item; one != last; ++one) CopyFile(*one, &progress);
    }
    item = last;
  }
}

// Writes a node status with as many nodes as the BBS has, each with the user 0xFFFF, which is nobody. A file that a run
// could not use is copied unchanged, and a missing one stays missing.
void MakeNodes(const TosserConfig& config, const SiteCopy& copy) {
  NodeStatus nodes;
  const NodeState state = ReadNodeStatus(config.WorkDir, &nodes);
  const std::string path = copy.Path(kWorkDirectory) + "/CVWHOSON.DAT";
  ByteBuffer content;
  if (!ReadSiteFile(copy.SitePath(kWorkDirectory, "CVWHOSON.DAT"), &content)) return;
  if (state == kNodeBusy) memset(content.data, 0xFF, content.size);
  WriteFile(path, std::string(reinterpret_cast<const char*>(content.data), content.size));
}

}  // namespace

std::string SiteCopy::Path(SiteDirectory directory) const {
  const std::string& place = directories[directory].place;
  return place.empty() ? place : root + "/" + place;
}

std::string SiteCopy::SitePath(SiteDirectory directory, const std::string& name) const {
  return directories[directory].site + "/" + name;
}

// The configuration's slashes are printed as backslashes. One place may contain another: the longest are replaced
// first.
std::string SiteCopy::TellLine(std::string line) const {
  std::vector<const CopiedDirectory*> longest;
  for (const CopiedDirectory& directory : directories) {
    if (!directory.place.empty()) longest.push_back(&directory);
  }
  std::sort(longest.begin(), longest.end(),
            [](const auto* left, const auto* right) { return left->place.size() > right->place.size(); });
  for (const CopiedDirectory* directory : longest) {
    std::string place = directory->place;
    std::replace(place.begin(), place.end(), '/', '\\');
    for (size_t at = 0; (at = line.find(place, at)) != std::string::npos; at += directory->site.size()) {
      line.replace(at, place.size(), directory->site);
    }
  }
  return line;
}

UnsentHeaders ReadUnsent(const std::string& ptr_path) {
  UnsentHeaders found;
  OsFile file;
  if (OsOpen(ptr_path.c_str(), kOsRead, &file) != kOsOk) return found;
  std::vector<uint8_t> piece(256 * kPtrRecordSize);
  for (;;) {
    const int64_t at = found.headers * static_cast<int64_t>(kPtrRecordSize);
    const OsReadResult got = OsReadAt(file, at, piece.data(), piece.size());
    for (size_t i = 0; i + kPtrRecordSize <= got.bytes; i += kPtrRecordSize, ++found.headers) {
      const PtrRecord record = UnpackPtrRecord(piece.data() + i);
      if (record.MsgSent || record.Deleted) continue;
      found.unsent.push_back(found.headers);
      found.text_size += record.Records * int64_t{kDatRecordSize};
    }
    if (got.failed || got.bytes < piece.size()) return found;
  }
}

SiteCopy CopySite(const KitSite& site, RehearsedRun mode, const std::string& program, const RehearsalPlace& place) {
  RequireOutside(site, place.Path() + "/.");
  SiteCopy copy;
  copy.root = place.Path();
  PlaceDirectories(site.config, place.Mark(), &copy);
  CopyPlan plan;
  PlanFile(copy, kConfDirectory, "CVMCONF.DAT", 0, &plan);
  PlanBase(site, mode, copy, &plan);
  if (mode == RehearsedRun::kToss) PlanInbound(place.Mark(), &copy, &plan);
  copy.program = copy.root + "/" + program.substr(DirectoryPart(program).size());
  plan.items.push_back({program, copy.program, LookAtFile(program).status.size});
  RequireRoom(plan, copy.root);
  CopyAll(site, plan, &copy);
  if (OsMakeExecutable(copy.program.c_str()) != 0) throw NotAnswered(ShownName(copy.program) + " cannot be started");
  MakeNodes(site.config, copy);
  WriteFile(copy.root + "/CVTOSS32.CFG", ConfigurationOf(site.config, copy));
  return copy;
}
