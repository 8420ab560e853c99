// A scan whose power is cut before each call that changes the disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <set>

#include "fault/cut_repair.h"
#include "fault/cut_site.h"
#include "fault/fault_loop.h"
#include "fault/power_cut.h"
#include "fault/scan_scene.h"
#include "scan/scan_run.h"
#include "unit/support/test_files.h"

namespace {

constexpr unsigned long kNoNumber = ULONG_MAX;

// What the published bundles hold; each has to be whole.
std::vector<Exported> PublishedIn(const SiteFiles& files) {
  std::vector<Exported> published;
  for (const auto& [path, bytes] : files) {
    if (path.compare(0, 4, "out/") != 0 || path.ends_with(".tmp")) continue;
    const std::vector<Exported> messages = ReadBundle(bytes);
    published.insert(published.end(), messages.begin(), messages.end());
  }
  return published;
}

// The last serial by the file: 0 without one, kNoNumber when it holds something else.
unsigned long LastSerial(const SiteFiles& files) {
  const std::string text = BytesIn(files, kSerialFile);
  if (text.find_first_not_of(" \r\n") == std::string::npos) return 0;
  return isdigit(static_cast<unsigned char>(text[0])) != 0 ? strtoul(text.c_str(), nullptr, 10) : kNoNumber;
}

class ScanCuts {
 public:
  explicit ScanCuts(const ScanScene& scene) : scene_(scene) {
    if (scene.lay) scene.lay(&site_);
    for (const UnsentMessage& message : scene.messages) LayUnsent(message, site_);
    before_ = site_.Files();
  }

  void TryRun(int more_than) {
    std::vector<DiskState> moments;
    EXPECT_EQ(RunOnDisk(DiskState(before_), site_, RunScan, &moments).status, 0);
    ForEachCut(moments.back(), &chance_, [this](const SiteFiles& files) { ExpectCommitted(files); });
    for (size_t i = 0; i < moments.size() && !testing::Test::HasFailure(); ++i) {
      SCOPED_TRACE("cut before change " + std::to_string(i + 1) + " of " + std::to_string(moments.size()));
      TryMoment(moments[i]);
    }
    EXPECT_GT(points_, more_than);
    CountFaultPoints(points_);
    CountRepairs(repaired_, undecided_);
  }

 private:
  void TryMoment(const DiskState& moment) {
    ForEachCut(moment, &chance_, [this](SiteFiles files) {
      const SiteFiles locked = files;
      files.erase(kLockFile);  // the operator's part
      if (testing::Test::HasFailure() || !seen_.insert(files).second) return;
      ++points_;
      ExpectOnlySentBytesChanged(files);
      ExpectMarkedOnlyWhenPublished(files);
      ExpectSigLinesOnlyOfPublished(files);
      ExpectNoSerialTwice(files);
      ExpectNextRun(files);
      if (IsRepaired(points_)) ExpectRepaired(locked);
    });
  }

  void ExpectOnlySentBytesChanged(const SiteFiles& files) const {
    for (const auto& [path, bytes] : before_) {
      std::string now = BytesIn(files, path);
      if (path.ends_with(".PTR") && now.size() == bytes.size()) {
        for (size_t at = 153; at < now.size(); at += 256) now[at] = bytes[at];
      }
      if (path.ends_with(".SIG")) now = now.substr(0, bytes.size());
      EXPECT_TRUE(now == bytes || path == kSerialFile || path.ends_with(".tmp") || path.ends_with(".PKT")) << path;
    }
  }

  static const Exported* Find(const std::vector<Exported>& published, const std::string& subject) {
    const auto found =
        std::find_if(published.begin(), published.end(), [&](const Exported& one) { return one.subject == subject; });
    return found != published.end() ? &*found : nullptr;
  }

  void ExpectMarkedOnlyWhenPublished(const SiteFiles& files) const {
    const std::vector<Exported> published = PublishedIn(files);
    for (const UnsentMessage& message : scene_.messages) {
      for (const CutMessage& one : MessagesAfterCut(files, message.conference)) {
        if (one.subject != message.subject || !one.sent) continue;
        EXPECT_NE(Find(published, message.subject), nullptr) << message.subject << " is marked sent, and in no bundle";
      }
    }
  }

  void ExpectSigLinesOnlyOfPublished(const SiteFiles& files) const {
    const std::vector<Exported> published = PublishedIn(files);
    for (const UnsentMessage& message : scene_.messages) {
      for (const CutMessage& one : MessagesAfterCut(files, message.conference)) {
        if (one.subject != message.subject || one.msgid.empty()) continue;
        const Exported* const bundled = Find(published, message.subject);
        EXPECT_TRUE(bundled != nullptr && bundled->msgid == one.msgid)
            << message.subject << " has a SIG line too early";
      }
    }
  }

  // The file's number is none lower than before, nor than a serial that is out or in a SIG line.
  void ExpectNoSerialTwice(const SiteFiles& files) const {
    const unsigned long last = LastSerial(files);
    EXPECT_GE(last, LastSerial(before_));
    for (const Exported& one : PublishedIn(files)) EXPECT_LE(SerialOf(one.msgid), last) << one.msgid;
    for (int conference = 1; conference <= kCutConferences; ++conference) {
      for (const CutMessage& one : MessagesAfterCut(files, conference)) {
        EXPECT_TRUE(one.msgid.empty() || one.msgid[0] == '2' || SerialOf(one.msgid) <= last) << one.msgid;
      }
    }
  }

  // At the end of a run that says so everything is committed, whatever of the rest is lost.
  void ExpectCommitted(const SiteFiles& files) const {
    const std::vector<Exported> published = PublishedIn(files);
    for (const UnsentMessage& message : scene_.messages) {
      const Exported* const bundled = Find(published, message.subject);
      ASSERT_NE(bundled, nullptr) << message.subject << " is in no bundle";
      for (const CutMessage& one : MessagesAfterCut(files, message.conference)) {
        EXPECT_TRUE(one.sent) << one.subject;
        EXPECT_TRUE(one.subject != message.subject || one.msgid == bundled->msgid) << one.subject << " has no SIG line";
      }
    }
  }

  // The next scan sends what is not marked; a serial file without a number stops it until it is mended.
  void ExpectNextRun(SiteFiles files) const {
    if (LastSerial(files) == kNoNumber) {
      const DiskRun refused = RunOnDisk(DiskState(files), site_, RunScan);
      EXPECT_EQ(refused.status, 1);
      EXPECT_EQ(PublishedIn(refused.files).size(), PublishedIn(files).size());
      files[kSerialFile] = "1000\n";
    }
    const DiskRun run = RunOnDisk(DiskState(files), site_, RunScan);
    EXPECT_EQ(run.status, 0);
    const std::vector<Exported> published = PublishedIn(run.files);
    std::set<std::string> msgids;
    for (const Exported& one : published) EXPECT_TRUE(msgids.insert(one.msgid).second) << one.msgid << " comes twice";
    for (const UnsentMessage& message : scene_.messages) {
      EXPECT_NE(Find(published, message.subject), nullptr) << message.subject << " was never sent";
      for (const CutMessage& one : MessagesAfterCut(run.files, message.conference)) EXPECT_TRUE(one.sent);
    }
  }

  // With cvkit the next scan sends the rest: each message is in one bundle, marked sent, with the SIG line of its copy
  // there; nothing half done is left.
  void ExpectRepaired(const SiteFiles& cut) {
    const CutRepair repair = RepairAfterCut(site_, cut);
    ++repaired_;
    EXPECT_EQ(repair.files.count(kLockFile), 0);
    ExpectOnlySentBytesChanged(repair.files);
    ExpectLossesNamed(cut, repair);
    SiteFiles files = repair.files;
    if (LastSerial(files) == kNoNumber) {  // and no serial in use tells the last one
      ++undecided_;
      EXPECT_EQ(repair.left, std::vector<std::string>{"serial-damaged"});
      files[kSerialFile] = "1000\n";
    } else {
      EXPECT_TRUE(repair.left.empty()) << repair.left.front();
    }
    const DiskRun run = RunOnDisk(DiskState(files), site_, RunScan);
    EXPECT_EQ(run.status, 0);
    const std::vector<Exported> published = PublishedIn(run.files);
    EXPECT_EQ(published.size(), scene_.messages.size());
    ExpectCommitted(run.files);
    ExpectNoSerialTwice(run.files);
    for (const auto& [path, bytes] : run.files) {
      EXPECT_FALSE(path.ends_with(".tmp") || path.ends_with(".PKT")) << path;
    }
    for (const Exported& one : published) EXPECT_EQ(CountLines(run.files, one.msgid), 1) << one.msgid;
  }

  static int CountLines(const SiteFiles& files, const std::string& msgid) {
    int lines = 0;
    for (int conference = 1; conference <= kCutConferences; ++conference) {
      for (const std::string& line : SplitLines(BytesIn(files, BaseFilePath(conference, "SIG")))) {
        lines += line.substr(0, line.find('\t')) == msgid;
      }
    }
    return lines;
  }

  Site site_;
  const ScanScene& scene_;
  SiteFiles before_;
  std::set<SiteFiles> seen_;
  std::mt19937 chance_{1763166684};
  int points_ = 0;
  int repaired_ = 0;
  int undecided_ = 0;
};

// Conference 1 holds a message that arrived from the network; some serials are used up.
void LayEarlier(Site* site) {
  LayReceivedMail(site);
  WriteFile(site->Msg("CVOUTBOUND.SEQ"), "99\n");
}

void TryScanCuts(const ScanScene& scene, int more_than) {
  ScanCuts cuts(scene);
  cuts.TryRun(more_than);
}

}  // namespace

TEST(ScanPowerCuts, TheFirstMessageOfANewSystem) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first")};
  TryScanCuts(scene, 60);
}

// Echomail, a reply among it, and netmail.
TEST(ScanPowerCuts, SeveralConferences) {
  ScanScene scene;
  scene.lay = LayEarlier;
  scene.messages = {Unsent(1, "first"), Unsent(2, "second"), Unsent(3, "third", "Bob@1:2/3")};
  scene.messages[0].parent = 1;
  TryScanCuts(scene, 150);
}

TEST(ScanPowerCuts, SeveralMessagesOfOneConference) {
  ScanScene scene;
  scene.messages = {Unsent(1, "first"), Unsent(1, "second"), Unsent(1, "third")};
  TryScanCuts(scene, 120);
}

// The new number takes less room than the text that was there.
TEST(ScanPowerCuts, ASerialFileThatShrinks) {
  ScanScene scene;
  scene.lay = [](Site* site) { WriteFile(site->Msg("CVOUTBOUND.SEQ"), "0041\r\n"); };
  scene.messages = {Unsent(1, "first"), Unsent(1, "second")};
  TryScanCuts(scene, 80);
}

TEST(ScanPowerCuts, TemporaryFilesOfARunThatWasKilled) {
  ScanScene scene;
  scene.lay = [](Site* site) {
    LayEarlier(site);
    WriteFile(site->Msg("CVOUTBOUND.PKT"), std::string(3000, 'x'));
    WriteFile(site->Out("6917c9dc.sa0.tmp"), std::string(3000, 'x'));
  };
  scene.messages = {Unsent(1, "first")};
  TryScanCuts(scene, 60);
}
