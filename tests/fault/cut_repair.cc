#include "fault/cut_repair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "fault/cut_site.h"
#include "unit/support/fake_clock.h"
#include "unit/support/test_files.h"

#ifdef CVTOSS_WITH_KIT
#include "kit/repair_site.h"
#endif

namespace {

#ifdef CVTOSS_WITH_KIT
constexpr int64_t kHour = 3600;

// A machine that was started a minute ago, an hour after the cut. Nothing waits for its disk.
class Restarted {
 public:
  explicit Restarted(const Site& site) : clock_(time(nullptr) + kHour), process_(site.ProgramFile()) {
    OsTable& table = OsInForce();
    table.Uptime = [] { return int64_t{60}; };
    table.SyncFile = [](intptr_t) { return 0; };
    table.SyncFiles = [](const OsPlace&, const OsSyncItem*, size_t) { return 0; };
    table.SyncDirectory = [](const OsPlace&) { return 0; };
  }
  Restarted(const Restarted&) = delete;
  Restarted& operator=(const Restarted&) = delete;
  ~Restarted() { OsInForce() = before_; }

 private:
  OsTable before_ = OsInForce();
  FakeClock clock_;
  FakeProcess process_;
  CapturedLog log_;
};

KitSite KitSiteOf(const Site& site) {
  KitSite kit;
  kit.config = site.config;
  kit.log_path = site.Root() + "/TOSSER.LOG";
  EXPECT_EQ(ReadConferenceTable(site.config.ConfDir, &kit.conferences).fault, kTableRead);
  kit.conferences.NetmailConference = ChooseNetmailConference(kit.conferences).conference;
  return kit;
}

void RemoveBackups(const Site& site) {
  std::vector<std::filesystem::path> backups;
  for (const auto& entry : std::filesystem::directory_iterator(site.Msg())) {
    if (entry.is_directory()) backups.push_back(entry.path());
  }
  for (const std::filesystem::path& backup : backups) std::filesystem::remove_all(backup);
}
#endif

bool IsLongForm() {
  const char* const form = getenv("CVTOSS_CAMPAIGN");
  return form != nullptr && std::string(form) == "long";
}

}  // namespace

#ifdef CVTOSS_WITH_KIT
bool IsRepaired(int state) { return IsLongForm() || state % 40 == 0; }

CutRepair RepairAfterCut(const Site& site, const SiteFiles& files) {
  for (const auto& [path, bytes] : files) {
    std::filesystem::create_directories(std::filesystem::path(site.Root() + "/" + path).parent_path());
  }
  site.Restore(files, site.Files());
  CutRepair repaired;
  {
    const Restarted restarted(site);
    const Repair repair = RepairSite(KitSiteOf(site));
    repaired.texts = repair.change.texts;
    for (const Finding& finding : repair.left.findings) {
      if (finding.severity != Severity::kNote) repaired.left.push_back(finding.code);
    }
  }
  RemoveBackups(site);
  repaired.files = site.Files();
  return repaired;
}
#else
bool IsRepaired(int) { return false && IsLongForm(); }

CutRepair RepairAfterCut(const Site&, const SiteFiles&) { return {}; }
#endif

void ExpectLossesNamed(const SiteFiles& cut, const CutRepair& repair) {
  for (int conference = 1; conference <= kCutConferences; ++conference) {
    const std::vector<CutMessage> before = MessagesAfterCut(cut, conference);
    for (size_t i = MessagesAfterCut(repair.files, conference).size(); i < before.size(); ++i) {
      const std::string file = BaseFilePath(conference, "PTR").substr(strlen("msg/"));
      const std::string number = "message #" + std::to_string(before[i].number) + ",";
      EXPECT_TRUE(std::any_of(repair.texts.begin(), repair.texts.end(),
                              [&](const std::string& text) {
                                return text.find(file) != std::string::npos && text.find(number) != std::string::npos;
                              }))
          << number << " conference " << conference;
    }
  }
}

void CountRepairs(int repaired, int undecided) {
  testing::Test::RecordProperty("repaired", repaired);
  testing::Test::RecordProperty("undecided", undecided);
}
