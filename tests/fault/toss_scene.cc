#include "fault/toss_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>

#include "check/check_run.h"
#include "fault/alarms.h"
#include "fault/operator.h"
#include "fault/run_promises.h"
#include "fault/run_stage.h"
#include "toss/toss_run.h"
#include "unit/support/packet_bytes.h"
#include "unit/support/test_files.h"

namespace {

constexpr int kTossConferences = 4;
constexpr char kBadCopy[] = "in/badmsgs/BAD_1763166684.PKT";

std::string TravellingText(const SceneMessage& message) {
  std::string text = EchoText(message.area, message.msgid, "");
  if (!message.reply.empty()) text += "\x01REPLY: " + message.reply + "\r";
  std::string lines = message.body;
  std::replace(lines.begin(), lines.end(), '\x01', '\r');
  return text + lines;
}

// Several packets in one bundle, a message each.
std::string BundleOf(const std::vector<PacketMessage>& messages) {
  std::string bundle;
  for (size_t i = 0; i < messages.size(); ++i) {
    ZipEntryParts entry;
    entry.content = PacketBytes({messages[i]});
    entry.deflated = IsDeflated(i);
    bundle += ZipEntryBytes(entry);
  }
  return bundle;
}

// A site with the scene on it.
struct TossStage : StagedSite {
  explicit TossStage(const TossScene& laid) : scene(laid), source(SourceOf(laid)) {
    if (scene.lay) scene.lay(&site);
    LayStored(scene, site);
    WriteFile(site.In(kSceneSource), source);
    before = site.Files();
    NameOwn();
  }

  void NameOwn() {
    const std::string name = kSceneSource;
    own = {"msg/CVTOSS.BSY", "in/" + name};
    own.insert((site.config.ProcessedDir[0] != '\0' ? "done/" : "in/processed/") + name);
    if (scene.packing == Packing::kDamagedPacket) own.insert(kBadCopy);
    for (const SceneMessage& message : scene.messages) {
      const std::string base = "msg/CVMSG0" + std::to_string(message.conference);
      for (const char* kind : {".PTR", ".IDX", ".DAT"}) own.insert(base + kind);
      if (!message.msgid.empty()) own.insert(base + ".SIG");
      if (message.is_parked) own.insert("msg/BADAREAS.LST");
    }
  }

  const TossScene& scene;
  const std::string source;
  std::set<std::string> own;  // what a toss of the scene may change, make or remove
};

// The messages of a conference among the files of a site.
std::vector<BaseMessage> MessagesIn(const SiteFiles& files, const Site& site, int conference) {
  std::map<std::string, std::string> base;
  for (const char* kind : {"PTR", "IDX", "DAT", "SIG"}) {
    const auto found = files.find(site.Base(conference).Path(kind).substr(site.Root().size() + 1));
    if (found != files.end()) base[kind] = found->second;
  }
  return ReadMessages(base);
}

// One play of the scene.
class TossPlay : public RunStage {
 public:
  explicit TossPlay(const TossStage& stage) : RunStage(stage, stage.scene.spoil), stage_(stage) {}

  RunOutcome Run() {
    RunOutcome outcome = Play(RunToss);
    EXPECT_EQ(outcome.status, ExpectAlarmsOf(Steps(), outcome.lines, site_));
    return outcome;
  }

  void ExpectPromisesKept(const Fault& fault, const RunOutcome& outcome, const RunOutcome& faultless) const {
    ExpectOldFilesUndamaged(outcome);
    ExpectOthersUntouched(before_, outcome.files, stage_.own);
    ExpectNothingLost(outcome);
    ExpectNoFileForNothing(outcome);
    for (int conference = 1; conference <= kTossConferences; ++conference) {
      if (!IsCritical(outcome.lines, conference)) ExpectWhole(outcome, conference);
    }
    ExpectSilenceIsHarmless(fault, outcome, faultless);
  }

  void ExpectOldFilesUndamaged(const RunOutcome& outcome) const {
    for (const auto& [path, bytes] : before_) {
      if (path.compare(0, 4, "msg/") == 0) ExpectNotDamaged(path, bytes, outcome.files);
    }
  }

  // After a rollback that failed: does what the guide says; then a check has to find nothing wrong any more.
  void RepairAsAdvised(const RunOutcome& outcome) {
    if (!AnyCritical(outcome)) return;
    CutBackToWholeMessages(outcome.lines, before_, this);
  }

  void ExpectRepaired() {
    const RunOutcome check = Play(RunCheckMode);
    EXPECT_EQ(check.status, 0);
    for (int conference = 1; conference <= kTossConferences; ++conference) ExpectWhole(check, conference);
  }

  // After a run that met no fault: all is stored, the source is done with.
  void ExpectAllStored(const RunOutcome& outcome, bool may_repeat) const {
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.files.count(std::string("in/") + kSceneSource), 0U);
    for (const SceneMessage& message : scene_.messages) {
      const auto copies = CopiesOf(outcome, message);
      EXPECT_GE(copies, 1) << message.subject;
      if (!message.msgid.empty() && !may_repeat) {
        EXPECT_EQ(copies, 1) << message.subject;
      }
    }
  }

  static bool AnyCritical(const RunOutcome& outcome) { return HasLine(outcome.lines, "CRITICAL:"); }

 private:
  int CopiesOf(const RunOutcome& outcome, const SceneMessage& message) const {
    int copies = 0;
    for (const BaseMessage& stored : MessagesIn(outcome.files, site_, message.conference)) {
      copies += stored.subject == message.subject && stored.body == message.body && stored.msgid == message.msgid;
    }
    return copies;
  }

  void ExpectNoFileForNothing(const RunOutcome& outcome) const {
    if (AnyCritical(outcome)) return;
    for (const auto& [path, bytes] : outcome.files) {
      const bool is_of_base = path.compare(0, 9, "msg/CVMSG") == 0;
      EXPECT_TRUE(!is_of_base || !bytes.empty() || before_.count(path) != 0) << path << " is left empty";
    }
  }

  // Every message is one that was there before or one of the scene's, whole.
  void ExpectWhole(const RunOutcome& outcome, int conference) const {
    for (const BaseMessage& stored : MessagesIn(outcome.files, site_, conference)) {
      const bool known = std::any_of(scene_.messages.begin(), scene_.messages.end(), [&](const SceneMessage& message) {
        return message.conference == conference && message.subject == stored.subject && message.body == stored.body &&
               message.msgid == stored.msgid;
      });
      EXPECT_TRUE(known || stored.subject == BaseMessage{}.subject) << "conf " << conference << " #" << stored.number;
    }
  }

  // A source that is gone is in the processed directory, whole, or was deleted; and then its messages are stored.
  void ExpectNothingLost(const RunOutcome& outcome) const {
    const auto inbound = outcome.files.find(std::string("in/") + kSceneSource);
    if (inbound != outcome.files.end()) {
      EXPECT_EQ(inbound->second, source_);
      return;
    }
    const auto copy = outcome.files.find(kBadCopy);
    if (copy != outcome.files.end()) {
      EXPECT_EQ(source_.compare(0, copy->second.size(), copy->second), 0) << "not a copy of the packet";
    }
    const bool kept = std::any_of(outcome.files.begin(), outcome.files.end(), [this](const auto& file) {
      return file.second == source_ && file.first != kBadCopy;
    });
    EXPECT_EQ(kept, site_.config.KeepProcessed != 0) << "the source is neither inbound nor processed";
    EXPECT_FALSE(AnyCritical(outcome)) << "an append failed, yet the source was not retained";
    for (const SceneMessage& message : scene_.messages) EXPECT_GE(CopiesOf(outcome, message), 1) << message.subject;
  }

  // A fault without a line of its own must have changed nothing, but for what is never announced: an inbound file that
  // cannot be examined is skipped, and the list of unknown areas and the copy of a bad packet are written as far as
  // they can be.
  static void ExpectSilenceIsHarmless(const Fault& fault, const RunOutcome& outcome, const RunOutcome& faultless) {
    if (!outcome.IsSilentBeside(faultless)) return;
    if ((fault.call == Call::kStat || fault.call == Call::kAny) && !HasLine(outcome.lines, "Found: ")) return;
    SiteFiles left = outcome.files;
    SiteFiles expected = faultless.files;
    for (const char* path : {"msg/BADAREAS.LST", kBadCopy}) {
      left.erase(path);
      expected.erase(path);
    }
    EXPECT_EQ(left, expected) << "a failure that matters was not announced";
  }

  const TossStage& stage_;
  const TossScene& scene_ = stage_.scene;
  const std::string& source_ = stage_.source;
};

// A SIG file that cannot be read counts as empty, without a line: a duplicate is then stored again. No other fault may
// have that effect.
bool MayHideSig(const TossScene& scene, const Fault& fault) {
  const bool tossed_before = std::any_of(scene.messages.begin(), scene.messages.end(),
                                         [](const SceneMessage& message) { return message.stored_before; });
  const bool hits_sig = fault.path_end.empty() || fault.path_end == ".SIG";
  const bool reads = fault.call == Call::kOpen || fault.call == Call::kSize || fault.call == Call::kReadAt;
  return tossed_before && hits_sig && reads;
}

}  // namespace

std::string SourceOf(const TossScene& scene) {
  std::vector<PacketMessage> packed;
  for (const SceneMessage& message : scene.messages) {
    PacketMessage one;
    one.subject = message.subject;
    one.text = TravellingText(message);
    packed.push_back(one);
  }
  if (scene.packing == Packing::kBundle) return BundleOf(packed);
  std::string packet = PacketBytes(packed);
  if (scene.packing == Packing::kDamagedPacket) packet.replace(packet.size() - 2, 2, Word(1));
  return packet;
}

void LayStored(const TossScene& scene, const Site& site) {
  for (const SceneMessage& message : scene.messages) {
    if (!message.stored_before) continue;
    BaseMessage stored;
    stored.subject = message.subject;
    stored.body = message.body;
    stored.origin = "229/426";  // as the source's packet says
    stored.msgid = message.msgid;
    site.Base(message.conference).Add(stored);
  }
}

void LayOtherMail(const Site* site) {
  BaseMessage earlier;
  earlier.msgid = "2:5/6 old";
  site->Base(1).Add(earlier);
  earlier.msgid = "";
  site->Base(2).Add(earlier);
}

void TryTossFaults(const TossScene& scene, FaultLoop loop) {
  const TossStage stage(scene);
  RunOutcome faultless;
  {
    TossPlay play(stage);
    faultless = play.Run();
    if (!scene.spoil) play.ExpectAllStored(faultless, false);
    play.ExpectPromisesKept({}, faultless, faultless);
  }
  std::set<std::pair<SiteFiles, bool>> followed;  // what a later run has already been seen to make good
  const auto attempt = [&](const Fault& fault) {
    TossPlay play(stage);
    ScopedDoor& door = play.Door();
    door.Fail(fault);
    const RunOutcome outcome = play.Run();
    const bool struck = door.LastHasStruck();
    play.ExpectPromisesKept(fault, outcome, faultless);
    const bool may_repeat = MayHideSig(scene, fault);
    play.EndOfFaults();
    play.RepairAsAdvised(outcome);
    if (!followed.insert({play.Present(), may_repeat}).second) return struck;
    play.ExpectRepaired();
    const RunOutcome later = play.Run();
    play.ExpectPromisesKept({}, later, later);
    play.ExpectAllStored(later, may_repeat);
    return struck;
  };
  (void)TryFaults(attempt, loop);
}
