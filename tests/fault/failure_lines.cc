#include "fault/failure_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

struct Case {
  Use use;
  std::vector<Part> parts;
  std::vector<Call> calls;
  const char* line;  // nullptr: nothing is said
};

constexpr Part kNoMemory = Part::kMemory;
const std::vector<Call> kReading = {Call::kSize, Call::kReadAt};
const std::vector<Call> kReadingWhole = {Call::kOpen,   Call::kIdentify, Call::kSize,
                                         Call::kReadAt, Call::kClose,    Call::kReallocate};
const std::vector<Call> kWritingWhole = {Call::kOpen, Call::kWrite, Call::kFlush, Call::kClose};
const std::vector<Part> kBase = {Part::kDat, Part::kIdx, Part::kPtr, Part::kSig};

const Case kCases[] = {
    {Use::kTake, {Part::kLock}, {Call::kOpen}, "ERROR: could not create lock {path}: errno=13"},
    // The abort line of the run is all that is said of these.
    {Use::kTake,
     {Part::kLock},
     {Call::kWrite, Call::kClose, Call::kStat, Call::kRemove, Call::kRemoveUnchanged},
     nullptr},
    {Use::kOwner, {Part::kLock}, {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose}, nullptr},
    {Use::kRelease, {Part::kLock}, {Call::kClose}, nullptr},
    {Use::kRelease,
     {Part::kLock},
     {Call::kOpen, Call::kReadAt, Call::kRemove},
     "WARNING: could not remove lock file {path}"},

    {Use::kStart, {Part::kConferences}, {Call::kOpen}, "FATAL: could not open {path}"},
    {Use::kStart, {Part::kConferences}, {Call::kSize}, "FATAL: could not size {path}"},
    {Use::kStart, {Part::kConferences}, {Call::kReadAt}, "FATAL: short read in {path} at conference {record}"},
    {Use::kStart, {Part::kConferences}, {Call::kClose}, "FATAL: could not close {path} cleanly"},

    {Use::kStart,
     {Part::kNodes},
     {Call::kOpen},
     "ERROR: could not open {path} to verify that all Corvane nodes are free"},
    {Use::kStart, {Part::kNodes}, {Call::kSize}, "ERROR: could not seek {path}"},
    {Use::kStart, {Part::kNodes}, {Call::kReadAt}, "ERROR: short read while checking {path}"},
    {Use::kStart, {Part::kNodes}, {Call::kClose}, nullptr},

    {Use::kPreflight,
     {Part::kPtr, Part::kDat, Part::kIdx},
     {Call::kStat},
     "ERROR: could not inspect message-base files for conference {conf}"},
    {Use::kPreflight, {Part::kPtr}, {Call::kOpen}, "ERROR: could not open {path} for preflight"},
    {Use::kPreflight, {Part::kPtr}, kReading, "ERROR: short PTR read in conference {conf} at record {record}"},
    {Use::kPreflight, {Part::kPtr}, {Call::kClose}, "ERROR: could not close {path} after preflight"},

    {Use::kCheck, {Part::kDirectory}, {Call::kStat}, "ERROR: {directive} does not exist or is not a directory: {path}"},
    {Use::kCheck, {Part::kLock}, {Call::kStat}, nullptr},

    {Use::kWalk, {Part::kProcessedDirectory}, {Call::kMakeDirectory}, nullptr},
    {Use::kWalk, {Part::kDirectory}, {Call::kListOpen}, "FATAL: could not open inbound dir {path}"},
    {Use::kWalk,
     {Part::kDirectory},
     {Call::kListNext},
     "ERROR: could not read inbound dir {path} to its end; the rest waits for the next run"},
    {Use::kWalk, {Part::kDirectory}, {Call::kOpenDirectory}, nullptr},
    {Use::kWalk,
     {kNoMemory},
     {Call::kReallocate},
     "ERROR: could not read inbound dir <site>/in to its end; the rest waits for the next run"},
    {Use::kWalk, {Part::kInbound, Part::kProcessedDirectory, Part::kBadDirectory}, {Call::kStat}, nullptr},
    {Use::kSource, {Part::kInbound, kNoMemory}, kReadingWhole, "Could not read inbound file {name}; skipping"},

    {Use::kInflate, {kNoMemory}, {Call::kReallocate}, "  ERROR: out of memory inflating ZIP entry '{entry}'"},
    {Use::kInflate, {kNoMemory}, {Call::kAllocate}, "  ERROR: inflateInit2 failed (code -4) for entry '{entry}'"},
    {Use::kText,
     {kNoMemory},
     {Call::kReallocate},
     "  ERROR: could not allocate/clean message body; source packet will be retained"},
    {Use::kSave, {Part::kBadDirectory}, {Call::kMakeDirectory}, nullptr},
    {Use::kSave,
     {Part::kBadDirectory},
     {Call::kOpenDirectory},
     "  ERROR: could not save bad packet for review (tried {path}/BAD_1763166684.PKT)"},
    {Use::kSave, {Part::kBadCopy}, {Call::kRemove}, nullptr},
    {Use::kSave, {Part::kBadCopy}, {Call::kOpen}, "  ERROR: could not save bad packet for review (tried {path})"},
    {Use::kSave, {Part::kBadCopy}, {Call::kWrite, Call::kClose}, nullptr},

    {Use::kAppend, {Part::kBadAreas}, {Call::kOpen, Call::kWrite, Call::kClose}, nullptr},
    {Use::kLookUp, {Part::kSig}, {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose}, nullptr},
    {Use::kSnapshot, {Part::kSig}, {Call::kStat}, "ERROR: could not inspect SIG file for conf {conf}"},
    {Use::kAppend,
     {kNoMemory},
     {Call::kReallocate},
     "ERROR: out of memory while preparing message body for conf {conf}"},
    {Use::kAppend,
     kBase,
     {Call::kOpen},
     "ERROR: could not open all conf {conf} message-base files for a checked append"},
    {Use::kSeek, kBase, {Call::kWriteAt}, "ERROR: could not seek to append positions for conf {conf}"},
    {Use::kAppend, {Part::kDat}, {Call::kWriteAt}, "ERROR: DAT write failed while appending conf {conf}"},
    {Use::kAppend,
     {Part::kIdx, Part::kPtr, Part::kSig},
     {Call::kWriteAt},
     "ERROR: checked message-base append failed for conf {conf}"},
    {Use::kAppend, kBase, {Call::kFlush}, "ERROR: checked message-base append failed for conf {conf}"},
    {Use::kAppend, kBase, {Call::kClose}, nullptr},
    {Use::kRollBack,
     kBase,
     {Call::kOpen, Call::kSetSize, Call::kClose, Call::kRemove, Call::kStat},
     "CRITICAL: conf {conf} append failed and at least one rollback also failed; message base requires inspection"},

    {Use::kDispose,
     {Part::kProcessedDirectory, Part::kProcessed, Part::kInbound},
     {Call::kOpenDirectory, Call::kRename, Call::kSameFile},
     "  ERROR: processed but could not move to {target}; source remains inbound"},
    {Use::kDispose, {Part::kProcessed}, {Call::kRemove}, nullptr},
    {Use::kDispose, {Part::kInbound}, {Call::kRemove}, "  ERROR: processed but could not delete {path}"},

    {Use::kScan, {kNoMemory}, {Call::kReallocate}, "ERROR: out of memory allocating outbound packet buffer"},
    {Use::kScan, {Part::kPtr}, {Call::kOpen}, nullptr},
    {Use::kScan, {Part::kPtr}, {Call::kReadAt}, "ERROR: read failure while scanning {path}"},
    {Use::kScan, {Part::kPtr}, {Call::kClose}, "ERROR: failed closing {path} after scan"},
    {Use::kBody,
     {Part::kDat, kNoMemory},
     kReadingWhole,
     "  msg #{msg} in conf {conf}: could not read body records -- skipping"},
    {Use::kStrip, {kNoMemory}, {Call::kReallocate}, "ERROR: out of memory stripping outbound body"},
    {Use::kSerial,
     {Part::kSerial},
     {Call::kOpen, Call::kSize, Call::kReadAt, Call::kWriteAt, Call::kSetSize, Call::kFlush, Call::kClose},
     "ERROR: could not allocate/persist the next outbound MSGID serial"},
    {Use::kAssemble, {kNoMemory}, {Call::kReallocate}, "ERROR: out of memory assembling outbound {kind}"},
    {Use::kQueue, {kNoMemory}, {Call::kReallocate}, "ERROR: out of memory queuing outbound {kind}"},

    {Use::kPacketOut, {Part::kPacket}, kWritingWhole, "ERROR: could not write temp packet file {path}"},
    {Use::kPacketOut, {Part::kPacket}, {Call::kRemove}, nullptr},
    {Use::kPacketBack,
     {Part::kPacket, kNoMemory},
     kReadingWhole,
     "ERROR: could not read back complete temp packet {packet}"},
    {Use::kPacketBack, {Part::kPacket}, {Call::kRemove}, "WARNING: could not remove temp packet {path}"},
    {Use::kPublish, {Part::kBundle}, {Call::kStat}, nullptr},
    {Use::kPublish, {Part::kTemporary}, {Call::kRemove}, nullptr},
    {Use::kPublish, {Part::kTemporary}, kWritingWhole, "ERROR: could not write temporary bundle {path}"},
    {Use::kPublish, {Part::kBundle}, {Call::kRename}, "ERROR: could not atomically publish bundle {path}"},

    {Use::kCommit,
     {Part::kSig},
     {Call::kStat},
     "ERROR: bundle exists, but could not inspect SIG state for conf {conf} msg #{msg}; leaving it unsent for safe retry"},
    {Use::kCommit,
     {Part::kSig},
     kWritingWhole,
     "ERROR: bundle exists, but could not append SIG for conf {conf} msg #{msg}; leaving it unsent for safe retry"},
    // What is said of these depends on whether the mark is there after all.
    {Use::kMark, {Part::kPtr}, {Call::kOpen, Call::kWriteAt, Call::kFlush, Call::kClose}, nullptr},
    {Use::kVerify, {Part::kPtr}, {Call::kOpen, Call::kReadAt, Call::kClose}, nullptr},
    {Use::kTakeBack,
     {Part::kSig},
     {Call::kOpen, Call::kSetSize, Call::kClose, Call::kRemove, Call::kStat},
     "CRITICAL: could not mark conf {conf} msg #{msg} sent and could not remove its newly-added SIG entry; manual review required"},
};

template <class Value>
bool Holds(const std::vector<Value>& values, Value value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

}  // namespace

std::string FailureLine(const Step& step, Use use, const Words& words, const Site& site) {
  for (const Case& one : kCases) {
    if (one.use != use || !Holds(one.parts, step.part) || !Holds(one.calls, step.TheCall())) continue;
    if (one.line == nullptr) return "";
    Words all = words;
    all["path"] = step.ShownPath(site);
    return Worded(one.line, all);
  }
  ADD_FAILURE() << "no line is known for the failure of call " << static_cast<int>(step.TheCall()) << " on "
                << step.record->path << ", use " << static_cast<int>(use);
  return "";
}

std::string Worded(std::string line, const Words& words) {
  for (size_t at = line.find('{'); at != std::string::npos; at = line.find('{', at)) {
    const size_t end = line.find('}', at);
    const auto found = words.find(line.substr(at + 1, end - at - 1));
    if (found == words.end()) {
      ADD_FAILURE() << "nothing is known for a word of: " << line;
      return line;
    }
    line.replace(at, end + 1 - at, found->second);
    at += found->second.size();
  }
  return line;
}
