#include "fault/toss_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>

#include "fault/run_promises.h"
#include "fault/run_stage.h"
#include "toss/toss_run.h"
#include "unit/support/test_files.h"

namespace {

using Lines = std::vector<std::string>;

std::string TravellingText(const SceneMessage& message) {
  std::string text = EchoText(message.area, message.msgid, "");
  if (!message.reply.empty()) text += "\x01REPLY: " + message.reply + "\r";
  std::string lines = message.body;
  std::replace(lines.begin(), lines.end(), '\x01', '\r');
  return text + lines;
}

std::string SourceOf(const TossScene& scene) {
  std::vector<PacketMessage> packed;
  for (const SceneMessage& message : scene.messages) {
    PacketMessage one;
    one.subject = message.subject;
    one.text = TravellingText(message);
    packed.push_back(one);
  }
  return scene.source(packed);
}

using Outcome = RunOutcome;

// A site with the scene on it.
struct Stage {
  explicit Stage(const TossScene& laid) : scene(laid), source(SourceOf(laid)) {
    if (scene.lay) scene.lay(&site);
    for (const SceneMessage& message : scene.messages) {
      if (message.stored_before) LayStored(message);
    }
    WriteFile(site.In(kSceneSource), source);
    before = site.Files();
  }

  void LayStored(const SceneMessage& message) const {
    BaseMessage stored;
    stored.subject = message.subject;
    stored.body = message.body;
    stored.msgid = message.msgid;
    site.Base(message.conference).Add(stored);
  }

  const TossScene& scene;
  const std::string source;
  Site site;
  SiteFiles before;
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
  explicit TossPlay(const Stage& stage) : RunStage(stage.site, stage.before, stage.scene.spoil), stage_(stage) {}

  Outcome Run() { return Play(RunToss); }

  void ExpectPromisesKept(const Fault& fault, const Outcome& outcome, const Outcome& faultless) const {
    ExpectOldFilesUndamaged(outcome);
    ExpectNothingLeftBehind(before_, faultless.files, outcome.files, outcome.lines);
    ExpectNothingLost(outcome);
    for (int conference = 1; conference <= 4; ++conference) {
      if (!IsCritical(outcome.lines, conference)) ExpectWhole(outcome, conference);
    }
    ExpectSilenceIsHarmless(fault, outcome, faultless);
  }

  void ExpectOldFilesUndamaged(const Outcome& outcome) const {
    ExpectNothingDamaged(FilesBelow("msg/", before_), outcome.files);
    ExpectNothingDamaged(FilesBelow("conf/", before_), outcome.files);
  }

  // After a run that met no fault: all is stored, the source is done with.
  void ExpectAllStored(const Outcome& outcome, bool may_repeat) const {
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

  static bool AnyCritical(const Outcome& outcome) { return HasLine(outcome.lines, "CRITICAL:"); }

 private:
  static SiteFiles FilesBelow(const std::string& start, const SiteFiles& files) {
    SiteFiles below;
    for (const auto& [path, bytes] : files) {
      if (path.compare(0, start.size(), start) == 0) below[path] = bytes;
    }
    return below;
  }

  int CopiesOf(const Outcome& outcome, const SceneMessage& message) const {
    int copies = 0;
    for (const BaseMessage& stored : MessagesIn(outcome.files, site_, message.conference)) {
      copies += stored.subject == message.subject && stored.body == message.body && stored.msgid == message.msgid;
    }
    return copies;
  }

  // Every message is one that was there before or one of the scene's, whole.
  void ExpectWhole(const Outcome& outcome, int conference) const {
    for (const BaseMessage& stored : MessagesIn(outcome.files, site_, conference)) {
      const bool known = std::any_of(scene_.messages.begin(), scene_.messages.end(), [&](const SceneMessage& message) {
        return message.conference == conference && message.subject == stored.subject && message.body == stored.body &&
               message.msgid == stored.msgid;
      });
      EXPECT_TRUE(known || stored.subject == BaseMessage{}.subject) << "conf " << conference << " #" << stored.number;
    }
  }

  // A source that is gone is in the processed directory, whole, or was deleted; and then its messages are stored.
  void ExpectNothingLost(const Outcome& outcome) const {
    const auto inbound = outcome.files.find(std::string("in/") + kSceneSource);
    if (inbound != outcome.files.end()) {
      EXPECT_EQ(inbound->second, source_);
      return;
    }
    const bool kept = std::any_of(outcome.files.begin(), outcome.files.end(),
                                  [this](const auto& file) { return file.second == source_; });
    EXPECT_EQ(kept, site_.config.KeepProcessed != 0) << "the source is neither inbound nor processed";
    EXPECT_FALSE(AnyCritical(outcome)) << "an append failed, yet the source was not retained";
    for (const SceneMessage& message : scene_.messages) EXPECT_GE(CopiesOf(outcome, message), 1) << message.subject;
  }

  // A fault without a line of its own must have changed nothing, but for what is never announced: an inbound file that
  // cannot be examined is skipped, and the list of unknown areas is written as far as it can be.
  void ExpectSilenceIsHarmless(const Fault& fault, const Outcome& outcome, const Outcome& faultless) const {
    if (!outcome.IsSilentBeside(faultless)) return;
    if ((fault.call == Call::kStat || fault.call == Call::kAny) && !HasLine(outcome.lines, "Found: ")) return;
    SiteFiles left = outcome.files;
    SiteFiles expected = faultless.files;
    left.erase("msg/BADAREAS.LST");
    expected.erase("msg/BADAREAS.LST");
    EXPECT_EQ(left, expected) << "a failure that matters was not announced";
  }

  const Stage& stage_;
  const TossScene& scene_ = stage_.scene;
  const std::string& source_ = stage_.source;
};

// A SIG file that cannot be read counts as empty, without a word: a duplicate is then stored again. No other fault may
// have that effect.
bool MayHideSig(const TossScene& scene, const Fault& fault) {
  const bool tossed_before = std::any_of(scene.messages.begin(), scene.messages.end(),
                                         [](const SceneMessage& message) { return message.stored_before; });
  const bool hits_sig = fault.path_end.empty() || fault.path_end == ".SIG";
  const bool reads = fault.call == Call::kOpen || fault.call == Call::kSize || fault.call == Call::kReadAt;
  return tossed_before && hits_sig && reads;
}

}  // namespace

void TryTossFaults(const TossScene& scene, FaultLoop loop) {
  const Stage stage(scene);
  Outcome faultless;
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
    const Outcome outcome = play.Run();
    const bool struck = door.LastHasStruck();
    play.ExpectPromisesKept(fault, outcome, faultless);
    const bool critical = TossPlay::AnyCritical(outcome);
    const bool may_repeat = MayHideSig(scene, fault);
    if (!followed.insert({play.EndOfFaults(), critical || may_repeat}).second) return struck;
    const Outcome later = play.Run();
    if (critical) {
      play.ExpectOldFilesUndamaged(later);  // the rest needs a person
    } else {
      play.ExpectPromisesKept({}, later, later);
      play.ExpectAllStored(later, may_repeat);
    }
    return struck;
  };
  (void)TryFaults(attempt, loop);
}
