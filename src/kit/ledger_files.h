// The files that are inbound or were once, and the tosses of each.
#pragma once

#include <string>
#include <vector>

#include "kit/kit_site.h"
#include "kit/ledger.h"
#include "kit/toss_history.h"

// One arrival of a file. A later arrival under the same name is another item.
struct LedgerItem {
  LedgerFile file;
  int64_t size = 0;                       // bytes; 0 when it is gone
  std::vector<const LoggedToss*> tosses;  // in order of time
  std::string other;                      // if it is gone: the path of a file of that name, which may be the same file
};

// The files in INBOUND and the processed files.
class InboundFiles {
 public:
  explicit InboundFiles(const TosserConfig& config);

  // Returns all arrivals in order of time.
  std::vector<LedgerItem> Items(const TossHistory& history) const;

  // Returns the path that a processed file of that name would have.
  std::string ProcessedPath(const std::string& name) const { return processed_ + "/" + name; }

 private:
  struct Found {
    std::string name;
    std::string path;
    int64_t size = 0;
    std::string modified;  // as a stamp
  };
  using ByName = std::map<std::string, Found>;  // by the name as the log shows it

  static ByName List(const std::string& directory);
  static LedgerItem ItemOf(const std::string& shown, const Found* found, std::vector<const LoggedToss*> tosses);

  std::string processed_;
  ByName in_inbound_;
  ByName in_processed_;
};
