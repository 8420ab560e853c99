// A toss whose power is cut before each call that changes the disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "check/check_run.h"
#include "fault/cut_repair.h"
#include "fault/cut_site.h"
#include "fault/fault_loop.h"
#include "fault/power_cut.h"
#include "fault/toss_scene.h"
#include "toss/toss_run.h"
#include "unit/support/test_files.h"

namespace {

struct TossCutScene {
  std::vector<TossScene> sources;  // inbound files; only their messages and packing count
  std::function<void(Site*)> lay;
  std::function<void(ScopedDoor*)> spoil;  // sets faults in the run that is cut
};

std::string SourcePath(size_t source) { return "in/0000a1b" + std::to_string(source) + ".su0"; }

class TossCuts {
 public:
  explicit TossCuts(const TossCutScene& scene) : scene_(scene) {
    if (scene.lay) scene.lay(&site_);
    for (size_t i = 0; i < scene.sources.size(); ++i) {
      LayStored(scene.sources[i], site_);
      WriteFile(site_.Root() + "/" + SourcePath(i), SourceOf(scene.sources[i]));
    }
    before_ = site_.Files();
  }

  // Cuts a run, whose moments it returns.
  std::vector<DiskState> TryRun() {
    std::vector<DiskState> moments;
    const DiskRun run = RunOnDisk(DiskState(before_), site_, RunToss, &moments, scene_.spoil);
    EXPECT_EQ(run.status, scene_.spoil ? 1 : 0);
    undisturbed_ = run.files;
    for (size_t i = 0; i < moments.size() && !testing::Test::HasFailure(); ++i) {
      SCOPED_TRACE("cut before change " + std::to_string(i + 1) + " of " + std::to_string(moments.size()));
      TryMoment(moments[i]);
    }
    return moments;
  }

  // The run is killed at each moment and the next one, on what the first has written, is cut from the first source that
  // it is done with on.
  void TryAfterKills(const std::vector<DiskState>& first) {
    may_repeat_ = true;
    for (DiskState killed : first) {
      killed.Remove(kLockFile);
      std::vector<DiskState> moments;
      (void)RunOnDisk(killed, site_, RunToss, &moments);
      for (const DiskState& moment : moments) {
        if (moment.names.count(SourcePath(0)) == 0) TryMoment(moment);
        if (testing::Test::HasFailure()) return;
      }
    }
  }

  void ExpectMoreThan(int points) const {
    EXPECT_GT(points_, points);
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
      ExpectNothingDamaged(files);
      ExpectNothingLost(files);
      ExpectNextRun(files);
      if (IsRepaired(points_)) ExpectRepaired(locked);
    });
  }

  void ExpectNothingDamaged(const SiteFiles& files) const {
    for (const auto& [path, bytes] : before_) {
      if (path.starts_with("msg/")) ExpectNotDamaged(path, bytes, files);
      EXPECT_TRUE(!path.starts_with("conf/") || BytesIn(files, path) == bytes) << path;
    }
  }

  bool IsInbound(const SiteFiles& files, size_t source) const { return files.count(SourcePath(source)) != 0; }

  // A source that is no longer inbound is stored, whole and once, and what is no mail of it is kept.
  void ExpectNothingLost(const SiteFiles& files) const {
    for (size_t i = 0; i < scene_.sources.size(); ++i) {
      const TossScene& source = scene_.sources[i];
      if (IsInbound(files, i)) {
        EXPECT_EQ(BytesIn(files, SourcePath(i)), before_.at(SourcePath(i)));
        continue;
      }
      for (const SceneMessage& message : source.messages) {
        EXPECT_EQ(CountWhole(files, message), 1) << message.subject << " of a source that is gone";
        EXPECT_TRUE(may_repeat_ || CountCopies(files, message) == 1) << message.subject;
      }
      if (source.packing != Packing::kDamagedPacket) continue;
      EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&](const auto& file) {
        return file.first.starts_with("in/badmsgs/") && file.second == before_.at(SourcePath(i));
      })) << "no copy of a damaged packet";
    }
  }

  static int CountCopies(const SiteFiles& files, const SceneMessage& message) {
    int copies = 0;
    for (const CutMessage& one : MessagesAfterCut(files, message.conference)) {
      copies += one.subject == message.subject && one.body == message.body;
    }
    return copies;
  }

  // With index entry and SIG line.
  static int CountWhole(const SiteFiles& files, const SceneMessage& message) {
    int copies = 0;
    for (const CutMessage& one : MessagesAfterCut(files, message.conference)) {
      copies +=
          one.subject == message.subject && one.body == message.body && one.has_index && one.msgid == message.msgid;
    }
    return copies;
  }

  // What the next run has to work on, as it stands and as the operator has mended it.
  void ExpectNextRun(const SiteFiles& files) const {
    const DiskRun check = RunOnDisk(DiskState(files), site_, RunCheckMode);
    EXPECT_EQ(check.status, IsRefused(files) ? 1 : 0);
    EXPECT_EQ(check.files, files);
    if (!IsRefused(files)) {
      ExpectTossed(files);
    } else {
      const DiskRun refused = RunOnDisk(DiskState(files), site_, RunToss);
      EXPECT_EQ(refused.status, 1);
      EXPECT_TRUE(HasLine(refused.lines, "Aborting: one or more FTN conference message bases failed preflight"));
      EXPECT_EQ(refused.files, files);
    }
    const SiteFiles mended = Mended(files);
    EXPECT_FALSE(IsRefused(mended));
    const SiteFiles stored = mended == files && !IsRefused(files) ? stored_ : ExpectTossed(mended);
    for (const TossScene& source : scene_.sources) {
      for (const SceneMessage& message : source.messages) EXPECT_GE(CountCopies(stored, message), 1) << message.subject;
    }
  }

  // With cvkit the next run ends as an undisturbed one does.
  void ExpectRepaired(const SiteFiles& cut) {
    const CutRepair repair = RepairAfterCut(site_, cut);
    ++repaired_;
    EXPECT_EQ(repair.files.count(kLockFile), 0);
    EXPECT_EQ(RunOnDisk(DiskState(repair.files), site_, RunCheckMode).status, 0);
    ExpectNothingDamaged(repair.files);
    ExpectLossesNamed(cut, repair);
    const DiskRun run = RunOnDisk(DiskState(repair.files), site_, RunToss);
    EXPECT_EQ(run.status, 0);
    if (!repair.left.empty()) {
      ++undecided_;
      ExpectUndecided(cut, repair, run.files);
      return;
    }
    for (size_t i = 0; i < scene_.sources.size(); ++i) {
      for (const SceneMessage& message : scene_.sources[i].messages) {
        // Behind a lost message a whole one is cut off, too, if its source can store it again.
        EXPECT_TRUE(CountCopies(repair.files, message) == CountCopies(cut, message) || IsInbound(cut, i))
            << message.subject;
        EXPECT_EQ(CountWhole(run.files, message), 1) << message.subject;
        EXPECT_EQ(CountCopies(run.files, message), std::max(CountCopies(cut, message), 1)) << message.subject;
      }
    }
    if (!scene_.spoil && !may_repeat_) ExpectAsUndisturbed(cut, run.files);
  }

  // A source whose names are both lost is stored, and is in no directory any more.
  void ExpectAsUndisturbed(const SiteFiles& cut, const SiteFiles& tossed) const {
    const SiteFiles files = Comparable(tossed);
    const SiteFiles expected = Comparable(undisturbed_);
    std::set<std::string> gone;  // the contents of sources that the cut has left in no directory
    for (const auto& [path, bytes] : before_) {
      if (path.starts_with("in/") && cut.count(path) == 0) gone.insert(bytes);
    }
    for (const auto& [path, bytes] : expected) {
      const bool may_be_lost = cut.count(path) == 0 && gone.count(bytes) != 0;
      EXPECT_TRUE(BytesIn(files, path) == bytes || (may_be_lost && files.count(path) == 0)) << path;
    }
    for (const auto& [path, bytes] : files) EXPECT_EQ(expected.count(path), 1) << path;
  }

  // Mail without a MSGID is stored once more, as each finding says.
  void ExpectUndecided(const SiteFiles& cut, const CutRepair& repair, const SiteFiles& tossed) const {
    ptrdiff_t again = 0;
    for (size_t i = 0; i < scene_.sources.size(); ++i) {
      for (const SceneMessage& message : scene_.sources[i].messages) {
        const int stored = CountCopies(cut, message);
        const bool repeated = stored != 0 && message.msgid.empty() && IsInbound(cut, i);
        EXPECT_EQ(CountCopies(repair.files, message), stored) << message.subject;
        EXPECT_EQ(CountCopies(tossed, message), std::max(stored, 1) + (repeated ? 1 : 0)) << message.subject;
        if (repeated) again += stored;
      }
    }
    EXPECT_EQ(std::count(repair.left.begin(), repair.left.end(), "stored-again"), again);
    EXPECT_EQ(repair.left.size(), again);
  }

  // Without the copies of damaged packets, and the list of unknown areas: of that a part may be lost.
  static SiteFiles Comparable(SiteFiles files) {
    std::erase_if(files, [](const auto& file) {
      return file.first.starts_with("in/badmsgs/") || file.first == "msg/BADAREAS.LST";
    });
    return files;
  }

  // Each message of a source that is still inbound is stored, unless the SIG file has it.
  const SiteFiles& ExpectTossed(const SiteFiles& files) const {
    const DiskRun run = RunOnDisk(DiskState(files), site_, RunToss);
    EXPECT_EQ(run.status, 0);
    for (size_t i = 0; i < scene_.sources.size(); ++i) {
      EXPECT_FALSE(IsInbound(run.files, i));
      for (const SceneMessage& message : scene_.sources[i].messages) {
        const bool is_stored = IsInbound(files, i) && !IsKnown(files, message.conference, message.msgid);
        EXPECT_EQ(CountCopies(run.files, message), CountCopies(files, message) + (is_stored ? 1 : 0))
            << message.subject;
      }
    }
    stored_ = run.files;
    return stored_;
  }

  Site site_;
  const TossCutScene& scene_;
  SiteFiles before_;
  std::set<SiteFiles> seen_;
  std::mt19937 chance_{1763166684};
  bool may_repeat_ = false;  // a message that was killed before its SIG line is stored again
  int points_ = 0;
  int repaired_ = 0;
  int undecided_ = 0;
  SiteFiles undisturbed_;     // what a run that is not cut leaves
  mutable SiteFiles stored_;  // what the last toss left
};

void TryTossCuts(const TossCutScene& scene, int more_than) {
  TossCuts cuts(scene);
  (void)cuts.TryRun();
  cuts.ExpectMoreThan(more_than);
}

TossScene SourceWith(std::vector<SceneMessage> messages, Packing packing = Packing::kPacket) {
  TossScene source;
  source.messages = std::move(messages);
  source.packing = packing;
  return source;
}

SceneMessage Message(int conference, const std::string& area, const std::string& subject, const std::string& msgid) {
  SceneMessage message;
  message.conference = conference;
  message.area = area;
  message.subject = subject;
  message.msgid = msgid;
  return message;
}

const SceneMessage kFirst = Message(1, "GENERAL", "first", "1:2/3 a");
const SceneMessage kSecond = Message(1, "GENERAL", "second", "1:2/3 b");
const SceneMessage kThird = Message(2, "FIDO", "third", "1:2/3 c");
const SceneMessage kNetmail = Message(3, "", "fourth", "1:2/3 d");

}  // namespace

TEST(TossPowerCuts, IntoNewConferences) { TryTossCuts({{SourceWith({kFirst, kNetmail})}, nullptr, nullptr}, 400); }

TEST(TossPowerCuts, IntoExistingConferences) {
  TryTossCuts({{SourceWith({kFirst, kThird})}, LayOtherMail, nullptr}, 200);
}

TEST(TossPowerCuts, SeveralMessagesIntoOneConference) {
  TryTossCuts({{SourceWith({kFirst, kSecond})}, LayOtherMail, nullptr}, 150);
}

TEST(TossPowerCuts, WithoutMsgids) {
  TryTossCuts({{SourceWith({Message(1, "GENERAL", "first", ""), Message(3, "", "second", "")})}, LayOtherMail, nullptr},
              150);
}

TEST(TossPowerCuts, ABodyOfManyRecords) {
  SceneMessage message = kFirst;
  message.body = std::string(40 * 127 + 5, 'x') + "\x01";
  TryTossCuts({{SourceWith({message})}, LayOtherMail, nullptr}, 70);
}

TEST(TossPowerCuts, ABundleOfSeveralPackets) {
  TryTossCuts({{SourceWith({kFirst, kThird, kNetmail}, Packing::kBundle)}, LayOtherMail, nullptr}, 600);
}

TEST(TossPowerCuts, ADamagedPacket) {
  for (const int keep : {1, 0}) {
    const auto lay = [keep](Site* site) { site->config.KeepProcessed = keep; };
    TryTossCuts({{SourceWith({kFirst}, Packing::kDamagedPacket)}, lay, nullptr}, 150);
  }
}

TEST(TossPowerCuts, FilesThatAreDeletedWhenTheyAreDone) {
  const auto lay = [](Site* site) { site->config.KeepProcessed = 0; };
  TryTossCuts({{SourceWith({kFirst})}, lay, nullptr}, 70);
}

TEST(TossPowerCuts, AProcessedDirectoryThatHasToBeMade) {
  const auto lay = [](Site* site) { site->config.ProcessedDir[0] = '\0'; };
  TryTossCuts({{SourceWith({kFirst})}, lay, nullptr}, 70);
}

TEST(TossPowerCuts, UnknownAreasGoToTheCatchAll) {
  const auto lay = [](Site* site) {
    LayOtherMail(site);
    site->WriteConferences({{"General", "GENERAL"}, {"Others", "*"}, {"Netmail", "", false, true}});
  };
  TryTossCuts({{SourceWith({Message(2, "NOWHERE", "first", "1:2/3 a")})}, lay, nullptr}, 90);
}

// Of the first source all is certain when the second is begun, whatever becomes of that.
TEST(TossPowerCuts, TwoSources) {
  TryTossCuts({{SourceWith({kFirst, kThird}), SourceWith({kSecond, kNetmail})}, LayOtherMail, nullptr}, 600);
}

TEST(TossPowerCuts, ASourceOfDuplicates) {
  SceneMessage stored = kFirst;
  stored.stored_before = true;
  TryTossCuts({{SourceWith({stored, kSecond})}, nullptr, nullptr}, 40);
}

// One message is taken back, so that its source stays; the next source is stored behind it.
TEST(TossPowerCuts, AMessageThatIsTakenBack) {
  const auto spoil = [](ScopedDoor* door) { door->FailNth(Call::kWriteAt, 1, "CVMSG01.PTR"); };
  TryTossCuts({{SourceWith({kFirst, kThird}), SourceWith({kSecond})}, LayOtherMail, spoil}, 300);
}

// What a killed run has stored is certain before the next one is done with it as with duplicates.
TEST(TossPowerCuts, ARunAfterOneThatWasKilled) {
  const TossCutScene scene = {{SourceWith({kFirst, kThird})}, LayOtherMail, nullptr};
  TossCuts cuts(scene);
  cuts.TryAfterKills(cuts.TryRun());
  cuts.ExpectMoreThan(200);
}
