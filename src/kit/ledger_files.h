// The inbound files that there are and were, and the tosses of each.
#pragma once

#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/ledger.h"
#include "kit/toss_history.h"

// One arrival of a file. Later arrivals of the same name have items of their own.
struct LedgerItem {
  LedgerFile file;
  int64_t size = 0;                       // bytes; 0 when it is gone
  std::vector<const LoggedToss*> tosses;  // in their order
  std::string other;                      // of one that is gone: where a file of its name lies, which may be the same
};

// What lies in INBOUND and among the processed files.
class InboundFiles {
 public:
  explicit InboundFiles(const TosserConfig& config);

  // All arrivals in the order of their times.
  std::vector<LedgerItem> Items(const TossHistory& history) const;

  // Where a processed file of the name would lie.
  std::string ProcessedPath(const std::string& name) const { return processed_ + "/" + name; }

 private:
  struct Found {
    std::string name;
    std::string path;
    int64_t size = 0;
    std::string modified;  // as a stamp
  };
  using ByName = std::map<std::string, Found>;  // by the name as a log shows it

  static ByName List(const std::string& directory);
  static LedgerItem ItemOf(const std::string& shown, const Found* found, std::vector<const LoggedToss*> tosses);

  std::string processed_;
  ByName in_inbound_;
  ByName in_processed_;
};
