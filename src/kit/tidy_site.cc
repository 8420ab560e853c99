#include "kit/tidy_site.h"

#include <algorithm>
#include <set>

#include "kit/accounted_mail.h"
#include "kit/kit_answer.h"
#include "kit/kit_format.h"
#include "kit/kit_output.h"
#include "kit/ledger.h"
#include "kit/leftovers.h"
#include "kit/log_period.h"
#include "kit/log_reader.h"
#include "kit/progress.h"
#include "kit/site_files.h"
#include "platform/os.h"

namespace {

std::string WhyKept(Account account, bool bad) {
  switch (account) {
    case Account::kAccounted: return {};
    case Account::kUnaccounted: return "holds mail that the message base does not know";
    case Account::kDamaged: return bad ? "" : "is damaged: cvkit packet shows where";
    case Account::kNoMail: return "is no mail";
    case Account::kUnreadable: break;
  }
  return "cannot be read";
}

// A directory of the site's own files must never be mistaken for that of the processed ones.
void RequireOwnDirectory(const TosserConfig& config, const std::string& processed) {
  for (const char* own : {config.Inbound, config.ConfDir, config.WorkDir, config.MsgDir, config.OutDir}) {
    if (*own != '\0' && OsSameFile((processed + "/.").c_str(), (std::string(own) + "/.").c_str()) == kOsSame) {
      throw NotAnswered("PROCESSEDDIR is a directory of other files too, " + ShownName(own) + ": nothing is tidied");
    }
  }
}

bool IsSavedPacket(const std::string& name) {
  return name.rfind("BAD_", 0) == 0 && name.size() > 8 && name.compare(name.size() - 4, 4, ".PKT") == 0;
}

void AddOldFile(const char* kind, const std::string& path, int64_t cut, std::vector<TidyItem>* items) {
  const FoundFile file = LookAtFile(path);
  if (file.exists && file.status.modified <= cut)
    items->push_back({kind, path, file.status.size, file.status.modified, {}});
}

bool IsToBeRotated(const TidyQuestion& question) {
  const FoundFile log = LookAtFile(question.log);
  if (!log.exists || log.status.size == 0) return false;
  if (log.status.size >= question.log_size) return true;
  if (question.log_age == INT64_MAX) return false;
  const std::string first = FirstStamp(question.log);
  return !first.empty() && first <= StampOf(OsNow() - question.log_age);
}

// Keeps each file with a message that the ledger does not account for, even if the base has that message.
void KeepUnaccounted(const KitSite& site, const std::string& log, Tidying* tidying) {
  Progress progress("accounting");
  std::set<std::string> unaccounted;  // paths
  LedgerQuestion question;
  question.log = log;
  LedgerReader reader;
  reader.file = [](const LedgerFile&) {};
  reader.message = [&unaccounted](const LedgerFile& file, const LedgerMessage& message) {
    if (message.fate == Fate::kUnaccounted) unaccounted.insert(file.path);
  };
  reader.progress = [&progress](size_t done, size_t all) { progress.Reached(done, all); };
  tidying->unsettled = MakeLedger(site, question, reader).unsettled;
  for (TidyItem& item : tidying->items) {
    if (item.kept.empty() && unaccounted.count(item.path) != 0) {
      item.kept = "holds mail that the ledger does not account for";
    }
  }
}

// The time of the oldest inbound file that is not one of those skipped, as the log would write it; empty when there is
// none.
std::string OldestThatStays(const TosserConfig& config, const std::string& processed, const std::string& bad,
                            const std::set<std::string>& passed) {
  int64_t oldest = INT64_MAX;
  for (const std::string& directory : {processed, bad, std::string(config.Inbound)}) {
    if (directory.empty()) continue;
    for (const std::string& name : ListNames(directory)) {
      std::string path = directory;
      path.append("/").append(name);
      const FoundFile file = LookAtFile(path);
      if (file.exists && passed.count(path) == 0) oldest = std::min(oldest, file.status.modified);
    }
  }
  return oldest == INT64_MAX ? "" : StampOf(oldest);
}

// The time of the last line of a part of the log; empty when it has none.
std::string LastStampIn(const std::string& part) {
  std::string last;
  ReadLog({part}, [&last](const LogRecord& record) {
    last = record.stamp;
    return true;
  });
  return last;
}

// Adds the old parts of the log. Only its lines show what became of a file, so a part is removed only when all mail
// from its time is gone.
void AddLogParts(const std::string& log, const std::string& oldest_mail, int64_t cut, std::vector<TidyItem>* items) {
  for (const std::string& part : FindLogParts(log)) {
    const size_t count = items->size();
    if (part != log) AddOldFile("log", part, cut, items);
    if (items->size() != count && !oldest_mail.empty() && LastStampIn(part) >= oldest_mail) {
      items->back().kept = "tells what became of files that stay";
    }
  }
}

// "TOSSER.LOG.20261122", or the first number that is free.
std::string RotatedName(const std::string& log) {
  std::string date = StampOf(OsNow()).substr(0, 10);
  date.erase(std::remove(date.begin(), date.end(), '-'), date.end());
  std::string name = log + "." + date;
  OsStatus status;
  for (int n = 1; OsStat(name.c_str(), &status) != kOsMissing; ++n) name = fmt::format("{}.{}", log, n);
  return name;
}

}  // namespace

Tidying PlanTidying(const KitSite& site, const TidyQuestion& question) {
  Tidying tidying;
  const int64_t cut = OsNow() - question.older;
  const std::string processed = ProcessedDirectory(site.config);
  if (!processed.empty()) {
    RequireOwnDirectory(site.config, processed);
    for (const std::string& name : ListNames(processed)) {
      AddOldFile("processed", processed + "/" + name, cut, &tidying.items);
    }
  }
  const std::string bad = std::string(site.config.Inbound) + "/badmsgs";
  if (site.config.HaveInbound != 0) {
    for (const std::string& name : ListNames(bad)) {
      if (IsSavedPacket(name)) AddOldFile("bad", bad + "/" + name, cut, &tidying.items);
    }
  }
  AccountedMail accounts(site);
  Progress progress("judging", tidying.items.size());
  std::set<std::string> passed;  // files that are removed, or that are no mail
  for (TidyItem& item : tidying.items) {
    const Account account = accounts.Judge(item.path);
    item.kept = WhyKept(account, item.kind == "bad");
    if (account == Account::kNoMail) passed.insert(item.path);
    progress.Add(1);
  }
  progress.Clear();
  if (!tidying.items.empty()) KeepUnaccounted(site, question.log, &tidying);
  for (const TidyItem& item : tidying.items) {
    if (item.kept.empty()) passed.insert(item.path);
  }
  const std::string oldest = OldestThatStays(site.config, processed, site.config.HaveInbound != 0 ? bad : "", passed);
  AddLogParts(question.log, oldest, cut, &tidying.items);
  if (IsToBeRotated(question)) tidying.rotate_to = RotatedName(question.log);
  return tidying;
}

std::vector<std::string> DoTidying(const Tidying& tidying, const std::string& log, const std::function<void()>& keep) {
  std::vector<std::string> failed;
  for (const TidyItem& item : tidying.items) {
    if (!item.kept.empty()) continue;
    keep();
    if (OsRemove(item.path.c_str()) == kOsFailed) failed.push_back(ShownName(item.path) + " could not be removed");
  }
  if (tidying.rotate_to.empty()) return failed;
  keep();
  if (OsRename(log.c_str(), tidying.rotate_to.c_str()) != kOsOk) {
    failed.push_back(ShownName(log) + " could not be moved to " + ShownName(tidying.rotate_to));
  }
  return failed;
}
