#include "kit/status_facts.h"

#include <algorithm>

#include "bbs/base_files.h"
#include "bbs/records.h"
#include "ftn/packet_reader.h"
#include "ftn/zip_reader.h"
#include "kit/capacity.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_period.h"
#include "kit/log_tail.h"
#include "kit/program_copy.h"
#include "kit/site_files.h"
#include "kit/unknown_areas.h"

namespace {

constexpr int64_t kLookBack = int64_t{16} << 20;  // bytes of the log
constexpr int64_t kSoonDays = 30;
constexpr int64_t kNearlyFull = 90;  // percent
constexpr size_t kStampSize = 19;

bool Has(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

// Where to begin to read, so that a toss and a scan that came to their ends are seen if the end of the log has them.
int64_t StartOfLastRuns(LogTail* log) {
  struct Mode {
    const char* start;
    const char* end;
    bool ended = false;
    bool seen = false;
  };
  Mode modes[] = {{" -toss run starting ", " -toss run complete: "}, {" -scan run starting ", " -scan run complete: "}};
  std::optional<int64_t> newest;
  int64_t from = 0;
  log->EachMarkBackwards([&](std::string_view line, int64_t at) {
    if (!newest) newest = at;
    from = at;
    for (Mode& mode : modes) {
      mode.ended = mode.ended || Has(line, mode.end) || (Has(line, "-scan completed") && Has(mode.start, "-scan"));
      mode.seen = mode.seen || (mode.ended && Has(line, mode.start));
    }
    return !(modes[0].seen && modes[1].seen) && *newest - at < kLookBack;
  });
  return from;
}

// Collects the last runs of a log.
class RunCollector {
 public:
  explicit RunCollector(LastRuns* last) : last_(last), runs_([this](const LoggedRun& run) { Keep(run); }) {}

  void Take(const LogRecord& record) {
    if (record.event == LogEvent::kFound) found_.emplace_back(record.value);
    runs_.Take(record);
  }

  void Finish() { runs_.Finish(); }

 private:
  void Keep(const LoggedRun& run) {
    if (run.mode == RunMode::kCheck || run.end == RunEnd::kRefused) return;
    const bool is_toss = run.mode == RunMode::kToss;
    (is_toss ? last_->toss : last_->scan) = run;
    if (is_toss && !run.waited) last_->toss_found = std::move(found_);
    if (is_toss) found_.clear();
  }

  LastRuns* last_;
  std::vector<std::string> found_;
  LogRuns runs_;
};

LastRuns ReadRuns(const std::string& path) {
  LastRuns last;
  LogTail log(path);
  RunCollector runs(&last);
  log.EachLine(StartOfLastRuns(&log), [&](std::string_view line) {
    if (line.size() < kStampSize + 3 || line[0] != '[') return;
    LogRecord record;
    record.stamp = line.substr(1, kStampSize);
    ReadLogText(line.substr(kStampSize + 3), &record);
    runs.Take(record);
  });
  runs.Finish();
  return last;
}

bool IsMail(const std::string& path) {
  uint8_t start[kPacketHeaderSize + kPacketWordSize];  // of the shortest packet
  OsFile file;
  if (OsOpen(path.c_str(), kOsRead, &file) != kOsOk) return false;
  const size_t size = OsReadAt(file, 0, start, sizeof start).bytes;
  return LooksLikePacket(start, size) || LooksLikeZip(start, size);
}

void ReadInbound(const TosserConfig& config, const LastRuns& runs, std::vector<InboundFile>* inbound) {
  if (config.HaveInbound == 0) return;
  for (const std::string& name : ListNames(config.Inbound)) {
    const std::string path = std::string(config.Inbound) + "/" + name;
    const FoundFile file = LookAtFile(path);
    if (!file.exists || !IsMail(path)) continue;
    const auto& seen = runs.toss_found;
    inbound->push_back({name, file.status.modified, std::find(seen.begin(), seen.end(), name) != seen.end()});
  }
}

void ReadBundles(const TosserConfig& config, StatusFacts* facts) {
  if (config.HaveOutDir == 0) return;
  for (const std::string& name : ListNames(config.OutDir)) {
    const std::string path = std::string(config.OutDir) + "/" + name;
    const FoundFile file = LookAtFile(path);
    const bool temporary = name.size() > 4 && name.compare(name.size() - 4, 4, ".tmp") == 0;
    if (!file.exists || temporary || !IsMail(path)) continue;
    const int64_t made = file.status.modified;
    facts->oldest_bundle = facts->bundles++ == 0 ? made : std::min(facts->oldest_bundle, made);
  }
}

void ReadNewAreas(const KitSite& site, std::vector<std::string>* areas) {
  const std::string since = DayOf(OsNow() - 7 * kDaySeconds);
  for (const UnknownArea& area : ReadUnknownAreas(site)) {
    if (area.first >= since) areas->push_back(area.tag);
  }
}

void ReadBase(const KitSite& site, StatusFacts* facts) {
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (!IsNetworked(entry)) continue;
    const MessageBaseFiles files = InspectMessageBase(site.Base(), entry.Number);
    BaseFault fault = JudgeBaseSizes(files);
    if (fault == kBaseSound) fault = JudgeMessageBase(files, ScanPtrFile(files.ptr, 0, files.found.dat_count));
    const bool empty = files.found.ptr_count == 0 && files.found.dat_count == 0;
    if (fault != kBaseSound && !(fault == kBaseNotOpened && empty)) facts->unsound.push_back(entry.Number);
    if (files.found.dat_count <= facts->fullest.records) continue;
    facts->fullest = {entry.Number, DecodedMail(entry.ConfName), files.found.dat_count, {}};
  }
  FullestConference& fullest = facts->fullest;
  if (fullest.conference != 0) fullest.full_on = FullOn(site, fullest.conference, fullest.records);
}

void JudgeRun(const char* name, const std::optional<LoggedRun>& run, StatusFacts* facts) {
  const auto add = [&](const char* code, const std::string& text) { AddAttention(code, text, &facts->attention); };
  if (!run) return;
  if (run->end == RunEnd::kNotEnded && facts->state.holder != LockHolder::kAtWork) {
    add("run-killed", fmt::format("the {} of {} did not end", name, run->started));
  } else if (run->end == RunEnd::kWithErrors || (run->end == RunEnd::kAborted && !run->waited)) {
    add("run-failed", fmt::format("the {} of {} ended with errors", name, run->started));
  }
}

void Judge(StatusFacts* facts) {
  const auto add = [&](const char* code, const std::string& text) { AddAttention(code, text, &facts->attention); };
  const int64_t now = OsNow();
  const LastRuns& runs = facts->runs;
  if (!runs.toss || now - SecondsOfStamp(runs.toss->last) > kDaySeconds) {
    add("no-toss", runs.toss ? "no toss since " + runs.toss->last : "the log has no toss");
  }
  JudgeRun("toss", runs.toss, facts);
  JudgeRun("scan", runs.scan, facts);
  const SiteState& state = facts->state;
  if (state.holder == LockHolder::kAbandoned) add("lock-abandoned", "the lock of a run that did not end is there");
  const WaitingFiles retained = CountInbound(facts->inbound, true);
  if (retained.count != 0 && state.holder != LockHolder::kAtWork) {
    add("inbound-retained", fmt::format("{} that the last toss left in INBOUND: {}, {}", Count(retained.count, "file"),
                                        ShownName(retained.first), SinceText(retained)));
  }
  if (facts->bundles != 0 && now - facts->oldest_bundle > kDaySeconds) {
    add("bundle-waiting", fmt::format("{} in OUTDIR, the oldest of {}: nobody fetches", Count(facts->bundles, "bundle"),
                                      DayOf(facts->oldest_bundle)));
  }
  if (!facts->new_areas.empty()) {
    add("areas-new", Count(facts->new_areas.size(), "new unknown area") + ": " + ShownName(facts->new_areas[0]));
  }
  if (!facts->unsound.empty() && !state.IsUnsettled()) {
    add("base-damaged", fmt::format("every run refuses the message base of conference {}", facts->unsound[0]));
  }
  const FullestConference& fullest = facts->fullest;
  const bool soon = !fullest.full_on.empty() && fullest.full_on <= DayOf(now + kSoonDays * kDaySeconds);
  if (fullest.conference != 0 && (soon || 100 * fullest.records >= kNearlyFull * kMostDatRecords)) {
    add("conference-full",
        fmt::format("conference {} is {}% full{}", fullest.conference, 100 * fullest.records / kMostDatRecords,
                    fullest.full_on.empty() ? "" : ", and will be full on " + fullest.full_on));
  }
}

}  // namespace

WaitingFiles CountInbound(const std::vector<InboundFile>& inbound, bool retained) {
  WaitingFiles waiting;
  for (const InboundFile& file : inbound) {
    if (file.retained != retained) continue;
    if (waiting.count++ == 0) waiting.first = file.name;
    waiting.since = waiting.count == 1 ? file.modified : std::min(waiting.since, file.modified);
  }
  return waiting;
}

std::string SinceText(const WaitingFiles& files) {
  constexpr size_t kToTheMinute = 16;
  return (files.count == 1 ? "since " : "the oldest since ") + StampOf(files.since).substr(0, kToTheMinute);
}

StatusFacts ReadStatus(const KitSite& site, const std::string& log) {
  StatusFacts facts;
  facts.state = LookAtSite(site.config);
  facts.runs = ReadRuns(log);
  ReadInbound(site.config, facts.runs, &facts.inbound);
  ReadBundles(site.config, &facts);
  ReadNewAreas(site, &facts.new_areas);
  ReadBase(site, &facts);
  if (!facts.state.IsUnsettled()) facts.state = LookAtSite(site.config);  // a run may have begun meanwhile
  Judge(&facts);
  AddOutdatedCopies(site.config_path, &facts.attention);
  return facts;
}
