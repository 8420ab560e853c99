#include "fault/toss_story.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

constexpr int64_t kTextSize = 127;  // of a DatRecord
constexpr int64_t kDatSize = 128;
constexpr size_t kPtrSize = 256;
constexpr char kOwnLine[] = "cvtoss32 1.05 Beta 5 mode=-toss pid=4120 started=1763166684\n";

bool IsOfBase(Part part) {
  return part == Part::kDat || part == Part::kIdx || part == Part::kPtr || part == Part::kSig;
}

int64_t RecordsOf(const SceneMessage& message) {
  return std::max<int64_t>((static_cast<int64_t>(message.body.size()) + kTextSize - 1) / kTextSize, 1);
}

// The number behind the MSGID in the first line of a SIG file that holds it; 0 when none does.
int64_t NumberInSig(const std::string& sig, const std::string& msgid) {
  const std::string field = msgid + "\t";
  for (size_t at = 0; at < sig.size(); at = sig.find('\n', at) + 1) {
    if (sig.compare(at, field.size(), field) == 0) return atol(sig.c_str() + at + field.size());
    if (sig.find('\n', at) == std::string::npos) break;
  }
  return 0;
}

}  // namespace

TossStory::TossStory(const TossScene& scene, const Site& site, const SiteFiles& found, std::vector<Step> steps)
    : Story(site, found, std::move(steps)), scene_(scene) {
  SetWord("name", kSceneSource);
  Say("=== cvtoss32 v1.05 Beta 5 -toss run starting ===");
  Say("Inbound dir: <site>/in   Config dir: <site>/conf   Work dir: <site>/conf/WORK   Message dir: <site>/msg");
  Say(site.config.KeepProcessed != 0 ? "Processed files: kept (archived)"
                                     : "Processed files: deleted after processing");
  if (!TakeLock(FoundLock::kNone, "", kOwnLine)) {
    Say("Aborting: another instance appears to already be running (<site>/msg/CVTOSS.BSY exists and looks fresh). If you're sure nothing else is running, it'll auto-clear after 30 minutes, or delete it manually.");
    Fail();
    return;
  }
  if (!PrepareMessageBase() || !WalkInbound()) Fail();
  ReleaseLock();
}

bool TossStory::WalkInbound() {
  (void)Tell(TakeOne(Part::kProcessedDirectory, Call::kMakeDirectory), Use::kWalk);
  const Step* const opened = TakeOne(Part::kDirectory, Call::kListOpen);
  while (TakeOne(Part::kMemory, Call::kAllocate) != nullptr) {
    // On some systems a listing takes memory of its own.
  }
  if (Tell(opened, Use::kWalk)) return false;
  int processed = 0;
  bool good = true;
  const Step* cut_short = nullptr;
  while (cut_short == nullptr &&
         (IsNext(Part::kDirectory, Call::kListNext) || IsNext(Part::kMemory, Call::kReallocate))) {
    const Step* listed = TakeOne(Part::kDirectory, Call::kListNext);
    if (listed == nullptr) listed = TakeOne(Part::kMemory, Call::kReallocate);
    if (listed->failed) cut_short = listed;
  }
  for (;;) {
    const Step* looked = nullptr;
    for (const Part part : {Part::kInbound, Part::kProcessedDirectory, Part::kBadDirectory}) {
      if (looked == nullptr) looked = TakeOne(part, Call::kStat);
    }
    if (looked == nullptr) break;
    if (Tell(looked, Use::kWalk) || looked->record->path != site_.In(kSceneSource)) continue;
    if (!ReadSource()) continue;
    Say("Found: {name}");
    const bool handled = scene_.packing == Packing::kBundle ? TossBundle() : TossPacket(0, scene_.messages.size());
    if (!handled && scene_.packing != Packing::kBundle) {
      Say("  retaining packet in inbound because a message-base append failed");
    }
    if (handled && Dispose()) {
      ++processed;
    } else {
      good = false;
    }
  }
  if (Tell(cut_short, Use::kWalk)) good = false;
  Say("=== cvtoss32 -toss run complete: " + std::to_string(processed) + " file(s) processed ===");
  return good;
}

bool TossStory::ReadSource() {
  const FileUse opened = TakeFile(Part::kInbound, {Call::kOpen, Call::kIdentify, Call::kSize});
  const Step* const memory = opened.failed == nullptr ? TakeOne(Part::kMemory, Call::kReallocate) : nullptr;
  const FileUse read = TakeFile(Part::kInbound, {Call::kReadAt, Call::kClose});
  return !Tell(opened.failed, Use::kSource) && !Tell(memory, Use::kSource) && !Tell(read.failed, Use::kSource);
}

bool TossStory::TossBundle() {
  bool any_handled = false;
  bool any_failed = false;
  for (size_t i = 0; i < scene_.messages.size(); ++i) {
    const bool deflated = IsDeflated(i);
    Say(std::string("  ZIP entry: 0000a1b2.pkt (method=") + (deflated ? "8" : "0") + ", *");
    ((!deflated || Inflate()) && TossPacket(i, 1) ? any_handled : any_failed) = true;
  }
  if (!any_handled) Say("  ERROR: ZIP contained no successfully handled FidoNet packet entries");
  if (any_failed) Say("  retaining ZIP in inbound because at least one entry failed");
  return !any_failed;
}

bool TossStory::Inflate() {
  SetWord("entry", "0000a1b2.pkt");
  if (Tell(TakeOne(Part::kMemory, Call::kReallocate), Use::kInflate)) return false;
  while (const Step* const memory = TakeOne(Part::kMemory, Call::kAllocate)) {
    if (Tell(memory, Use::kInflate)) return false;
  }
  return true;
}

bool TossStory::TossPacket(size_t first, size_t count) {
  Say("  packet: orig 1:229/426.0 -> dest 1:229/100.0  (month field is 0-based; 2025-01-05)");
  bool all_stored = true;
  for (size_t i = 0; i < count; ++i) {
    SetWord("n", static_cast<int64_t>(i + 1));
    // One that fails is the last: the rest of the packet is not looked at.
    if (Tell(TakeOne(Part::kMemory, Call::kReallocate), Use::kText)) return false;
    if (!TossMessage(scene_.messages[first + i])) all_stored = false;
  }
  if (scene_.packing == Packing::kDamagedPacket) {
    SaveBadPacket();
  } else {
    Say("  " + std::to_string(count) + " message(s) parsed from this packet");
  }
  return all_stored;
}

bool TossStory::TossMessage(const SceneMessage& message) {
  SetWord("conf", message.conference);
  SetWord("area", message.area);
  SetWord("msgid", message.msgid);
  if (message.is_parked) {
    (void)Tell(TakeFile(Part::kBadAreas).failed, Use::kAppend);
    Say("  msg {n}: AREA:{area} has no matching conference -- parked in catch-all conf {conf} (see BADAREAS.LST)");
  }
  if (StoreMessage(message)) return true;
  Say("  msg {n}: message-base append failed; source packet will be retained");
  return false;
}

bool TossStory::StoreMessage(const SceneMessage& message) {
  std::string sig;
  if (!message.msgid.empty() || !message.reply.empty()) {
    const FileUse read = TakeFile(Part::kSig);
    (void)Tell(read.failed, Use::kLookUp);
    sig = Found(message.conference, "SIG").substr(0, static_cast<size_t>(read.moved));
  }
  if (!message.msgid.empty() && NumberInSig(sig, message.msgid) != 0) {
    Say("  msg {n}: duplicate (MSGID {msgid} already seen in conf {conf}) -- SKIPPED");
    return true;
  }
  int64_t parent = 0;
  if (!message.reply.empty()) {
    SetWord("reply", message.reply);
    parent = NumberInSig(sig, message.reply);
    SetWord("parent", parent);
    if (parent == 0) {
      Say("  msg {n}: reply to MSGID {reply}, but parent not found locally in conf {conf} -- storing as non-threaded (safe fallback)");
    }
  }
  BaseLook look = LookAtBase();
  bool parent_lives = false;
  for (const Header& header : HeadersSeen(look)) parent_lives = parent_lives || header.number == parent;
  if (parent != 0 && !parent_lives) {
    Say("  parent MSGID resolved to MsgNumber {parent} via .SIG tracking, but that message no longer exists (or is marked Deleted) in the current message base -- storing as non-threaded (safe fallback)");
  }
  if (JudgeBase(look)) return Append(message, look);
  Say("ERROR: conference {conf} failed message-base preflight; refusing to append");
  return false;
}

bool TossStory::Append(const SceneMessage& message, const BaseLook& look) {
  const bool has_sig = !message.msgid.empty();
  bool had_sig = false;
  if (has_sig) {
    const Step* const seen = TakeOne(Part::kSig, Call::kStat);
    if (seen == nullptr || Tell(seen, Use::kSnapshot)) return false;
    had_sig = seen->Answer() == kOsOk;
  }
  if (Tell(TakeOne(Part::kMemory, Call::kReallocate), Use::kAppend)) return false;
  Header header;
  for (const Header& seen : HeadersSeen(look)) header.number = std::max(header.number, seen.number);
  ++header.number;
  header.where = look.dat_size / kDatSize;
  header.records = RecordsOf(message);

  bool has_header = false;
  const Step* const failed = WriteAll(&has_header);
  std::vector<Header>& headers = HeadersOf(message.conference);
  headers.resize(static_cast<size_t>(look.ptr_size) / kPtrSize);
  if (has_header) headers.push_back(header);
  if (failed == nullptr) {
    SetWord("number", header.number);
    SetWord("records", header.records);
    SetWord("subject", message.subject);
    Say("  -> wrote conf {conf} msg #{number}  From='Ann Author' To='All' Subj='{subject}' ({records} records)");
    return true;
  }
  constexpr int64_t kNoPositions = -2;
  const bool unseekable = failed->TheCall() == Call::kWriteAt && failed->Answer() == kNoPositions;
  (void)Tell(failed, unseekable ? Use::kSeek : Use::kAppend);
  RollBack(look, has_sig, had_sig);
  return false;
}

// Returns the step that decides that the message is taken back.
const Step* TossStory::WriteAll(bool* has_header) {
  const Step* failed = nullptr;
  int64_t of_header = 0;
  for (const Call call : {Call::kOpen, Call::kWriteAt, Call::kFlush, Call::kClose}) {
    // After a failure nothing is done but closing.
    while ((failed == nullptr || call == Call::kClose) && Next() != nullptr && IsOfBase(Next()->part) &&
           Next()->TheCall() == call) {
      const Step* const step = TakeOne(Next()->part, call);
      if (step->part == Part::kPtr && call == Call::kWriteAt) of_header += std::max<int64_t>(step->Answer(), 0);
      if (step->failed && failed == nullptr) failed = step;
    }
  }
  *has_header = of_header == static_cast<int64_t>(kPtrSize);
  return failed;
}

void TossStory::RollBack(const BaseLook& look, bool has_sig, bool had_sig) {
  const Step* failed = nullptr;
  const auto restore = [&](Part part, bool existed) {
    const Step* const undone = RestoreFile(part, existed);
    if (failed == nullptr) failed = undone;
  };
  restore(Part::kDat, look.has_dat);
  restore(Part::kIdx, look.has_idx);
  restore(Part::kPtr, look.has_ptr);
  if (has_sig) restore(Part::kSig, had_sig);
  if (!Tell(failed, Use::kRollBack)) {
    Say("  conf {conf} append failed; DAT/IDX/PTR/SIG restored to their original sizes");
  }
}

void TossStory::SaveBadPacket() {
  const size_t damaged_at = Found(std::string("in/") + kSceneSource).size() - 2;
  Say("  unexpected message-type word 0x0001 at offset " + std::to_string(damaged_at) + ", stopping");
  (void)Tell(TakeOne(Part::kBadDirectory, Call::kMakeDirectory), Use::kSave);
  const Step* const opened = TakeOne(Part::kBadDirectory, Call::kOpenDirectory);
  (void)Tell(TakeOne(Part::kBadCopy, Call::kRemove), Use::kSave);
  const FileUse copy = TakeFile(Part::kBadCopy);
  copy_is_whole_ = !Tell(opened, Use::kSave) && !Tell(copy.failed, Use::kSave);
  if (copy.opened) {
    Say("  saved unprocessable packet data to <site>/in/badmsgs/BAD_1763166684.PKT for review (unexpected message-type word mid-packet)");
  }
}

bool TossStory::Dispose() {
  if (site_.config.KeepProcessed == 0) {
    if (!copy_is_whole_) {
      Say("  ERROR: could not make stored mail durable; source remains inbound");
      return false;
    }
    if (Tell(TakeOne(Part::kInbound, Call::kRemove), Use::kDispose)) return false;
    Say("  deleted (KEEPPROCESSED no)");
    return true;
  }
  const char* const directory = site_.config.ProcessedDir[0] != '\0' ? "<site>/done/" : "<site>/in/processed/";
  SetWord("target", std::string(directory) + kSceneSource);
  if (Tell(TakeOne(Part::kProcessedDirectory, Call::kOpenDirectory), Use::kDispose)) return false;
  if (Tell(TakeOne(Part::kInbound, Call::kSameFile), Use::kDispose)) return false;
  const Step* moved = TakeOne(Part::kProcessed, Call::kRename);
  if (moved != nullptr && moved->Answer() == kOsExists) {
    (void)Tell(TakeOne(Part::kProcessed, Call::kRemove), Use::kDispose);
    moved = TakeOne(Part::kProcessed, Call::kRename);
  }
  if (Tell(moved, Use::kDispose)) return false;
  Say("  moved to {target}");
  return true;
}
