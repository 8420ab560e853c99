#include "fault/toss_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include "fault/run_promises.h"
#include "toss/toss_run.h"
#include "unit/support/fake_clock.h"
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

// What one run over a fresh site has left.
struct Outcome {
  int status = 0;
  Lines lines;  // with <site> for the site's path
  SiteFiles files;
};

// A fresh site with the scene on it.
class Play {
 public:
  explicit Play(const TossScene& scene) : scene_(scene), source_(SourceOf(scene)) {
    if (scene.lay) scene.lay(&site_);
    for (const SceneMessage& message : scene.messages) {
      if (message.stored_before) LayStored(message);
    }
    WriteFile(site_.In(kSceneSource), source_);
    before_ = site_.Files();
    if (scene.spoil) scene.spoil(&door_);
  }

  ScopedDoor& Door() { return door_; }

  Outcome Run() {
    log_.Clear();
    Outcome outcome;
    outcome.status = RunToss(site_.config);
    for (std::string line : log_.Lines()) {
      for (size_t at = line.find(site_.Root()); at != std::string::npos; at = line.find(site_.Root())) {
        line.replace(at, site_.Root().size(), "<site>");
      }
      outcome.lines.push_back(line);
    }
    outcome.files = site_.Files();
    ExpectCleanEnd(site_, door_, process_, outcome.lines, outcome.status);
    return outcome;
  }

  void ExpectPromisesKept(const Fault& fault, const Outcome& outcome, const Outcome& faultless) const {
    ExpectOldFilesUndamaged(outcome);
    ExpectNothingLeftBehind(before_, faultless.files, outcome.files, outcome.lines);
    ExpectNothingLost(outcome);
    for (int conference = 1; conference <= 4; ++conference) {
      if (!IsCritical(outcome.lines, conference)) ExpectWhole(conference);
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
    EXPECT_FALSE(PathExists(site_.In(kSceneSource)));
    for (const SceneMessage& message : scene_.messages) {
      const auto copies = CopiesOf(message);
      EXPECT_GE(copies, 1) << message.subject;
      if (!message.msgid.empty() && !may_repeat) {
        EXPECT_EQ(copies, 1) << message.subject;
      }
    }
  }

  // The operator removes a lock that could not be removed.
  void EndOfFaults() {
    door_.Clear();
    RemoveFile(site_.LockFile());
  }

  bool AnyCritical(const Outcome& outcome) const { return HasLine(outcome.lines, "CRITICAL:"); }

 private:
  void LayStored(const SceneMessage& message) const {
    BaseMessage stored;
    stored.subject = message.subject;
    stored.body = message.body;
    stored.msgid = message.msgid;
    site_.Base(message.conference).Add(stored);
  }

  static SiteFiles FilesBelow(const std::string& start, const SiteFiles& files) {
    SiteFiles below;
    for (const auto& [path, bytes] : files) {
      if (path.compare(0, start.size(), start) == 0) below[path] = bytes;
    }
    return below;
  }

  int CopiesOf(const SceneMessage& message) const {
    int copies = 0;
    for (const BaseMessage& stored : site_.Base(message.conference).Read()) {
      copies += stored.subject == message.subject && stored.body == message.body && stored.msgid == message.msgid;
    }
    return copies;
  }

  // Every message is one that was there before or one of the scene's, whole.
  void ExpectWhole(int conference) const {
    for (const BaseMessage& stored : site_.Base(conference).Read()) {
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
    for (const SceneMessage& message : scene_.messages) EXPECT_GE(CopiesOf(message), 1) << message.subject;
  }

  // A fault without a line of its own must have changed nothing, but for what is never announced: an inbound file that
  // cannot be examined is skipped, and the list of unknown areas is written as far as it can be.
  void ExpectSilenceIsHarmless(const Fault& fault, const Outcome& outcome, const Outcome& faultless) const {
    const std::set<std::string> usual(faultless.lines.begin(), faultless.lines.end());
    for (const std::string& line : outcome.lines) {
      if (usual.count(line) == 0) return;
    }
    if ((fault.call == Call::kStat || fault.call == Call::kAny) && !HasLine(outcome.lines, "Found: ")) return;
    SiteFiles left = outcome.files;
    SiteFiles expected = faultless.files;
    left.erase("msg/BADAREAS.LST");
    expected.erase("msg/BADAREAS.LST");
    EXPECT_EQ(left, expected) << "a failure that matters was not announced";
  }

  const TossScene& scene_;
  const std::string source_;
  Site site_;
  SiteFiles before_;
  FakeClock clock_;
  FakeProcess process_{site_.ProgramFile()};
  CapturedLog log_;
  ScopedDoor door_;
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
  Outcome faultless;
  {
    Play play(scene);
    faultless = play.Run();
    if (!scene.spoil) play.ExpectAllStored(faultless, false);
    play.ExpectPromisesKept({}, faultless, faultless);
  }
  const auto attempt = [&](const Fault& fault) {
    Play play(scene);
    ScopedDoor& door = play.Door();
    door.Fail(fault);
    const Outcome outcome = play.Run();
    const bool struck = door.LastHasStruck();
    play.ExpectPromisesKept(fault, outcome, faultless);
    play.EndOfFaults();
    const Outcome later = play.Run();
    if (play.AnyCritical(outcome)) {
      play.ExpectOldFilesUndamaged(later);  // the rest needs a person
    } else {
      play.ExpectPromisesKept({}, later, later);
      play.ExpectAllStored(later, MayHideSig(scene, fault));
    }
    return struck;
  };
  (void)TryFaults(attempt, loop);
}
