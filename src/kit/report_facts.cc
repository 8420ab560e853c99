#include "kit/report_facts.h"

#include <algorithm>
#include <deque>
#include <map>

#include "bbs/base_files.h"
#include "bbs/records.h"
#include "kit/capacity.h"
#include "kit/doctor.h"
#include "kit/explained_run.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/log_period.h"
#include "kit/log_reader.h"
#include "kit/shown_facts.h"
#include "platform/os.h"

namespace {

std::string ShownAddress(const FtnAddress& address) {
  return AddressOf(static_cast<unsigned>(address.Zone), static_cast<unsigned>(address.Net),
                   static_cast<unsigned>(address.Node), static_cast<unsigned>(address.Point));
}

struct LoggedMail {
  std::map<std::string, MailCounts, std::less<>> days;
  std::map<int64_t, MailCounts> conferences;
  std::deque<LoggedRun> runs;

  void Take(const LogRecord& record);
};

void LoggedMail::Take(const LogRecord& record) {
  const auto day = days.find(record.stamp.substr(0, 10));
  if (day == days.end()) return;
  MailCounts& mail = day->second;
  switch (record.event) {
    case LogEvent::kStored:
      ++mail.in;
      ++conferences[record.numbers[0]].in;
      break;
    case LogEvent::kDuplicate:
      ++mail.duplicates;
      ++conferences[record.numbers[1]].duplicates;
      break;
    case LogEvent::kNoArea:
    case LogEvent::kNoNetmail: ++mail.dropped; break;
    case LogEvent::kPacketFault: ++mail.damaged; break;
    case LogEvent::kQueued: ++conferences[record.numbers[0]].out; break;
    case LogEvent::kPublished: mail.out += record.numbers[0]; break;
    default: break;
  }
}

LoggedMail ReadMail(const std::string& log) {
  LoggedMail mail;
  for (int day = 0; day < kReportDays; ++day) mail.days[StampPrefix(std::to_string(day) + "d")] = {};
  LogRuns runs([&mail](const LoggedRun& run) {
    if (run.mode == RunMode::kCheck || run.end == RunEnd::kRefused) return;
    mail.runs.push_front(run);
    if (mail.runs.size() > kReportRuns) mail.runs.pop_back();
  });
  ReadLog(FindLogParts(log), [&](const LogRecord& record) {
    runs.Take(record);
    mail.Take(record);
    return true;
  });
  runs.Finish();
  return mail;
}

std::vector<ReportConference> ReadConferences(const KitSite& site, std::map<int64_t, MailCounts>* mail) {
  std::vector<ReportConference> all;
  for (size_t i = 0; i < site.conferences.count; ++i) {
    const ConferenceEntry& entry = site.conferences.entries[i];
    if (!IsNetworked(entry)) continue;
    const PreflightResult found = InspectMessageBase(site.Base(), entry.Number).found;
    ReportConference conference;
    conference.number = entry.Number;
    conference.name = DecodedMail(entry.ConfName);
    conference.tag = DecodedMail(entry.NetIDName);
    conference.messages = found.ptr_count;
    conference.records = found.dat_count;
    conference.bytes = int64_t{found.ptr_count} * int64_t{kPtrRecordSize} +
                       int64_t{found.idx_count} * int64_t{kIdxRecordSize} +
                       int64_t{found.dat_count} * int64_t{kDatRecordSize};
    conference.full_on = FullOn(site, entry.Number, conference.records);
    conference.mail = (*mail)[entry.Number];
    all.push_back(std::move(conference));
  }
  return all;
}

// What the last run of a mode logged that asks for something.
void AddLoggedLines(const std::string& log, const std::string& mode, Attentions* all) {
  for (const ExplainedLine& line : ExplainLastRun(log, "-" + mode).lines) {
    if (line.entry->asks) all->push_back({"log-line", "the last " + mode + ": " + TextOf(line), line.entry->remedy});
  }
}

void AddOthers(const Attentions& more, Attentions* all) {
  for (const Attention& one : more) {
    const bool known = std::any_of(all->begin(), all->end(), [&one](const Attention& other) {
      return other.code == one.code && other.text == one.text;
    });
    if (!known) all->push_back(one);
  }
}

}  // namespace

void MailCounts::Add(const MailCounts& other) {
  in += other.in;
  out += other.out;
  duplicates += other.duplicates;
  dropped += other.dropped;
  damaged += other.damaged;
}

ReportFacts ReadReport(const KitSite& site, const std::string& log,
                       const std::function<void(size_t done, size_t all)>& progress) {
  ReportFacts facts;
  facts.made = StampOf(OsNow());
  facts.system = ShownMail(site.config.SystemName);
  if (site.config.HaveAddress != 0) facts.address = ShownAddress(site.config.OurAddress);
  if (site.config.HaveHub != 0) facts.hub = ShownAddress(site.config.HubAddress);
  facts.has_log = !FindLogParts(log).empty();
  LedgerQuestion question;
  question.log = log;
  question.since = StampPrefix(std::to_string(kReportDays - 1) + "d");
  LedgerReader reader;
  reader.file = [](const LedgerFile&) {};
  reader.message = [](const LedgerFile&, const LedgerMessage&) {};
  reader.progress = progress;
  facts.ledger = MakeLedger(site, question, reader);
  LoggedMail mail = ReadMail(log);
  for (const auto& [date, counts] : mail.days) {
    facts.days.push_back({date, counts});
    facts.sum.Add(counts);
  }
  facts.runs.assign(mail.runs.begin(), mail.runs.end());
  facts.conferences = ReadConferences(site, &mail.conferences);
  facts.unknown_areas = ReadUnknownAreas(site);
  facts.status = ReadStatus(site, log);
  facts.unsettled = facts.status.state.Unsettled();
  if (facts.unsettled.empty()) facts.unsettled = facts.ledger.unsettled;
  facts.attention = facts.status.attention;
  if (const size_t lost = facts.ledger.Of(Fate::kUnaccounted); lost != 0) {
    AddAttention("mail-unaccounted", "nothing says what became of " + Count(lost, "message"), &facts.attention);
  }
  AddLoggedLines(log, "toss", &facts.attention);
  AddLoggedLines(log, "scan", &facts.attention);
  AddOthers(ExamineSite({site.config_path, log, {}}).attention, &facts.attention);
  return facts;
}
