#include "fault/scan_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "fault/alarms.h"
#include "fault/operator.h"
#include "fault/run_promises.h"
#include "fault/run_stage.h"
#include "scan/scan_run.h"
#include "unit/support/message_base.h"
#include "unit/support/test_files.h"

namespace {

constexpr char kPacketFile[] = "msg/CVOUTBOUND.PKT";
constexpr char kBundle[] = "out/6917c9dc.sa0";
constexpr char kTemporaryBundle[] = "out/6917c9dc.sa0.tmp";
constexpr int kScanConferences = 3;
constexpr size_t kPtrSize = 256;
constexpr size_t kSentByte = 153;

uint32_t LongAt(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 4; i > 0; --i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i - 1));
  return value;
}

// What stands between the first `start` in a text and the next `end`.
std::string Between(const std::string& text, const std::string& start, char end) {
  const size_t from = text.find(start);
  EXPECT_NE(from, std::string::npos) << "no " << start;
  if (from == std::string::npos) return "";
  return text.substr(from + start.size(), text.find(end, from + start.size()) - from - start.size());
}

struct ScanOutcome : RunOutcome {
  std::vector<Exported> exported;  // the messages of all bundles
};

// A site with the scene on it.
struct ScanStage : StagedSite {
  explicit ScanStage(const ScanScene& laid) : scene(laid) {
    if (scene.lay) scene.lay(&site);
    for (const UnsentMessage& message : scene.messages) LayUnsent(message, site);
    before = site.Files();
    own = {"msg/CVTOSS.BSY"};
    if (!scene.messages.empty()) own.insert({kSerialFile, kPacketFile, kBundle, kTemporaryBundle});
    for (const UnsentMessage& message : scene.messages) {
      const std::string base = "msg/CVMSG0" + std::to_string(message.conference);
      own.insert({base + ".PTR", base + ".SIG"});
    }
  }

  const ScanScene& scene;
  std::set<std::string> own;  // what a scan of the scene may change, make or remove
};

// One play of the scene.
class ScanPlay : public RunStage {
 public:
  explicit ScanPlay(const ScanStage& stage) : RunStage(stage, stage.scene.spoil), stage_(stage) {}

  ScanOutcome Run() {
    ScanOutcome outcome{Play(RunScan), {}};
    EXPECT_EQ(outcome.status, ExpectAlarmsOf(Steps(), outcome.lines, site_));
    for (const auto& [path, bytes] : outcome.files) {
      if (!path.starts_with("out/") || path.ends_with(".tmp")) continue;
      const std::vector<Exported> messages = ReadBundle(bytes);
      outcome.exported.insert(outcome.exported.end(), messages.begin(), messages.end());
    }
    return outcome;
  }

  void ExpectPromisesKept(const Fault& fault, const ScanOutcome& outcome, const ScanOutcome& faultless) const {
    ExpectOthersUntouched(before_, outcome.files, stage_.own);
    ExpectPublishedWholeOrNotAtAll(fault, outcome);
    ExpectOnlySentBytesChanged(outcome);
    for (int conference = 1; conference <= kScanConferences; ++conference)
      ExpectSentOnlyWithSigLine(fault, conference, outcome);
    ExpectSerialKept(outcome);
    ExpectSilenceIsHarmless(outcome, faultless);
  }

  // After a run that met no fault: every message is sent, and went out once, or once more when a commit had failed.
  void ExpectAllExported(const ScanOutcome& outcome, bool may_repeat) const {
    EXPECT_EQ(outcome.status, 0);
    std::set<std::string> msgids;
    for (const Exported& message : outcome.exported) {
      EXPECT_TRUE(msgids.insert(message.msgid).second) << message.msgid << " was used twice";
    }
    for (const UnsentMessage& message : scene_.messages) {
      const auto copies = std::count_if(outcome.exported.begin(), outcome.exported.end(),
                                        [&](const Exported& one) { return one.subject == message.subject; });
      EXPECT_GE(copies, 1) << message.subject;
      EXPECT_LE(copies, may_repeat ? 2 : 1) << message.subject;
    }
    for (int conference = 1; conference <= kScanConferences; ++conference) {
      const std::string ptr = Bytes(outcome.files, conference, "PTR");
      for (size_t at = 0; at < ptr.size(); at += kPtrSize) EXPECT_NE(ptr[at + kSentByte], '\0') << conference;
    }
  }

  static bool IsMarked(const ScanOutcome& outcome, const LeftSigLine& line) {
    const std::string ptr = Bytes(outcome.files, line.conference, "PTR");
    for (size_t at = 0; at < ptr.size(); at += kPtrSize) {
      if (LongAt(ptr, at + 166) == static_cast<uint32_t>(line.number)) return ptr[at + kSentByte] != '\0';
    }
    ADD_FAILURE() << "no header of message " << line.number;
    return false;
  }

 private:
  static std::string Bytes(const SiteFiles& files, int conference, const std::string& kind) {
    const auto found = files.find("msg/CVMSG0" + std::to_string(conference) + "." + kind);
    return found != files.end() ? found->second : "";
  }

  // At most one bundle, whole, and announced. A temporary file is left only where removing it failed, or where it is
  // that of an earlier run and this one published nothing.
  void ExpectPublishedWholeOrNotAtAll(const Fault& fault, const ScanOutcome& outcome) const {
    const bool published = HasLine(outcome.lines, "Published complete bundle: ");
    EXPECT_EQ(!outcome.exported.empty(), published);
    if (fault.call == Call::kRemove || fault.call == Call::kAny) return;
    for (const char* temporary : {kPacketFile, kTemporaryBundle}) {
      const auto left = outcome.files.find(temporary);
      if (left == outcome.files.end()) continue;
      const auto earlier = before_.find(temporary);
      EXPECT_TRUE(!published && earlier != before_.end() && earlier->second == left->second) << temporary << " is left";
    }
  }

  // Of the BBS's own files nothing changes but the MsgSent bytes.
  void ExpectOnlySentBytesChanged(const ScanOutcome& outcome) const {
    for (const auto& [path, bytes] : before_) {
      if (!path.ends_with(".PTR") && !path.ends_with(".IDX") && !path.ends_with(".DAT")) continue;
      std::string now = outcome.files.count(path) != 0 ? outcome.files.at(path) : "";
      EXPECT_EQ(now.size(), bytes.size()) << path;
      if (path.ends_with(".PTR") && now.size() == bytes.size()) {
        for (size_t at = kSentByte; at < now.size(); at += kPtrSize) now[at] = bytes[at];
      }
      EXPECT_TRUE(now == bytes) << path << " is damaged";
    }
  }

  void ExpectSentOnlyWithSigLine(const Fault& fault, int conference, const ScanOutcome& outcome) const {
    const std::string before = Bytes(before_, conference, "PTR");
    const std::string after = Bytes(outcome.files, conference, "PTR");
    const std::string sig = Bytes(outcome.files, conference, "SIG");
    std::string expected = Bytes(before_, conference, "SIG");
    EXPECT_TRUE(sig.starts_with(expected)) << "SIG file of " << conference << " is damaged";
    for (size_t at = 0; at < std::min(before.size(), after.size()); at += kPtrSize) {
      if (before[at + kSentByte] == after[at + kSentByte]) continue;
      const std::string subject = after.substr(at + 112, static_cast<uint8_t>(after[at + 111]));
      const auto published = std::find_if(outcome.exported.begin(), outcome.exported.end(),
                                          [&](const Exported& one) { return one.subject == subject; });
      ASSERT_NE(published, outcome.exported.end()) << subject << " is marked sent, but not published";
      const std::string number = std::to_string(static_cast<int32_t>(LongAt(after, at + 166)));
      const std::string line = published->msgid + "\t" + number + "\r\n";
      // A byte that was set, but can neither be flushed nor read again, looks unset.
      const bool may_be_unreadable = fault.for_good || fault.call == Call::kOpen || fault.call == Call::kReadAt;
      const std::string unmarked = "ERROR: bundle exists, but could not mark conf " + std::to_string(conference) +
                                   " msg #" + number + " sent; its SIG append was rolled back";
      if (may_be_unreadable && HasLine(outcome.lines, unmarked)) continue;
      EXPECT_NE(sig.find(line), std::string::npos) << subject << " is marked sent without its SIG line";
      expected += line;
    }
    const bool may_have_more =
        HasLine(outcome.lines, "ERROR: bundle exists, but could not append SIG") || HasLine(outcome.lines, "CRITICAL:");
    if (!may_have_more) {
      EXPECT_EQ(sig, expected);
    }
  }

  // The file's number is none lower than before, nor than one that was handed out.
  void ExpectSerialKept(const ScanOutcome& outcome) const {
    const auto number = [](const SiteFiles& files) {
      const auto found = files.find(kSerialFile);
      return found != files.end() ? strtoul(found->second.c_str(), nullptr, 10) : 0UL;
    };
    const unsigned long kept = number(outcome.files);
    EXPECT_GE(kept, number(before_));
    for (const std::string& line : outcome.lines) {
      if (line.starts_with("  queued ")) {
        EXPECT_GE(kept, SerialOf(Between(line + "  ", "  MSGID=", '(').substr(0, 18)));
      }
    }
  }

  // A fault that no line tells of must have changed nothing.
  static void ExpectSilenceIsHarmless(const ScanOutcome& outcome, const ScanOutcome& faultless) {
    if (!outcome.IsSilentBeside(faultless)) return;
    EXPECT_EQ(outcome.files, faultless.files) << "a failure that matters was not announced";
  }

  const ScanStage& stage_;
  const ScanScene& scene_ = stage_.scene;
};

}  // namespace

UnsentMessage Unsent(int conference, const std::string& subject, const std::string& to) {
  UnsentMessage message;
  message.conference = conference;
  message.subject = subject;
  message.to = to;
  return message;
}

void LayReceivedMail(const Site* site) {
  BaseMessage earlier;
  earlier.msgid = "2:5/6 old";
  site->Base(1).Add(earlier);
}

void LayUnsent(const UnsentMessage& message, const Site& site) {
  BaseMessage unsent;
  unsent.subject = message.subject;
  unsent.to = message.to;
  unsent.body = message.body;
  unsent.sent = false;
  unsent.netmail = message.conference == 3;
  unsent.is_reply = message.parent != 0;
  unsent.thread_ref = message.parent;
  site.Base(message.conference).Add(unsent);
}

std::vector<Exported> ReadBundle(const std::string& bundle) {
  constexpr size_t kLocal = 30 + 12;
  constexpr size_t kEnd = 46 + 12 + 22;
  std::vector<Exported> exported;
  if (bundle.size() < kLocal + kEnd || LongAt(bundle, 22) != bundle.size() - kLocal - kEnd) {
    ADD_FAILURE() << "a bundle of " << bundle.size() << " bytes";
    return exported;
  }
  const std::string packet = bundle.substr(kLocal, bundle.size() - kLocal - kEnd);
  EXPECT_EQ(CrcOf(packet), LongAt(bundle, 14));
  EXPECT_EQ(bundle.substr(kLocal + packet.size(), 4), "PK\x01\x02");
  EXPECT_EQ(bundle.substr(bundle.size() - 22, 4), "PK\x05\x06");
  size_t at = 58;
  while (packet.substr(at, 2) == std::string("\2\0", 2)) {
    at += 14;
    std::string texts[5];  // date, to, from, subject, text
    for (std::string& text : texts) {
      text = packet.c_str() + at;
      at += text.size() + 1;
    }
    exported.push_back({texts[3], Between(texts[4], "\x01MSGID: ", '\r')});
  }
  EXPECT_EQ(packet.substr(at), std::string(2, '\0'));
  return exported;
}

unsigned long SerialOf(const std::string& msgid) { return strtoul(msgid.c_str() + msgid.rfind(' '), nullptr, 16); }

void TryScanFaults(const ScanScene& scene, FaultLoop loop) {
  const ScanStage stage(scene);
  ScanOutcome faultless;
  {
    ScanPlay play(stage);
    faultless = play.Run();
    play.ExpectPromisesKept({}, faultless, faultless);
    if (!scene.spoil) play.ExpectAllExported(faultless, false);
  }
  std::set<std::pair<SiteFiles, bool>> followed;  // what a later run has already been seen to make good
  const auto attempt = [&](const Fault& fault) {
    ScanPlay play(stage);
    play.Door().Fail(fault);
    const ScanOutcome outcome = play.Run();
    const bool struck = play.Door().LastHasStruck();
    play.ExpectPromisesKept(fault, outcome, faultless);
    const bool may_repeat = HasLine(outcome.lines, "=== cvtoss32 -scan completed with COMMIT ERRORS");
    play.EndOfFaults();
    const std::vector<LeftSigLine> left = LeftSigLines(outcome.lines);
    RemoveLeftSigLines(left, &play);
    if (!followed.insert({play.Present(), may_repeat}).second) return struck;
    const ScanOutcome later = play.Run();
    play.ExpectAllExported(later, may_repeat);
    for (const LeftSigLine& line : left) {
      // One that was marked although nobody could see it is done with, and not sent again.
      EXPECT_EQ(line.CountIn(later.files), play.IsMarked(outcome, line) ? 0 : 1);
    }
    return struck;
  };
  (void)TryFaults(attempt, loop);
}
