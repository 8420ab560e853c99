#include "fault/scan_story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

constexpr int kScanned = 3;  // conferences 1 to 3 are routed or take netmail
constexpr size_t kPtrSize = 256;
constexpr size_t kSubjectAt = 111, kSentAt = 153, kDeletedAt = 158;
constexpr size_t kPacketBuffer = 4096;
constexpr char kOwnLine[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=4120 started=1763166684\n";

std::string MsgidOf(uint32_t serial) {
  char msgid[64];
  (void)snprintf(msgid, sizeof msgid, "1:229/426 %08x", static_cast<unsigned int>(serial));
  return msgid;
}

// Whether some line of a SIG file is that number's.
bool HoldsNumber(const std::string& sig, int64_t number) {
  for (size_t tab = sig.find('\t'); tab != std::string::npos; tab = sig.find('\t', tab + 1)) {
    if (atol(sig.c_str() + tab + 1) == number) return true;
  }
  return false;
}

}  // namespace

ScanStory::ScanStory(const ScanScene& scene, const Site& site, const SiteFiles& found, std::vector<Step> steps)
    : Story(site, found, std::move(steps)), scene_(scene) {
  serial_ = static_cast<uint32_t>(strtoul(Found("msg/CVOUTBOUND.SEQ").c_str(), nullptr, 10));
  Say("=== cvtoss32 v1.05 Beta 5 -scan run starting ===");
  Say("Config dir: <site>/conf   Work dir: <site>/conf/WORK   Message dir: <site>/msg   Outbound dir: <site>/out");
  Say("Our address: 1:229/426   Hub address: 1:229/100   System name: Harbour BBS   Packet: no password set");
  if (!TakeLock(FoundLock::kNone, "", kOwnLine)) {
    Say("Aborting: another cvtoss32 -toss/-scan instance appears to be running (<site>/msg/CVTOSS.BSY)");
    Fail();
    return;
  }
  if (!PrepareMessageBase() || !Export()) Fail();
  ReleaseLock();
}

bool ScanStory::Export() {
  if (Tell(TakeOne(Part::kMemory, Call::kReallocate), Use::kScan)) return false;
  for (int conference = 1; conference <= kScanned; ++conference) {
    if (!ScanConference(conference)) return false;
  }
  const std::string messages = std::to_string(queue_.size());
  if (queue_.empty()) {
    Say("Nothing to export -- no unsent messages found in any routed conference.");
    Say("=== cvtoss32 -scan run complete: 0 message(s) exported ===");
    return true;
  }
  if (!WritePacket() || !Publish()) return false;
  bool all_committed = true;
  for (const Queued& message : queue_) {
    if (!Commit(message)) all_committed = false;
  }
  if (all_committed) {
    Say("=== cvtoss32 -scan run complete: " + messages + " message(s) exported and committed ===");
  } else {
    Say("=== cvtoss32 -scan completed with COMMIT ERRORS: bundle is valid and retained; review log before retry ===");
  }
  return all_committed;
}

bool ScanStory::ScanConference(int conference) {
  SetWord("conf", conference);
  const std::string ptr = Found(conference, "PTR");
  const FileUse headers = TakeFile(Part::kPtr, {Call::kOpen, Call::kReadAt});
  if (!headers.opened) {
    (void)Tell(headers.failed, Use::kScan);
    return true;
  }
  bool stopped = false;
  const auto read = static_cast<size_t>(headers.moved) / kPtrSize * kPtrSize;
  for (size_t at = 0; at < read && !stopped; at += kPtrSize) {
    const std::string header = ptr.substr(at, kPtrSize);
    if (header.at(kSentAt) != '\0' || header.at(kDeletedAt) != '\0') continue;
    const std::string subject = header.substr(kSubjectAt + 1, static_cast<uint8_t>(header[kSubjectAt]));
    const auto known = std::find_if(scene_.messages.begin(), scene_.messages.end(),
                                    [&](const UnsentMessage& message) { return message.subject == subject; });
    if (known == scene_.messages.end()) {
      ADD_FAILURE() << "an unsent message that is none of the scene's: " << subject;
      return false;
    }
    stopped = !ScanMessage(*known, HeadersOf(conference).at(at / kPtrSize).number);
  }
  const bool failed = !stopped && Tell(headers.failed, Use::kScan);
  // When the scan is given up anyway, nobody has to hear of the close as well.
  const bool unclosed = Tell(TakeFile(Part::kPtr, {Call::kClose}).failed, Use::kScan, stopped);
  return !stopped && !failed && !unclosed;
}

// Returns false when the scan cannot go on. A message that cannot be read is left for a later run.
bool ScanStory::ScanMessage(const UnsentMessage& message, int64_t number) {
  SetWord("msg", number);
  SetWord("kind", message.conference == kScanned ? "netmail" : "echomail");
  const FileUse dat = TakeFile(Part::kDat, {Call::kOpen});
  const Step* const memory = dat.opened ? TakeOne(Part::kMemory, Call::kReallocate) : nullptr;
  const FileUse body = TakeFile(Part::kDat, {Call::kReadAt, Call::kClose});
  if (Tell(dat.failed, Use::kBody) || Tell(memory, Use::kBody) || Tell(body.failed, Use::kBody)) return true;
  if (Tell(TakeOne(Part::kMemory, Call::kReallocate), Use::kStrip)) return false;

  if (Tell(TakeFile(Part::kSerial).failed, Use::kSerial)) return false;
  ++serial_;
  bool threaded = false;
  if (message.parent != 0) {
    const FileUse sig = TakeFile(Part::kSig);
    (void)Tell(sig.failed, Use::kLookUp);
    threaded = HoldsNumber(Found(message.conference, "SIG").substr(0, static_cast<size_t>(sig.moved)), message.parent);
  }
  while (IsNext(Part::kMemory, Call::kReallocate)) {
    // The text is shorter than what the packet begins with; the packet and the queue only grow beyond that.
    const Use use = Next()->record->size <= kPacketBuffer ? Use::kAssemble : Use::kQueue;
    if (Tell(TakeOne(Part::kMemory, Call::kReallocate), use)) return false;
  }
  queue_.push_back({message.conference, number});
  SetWord("subject", message.subject);
  SetWord("msgid", MsgidOf(serial_) + (threaded ? "  (threaded reply)" : ""));
  const size_t at_sign = message.to.find('@');
  SetWord("to", message.to.substr(0, at_sign));
  if (message.conference == kScanned) {
    SetWord("destination", message.to.substr(at_sign + 1));
    Say("  queued conf {conf} msg #{msg} (NETMAIL)  From='Ann Author' To='{to}'  Dest={destination}  Subj='{subject}'  MSGID={msgid}");
  } else {
    Say("  queued conf {conf} msg #{msg}  From='Ann Author' To='{to}' Subj='{subject}'  MSGID={msgid}");
  }
  return true;
}

bool ScanStory::WritePacket() {
  SetWord("packet", "<site>/msg/CVOUTBOUND.PKT");
  const FileUse out = TakeFile(Part::kPacket, {Call::kOpen, Call::kWrite, Call::kFlush, Call::kClose});
  SetWord("size", out.moved);
  if (Tell(out.failed, Use::kPacketOut)) {
    (void)Tell(TakeOne(Part::kPacket, Call::kRemove), Use::kPacketOut);
    return false;
  }
  const FileUse opened = TakeFile(Part::kPacket, {Call::kOpen, Call::kSize});
  const Step* const memory = opened.failed == nullptr ? TakeOne(Part::kMemory, Call::kReallocate) : nullptr;
  const FileUse read = TakeFile(Part::kPacket, {Call::kReadAt, Call::kClose});
  if (Tell(opened.failed, Use::kPacketBack) || Tell(memory, Use::kPacketBack) || Tell(read.failed, Use::kPacketBack)) {
    (void)Tell(TakeOne(Part::kPacket, Call::kRemove), Use::kPacketOut);
    return false;
  }
  (void)Tell(TakeOne(Part::kPacket, Call::kRemove), Use::kPacketBack);
  return true;
}

bool ScanStory::Publish() {
  while (const Step* const looked = TakeOne(Part::kBundle, Call::kStat)) (void)Tell(looked, Use::kPublish);
  (void)Tell(TakeOne(Part::kTemporary, Call::kRemove), Use::kPublish);
  const bool published = !Tell(TakeFile(Part::kTemporary).failed, Use::kPublish) &&
                         !Tell(TakeOne(Part::kBundle, Call::kRename), Use::kPublish);
  if (!published) {
    (void)Tell(TakeOne(Part::kTemporary, Call::kRemove), Use::kPublish);
    return false;
  }
  SetWord("messages", static_cast<int64_t>(queue_.size()));
  std::string name = "6917c9dc.sa0";
  while (!Found("out/" + name).empty()) ++name.back();
  SetWord("bundle", name);
  Say("Published complete bundle: <site>/out/{bundle}  ({size} byte packet, entry '6917c9dc.pkt', {messages} message(s))");
  return true;
}

bool ScanStory::Commit(const Queued& message) {
  SetWord("conf", message.conference);
  SetWord("msg", message.number);
  const Step* const seen = TakeOne(Part::kSig, Call::kStat);
  if (seen == nullptr || Tell(seen, Use::kCommit)) return false;
  const FileUse line = TakeFile(Part::kSig, {Call::kOpen, Call::kWrite, Call::kFlush, Call::kClose});
  if (Tell(line.failed, Use::kCommit)) return false;
  const FileUse mark = TakeFile(Part::kPtr, {Call::kOpen, Call::kWriteAt, Call::kFlush, Call::kClose});
  if (!Tell(mark.failed, Use::kMark)) return true;
  const FileUse verified = TakeFile(Part::kPtr, {Call::kOpen, Call::kReadAt, Call::kClose});
  (void)Tell(verified.failed, Use::kVerify);
  if (mark.moved == 1 && verified.moved == 1) {
    Say("WARNING: mark-sent reported an error for conf {conf} msg #{msg}, but verification confirms MsgSent=1; keeping its SIG entry");
    return true;
  }
  if (!Tell(RestoreFile(Part::kSig, seen->Answer() == kOsOk), Use::kTakeBack)) {
    Say("ERROR: bundle exists, but could not mark conf {conf} msg #{msg} sent; its SIG append was rolled back and it remains safe to retry");
  }
  return false;
}
