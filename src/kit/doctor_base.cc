#include <algorithm>
#include <optional>
#include <unordered_set>

#include "bbs/records.h"
#include "kit/base_model.h"
#include "kit/doctor.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_reader.h"
#include "kit/log_tail.h"
#include "kit/shown_facts.h"
#include "kit/site_files.h"
#include "kit/site_state.h"
#include "kit/verify_site.h"

namespace {

// If this many messages from the network at the end of a conference have no SIG line, mail without MSGIDs is not the
// only reason.
constexpr size_t kManyUnsigned = 5;

void ExamineConferences(const ConferenceTable& table, Attentions* found) {
  const ConferenceEntry* const end = table.entries + table.count;
  const auto any = [&](auto is) { return std::any_of(table.entries, end, is); };
  if (!any([](const ConferenceEntry& entry) { return entry.NetMailConf; })) {
    AddAttention("no-netmail", "no conference takes netmail: inbound netmail is dropped", found);
  }
  if (!any([](const ConferenceEntry& entry) { return entry.Routed && std::string_view(entry.NetIDName) == "*"; })) {
    AddAttention("no-catch-all", "no conference is the catch-all: mail of areas that are not set up is dropped", found);
  }
}

void ExamineSigFile(const ConferenceEntry& entry, const BaseModel& model, Attentions* found) {
  const std::string file = ShownName(model.sig.Path());
  const int32_t highest = model.Highest();
  std::unordered_set<int32_t> named;
  size_t beyond = 0;
  for (const SigLine& line : model.lines) {
    if (!line.has_tab) continue;
    named.insert(line.number);
    if (line.number > highest) ++beyond;
  }
  if (beyond != 0) {
    AddAttention("sig-ahead",
                 fmt::format("{} of {} {} messages beyond the last one, #{}", Count(beyond, "line"), file,
                             beyond == 1 ? "names" : "name", highest),
                 found);
  }
  size_t unsigned_tail = 0;
  for (auto header = model.headers.rbegin(); header != model.headers.rend(); ++header) {
    if (!header->inbound || header->deleted) continue;
    if (named.contains(header->number)) break;
    ++unsigned_tail;
  }
  if (unsigned_tail < kManyUnsigned) return;
  AddAttention("sig-behind",
               fmt::format("the last {} from the network in conference {} have no line in {}",
                           Count(unsigned_tail, "message"), entry.Number, file),
               found);
}

// Returns the start of the last complete scan, "2026-11-22T03:10"; nothing when the log has none.
std::optional<std::string> LastScan(const std::string& path) {
  if (IsLogBlocked(path)) return {};
  std::optional<std::string> started;
  bool ended = false;
  LogTail(path).EachMarkBackwards([&](std::string_view line, int64_t) {
    ended = ended || line.find(" -scan run complete: ") != std::string_view::npos ||
            line.find(" -scan completed with ") != std::string_view::npos;
    if (!ended || line.find(" -scan run starting ") == std::string_view::npos) return true;
    constexpr size_t kToTheMinute = 16;
    started = line.substr(1, kToTheMinute);
    (*started)[10] = 'T';
    return false;
  });
  return started;
}

std::string AYearAgo() {
  OsCalendar now;
  if (OsLocalTime(OsNow(), &now) != 0) return {};
  return fmt::format("{:04}-{:02}-{:02}T", now.year - 1, now.month + 1, now.day);
}

// Counts the old messages that the next scan would send.
size_t CountOldUnsent(const KitSite& site, int32_t conference, const std::string& before) {
  BasePath path;
  ByteBuffer content;
  if (FormatBasePath(site.Base(), conference, "PTR", &path) != 0 || !ReadSiteFile(path.text, &content)) return 0;
  size_t count = 0;
  for (size_t at = 0; content.size - at >= kPtrRecordSize; at += kPtrRecordSize) {
    const PtrRecord record = UnpackPtrRecord(content.data + at);
    if (record.MsgSent || record.Deleted) continue;
    const std::string date = IsoDate(record.MsgDate);
    constexpr size_t kIsoSize = 16;
    if (date.size() == kIsoSize && date[10] == 'T' && date < before) ++count;
  }
  return count;
}

void ExamineVerification(const KitSite& site, Attentions* found) {
  size_t damages = 0;
  for (const Finding& finding : VerifySite(site).findings) {
    if (finding.code == "serial-behind" || finding.code == "serial-damaged") {
      AddAttention(finding.code, finding.text, found);
    } else if (finding.severity == Severity::kDamage) {
      ++damages;
    }
  }
  if (damages == 0) return;
  AddAttention("base-damaged", "the message base is damaged: cvkit verify has " + Count(damages, "finding"), found);
}

// Returns a conference as it stands at one moment. If its files change whenever they are read, `steady` is false.
BaseModel ReadSteadyModel(const KitSite& site, int32_t conference) {
  constexpr int kReadings = 5;
  constexpr int kPauseBetween = 100;  // milliseconds
  BaseModel model = ReadBaseModel(site.config.MsgDir, conference);
  for (int i = 1; i < kReadings && !model.steady; ++i) {
    OsSleep(kPauseBetween);
    model = ReadBaseModel(site.config.MsgDir, conference);
  }
  return model;
}

}  // namespace

void ExamineBase(const KitSite& site, const DoctorQuestion& question, Examination* examination) {
  Attentions* const found = &examination->attention;
  ExamineConferences(site.conferences, found);
  const SiteState before = LookAtSite(site.config);
  Attentions of_sig_files;
  bool changing = false;
  const std::string since = std::max(LastScan(question.log).value_or(""), AYearAgo());
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (!IsNetworked(entry)) continue;
    const BaseModel model = ReadSteadyModel(site, entry.Number);
    changing = changing || !model.steady;
    if (model.steady) ExamineSigFile(entry, model, &of_sig_files);
    const size_t old = CountOldUnsent(site, entry.Number, since);
    if (old == 0) continue;
    AddAttention("unsent-old",
                 fmt::format("{} of conference {} {} unsent, from before {}", Count(old, "message"), entry.Number,
                             old == 1 ? "is" : "are", since.substr(0, 10)),
                 found);
  }
  ExamineVerification(site, found);
  const SiteState state = before.IsUnsettled() ? before : LookAtSite(site.config);
  examination->unsettled = state.Unsettled();
  if (examination->unsettled.empty() && changing) examination->unsettled = "files change while they are read";
  // A run writes a message and its SIG line one after the other.
  if (state.holder != LockHolder::kAtWork) found->insert(found->end(), of_sig_files.begin(), of_sig_files.end());
}
