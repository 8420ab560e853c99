// What all runs begin and end with: the lock, the conferences, the nodes, the look at every message base.
#include <gtest/gtest.h>

#include <algorithm>

#include "fault/story.h"

namespace {

constexpr int64_t kConferenceSize = 128;
constexpr int64_t kPtrSize = 256;
constexpr int64_t kIdxSize = 16;
constexpr int64_t kDatSize = 128;
constexpr size_t kDeletedAt = 158, kWhereAt = 160, kRecordsAt = 162, kNumberAt = 166;

int64_t NumberAt(const std::string& bytes, size_t at, size_t width) {
  int64_t value = 0;
  for (size_t i = width; i > 0; --i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i - 1));
  return value;
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find_first_of("\r\n")); }

}  // namespace

bool Story::TakeLock(FoundLock found, const std::string& left_line, const std::string& own_line) {
  for (const bool last : {false, true}) {
    const FileUse lock = TakeFile(Part::kLock);
    if (lock.opened) {
      const bool whole = lock.moved == static_cast<int64_t>(own_line.size());  // of one write: it is not gone on with
      if (!Tell(lock.failed, Use::kTake) && whole) return true;
      (void)Tell(TakeOne(Part::kLock, Call::kRemove), Use::kTake);
      return false;
    }
    if (Tell(lock.failed, Use::kTake)) return false;
    EXPECT_NE(found, FoundLock::kNone) << "a lock was there";
    if (Tell(TakeOne(Part::kLock, Call::kStat), Use::kTake)) continue;
    if (found == FoundLock::kFresh) {
      const FileUse read = TakeFile(Part::kLock);
      (void)Tell(read.failed, Use::kOwner);
      const std::string owner = FirstLine(left_line.substr(0, static_cast<size_t>(read.moved)));
      if (!owner.empty()) Say("Lock owner: " + owner);
      return false;
    }
    Say("Found a stale lock file (30 minutes old) -- clearing it");
    if (Tell(TakeOne(Part::kLock, Call::kRemoveUnchanged), Use::kTake) || last) return false;
  }
  return false;
}

void Story::ReleaseLock() {
  const FileUse read = TakeFile(Part::kLock);
  if (read.opened && read.failed != nullptr && read.failed->TheCall() == Call::kReadAt) {
    (void)Tell(read.failed, Use::kRelease);
    return;
  }
  if (!read.opened && Tell(read.failed, Use::kRelease)) return;
  (void)Tell(TakeOne(Part::kLock, Call::kRemove), Use::kRelease);
}

bool Story::LoadConferences() {
  const FileUse table = TakeFile(Part::kConferences);
  SetWord("record", table.moved / kConferenceSize + 1);
  if (Tell(table.failed, Use::kStart)) return false;
  const auto count = static_cast<int64_t>(Found("conf/CVMCONF.DAT").size()) / kConferenceSize;
  Say("Loaded " + std::to_string(count) + " conference(s) from CVMCONF.DAT");
  return true;
}

bool Story::CheckNodes() { return !Tell(TakeFile(Part::kNodes).failed, Use::kStart); }

bool Story::PreflightAll() {
  bool sound = true;
  while (IsNext(Part::kPtr, Call::kStat)) {
    if (!JudgeBase(LookAtBase())) sound = false;
  }
  return sound;
}

bool Story::PrepareMessageBase() {
  if (!LoadConferences()) {
    Say("Aborting: conference configuration validation failed");
    return false;
  }
  if (!CheckNodes()) {
    Say("Aborting: unable to verify that Corvane nodes are free");
    return false;
  }
  Say("Node check: 1 node record(s), all idle");
  (void)Tell(TakeOne(Part::kDirectory, Call::kOpenDirectory), Use::kWalk);
  if (PreflightAll()) return true;
  Say("Aborting: one or more FTN conference message bases failed preflight");
  return false;
}

BaseLook Story::LookAtBase() {
  BaseLook look;
  const auto inspect = [&](Part part, bool* there, int64_t* size) {
    if (look.failed != nullptr) return;
    const Step* const step = TakeOne(part, Call::kStat);
    if (step == nullptr) {
      ADD_FAILURE() << "a file of the message base was not looked at";
      return;
    }
    look.conference = step->conference;
    if (step->failed) look.failed = step;
    *there = step->Answer() == kOsOk;
    *size = step->record->found_size;
  };
  inspect(Part::kPtr, &look.has_ptr, &look.ptr_size);
  inspect(Part::kDat, &look.has_dat, &look.dat_size);
  inspect(Part::kIdx, &look.has_idx, &look.idx_size);
  look.ptr = TakeFile(Part::kPtr, {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose});
  return look;
}

bool Story::JudgeBase(const BaseLook& look) {
  const std::string conference = "conference " + std::to_string(look.conference);
  SetWord("conf", look.conference);
  const int64_t headers = look.ptr_size / kPtrSize;
  const int64_t dat_records = look.dat_size / kDatSize;
  if (Tell(look.failed, Use::kPreflight)) return false;
  if (look.ptr_size % kPtrSize != 0 || look.idx_size % kIdxSize != 0 || look.dat_size % kDatSize != 0) {
    Say("ERROR: " + conference + " has a non-record-aligned PTR, IDX, or DAT file");
    return false;
  }
  if (look.ptr_size == 0 && (look.idx_size != 0 || look.dat_size != 0)) {
    Say("ERROR: " + conference + " has IDX/DAT data but no PTR records");
    return false;
  }
  if (look.idx_size / kIdxSize > headers) {
    Say("ERROR: " + conference + " IDX has " + std::to_string(look.idx_size / kIdxSize) + " records but PTR has only " +
        std::to_string(headers));
    return false;
  }
  if (headers == 0) return true;  // then it is not read
  for (const Header& header : HeadersSeen(look)) {
    if (header.where + header.records <= dat_records) continue;
    Say("ERROR: " + conference + " message #" + std::to_string(header.number) +
        " points past DAT (Where=" + std::to_string(header.where) + ", Records=" + std::to_string(header.records) +
        ", DAT records=" + std::to_string(dat_records) + ")");
    return false;
  }
  SetWord("record", look.ptr.moved / kPtrSize);
  return !Tell(look.ptr.failed, Use::kPreflight);
}

std::vector<Header>& Story::HeadersOf(int conference) {
  const auto known = headers_.find(conference);
  if (known != headers_.end()) return known->second;
  std::vector<Header>& headers = headers_[conference];
  const std::string ptr = Found(conference, "PTR");
  for (size_t at = 0; at < ptr.size(); at += kPtrSize) {
    EXPECT_EQ(ptr.at(at + kDeletedAt), '\0');
    headers.push_back(
        {NumberAt(ptr, at + kNumberAt, 4), NumberAt(ptr, at + kWhereAt, 2), NumberAt(ptr, at + kRecordsAt, 2)});
  }
  return headers;
}

std::vector<Header> Story::HeadersSeen(const BaseLook& look) {
  const std::vector<Header>& headers = HeadersOf(look.conference);
  const auto seen = static_cast<size_t>(look.ptr.moved / kPtrSize);
  EXPECT_LE(seen, headers.size());
  return {headers.begin(), headers.begin() + static_cast<ptrdiff_t>(std::min(seen, headers.size()))};
}

const Step* Story::RestoreFile(Part part, bool existed) {
  const Step* undone = nullptr;
  if (existed) {
    const FileUse cut = TakeFile(part, {Call::kOpen, Call::kSetSize, Call::kClose});
    EXPECT_TRUE(cut.opened || cut.failed != nullptr) << "a file was not cut back";
    undone = cut.failed;
  } else {
    undone = TakeOne(part, Call::kRemove);
    EXPECT_NE(undone, nullptr) << "a file was not removed again";
  }
  if (undone != nullptr && undone->failed) return undone;
  const Step* const seen = TakeOne(part, Call::kStat);
  EXPECT_NE(seen, nullptr) << "a file that was taken back was not looked at again";
  return seen != nullptr && seen->failed ? seen : nullptr;
}
