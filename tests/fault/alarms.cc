#include "fault/alarms.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Lines = std::vector<std::string>;

// The lines that a run may log when one of these calls on one of these files fails; * is any text, {path} and {conf}
// are those of the call.
struct Case {
  std::vector<Part> parts;
  std::vector<Call> calls;
  Lines lines;
  bool may_be_silent = false;  // nothing depends on it, or what does has a line of its own
};

constexpr bool kMayBeSilent = true;
constexpr Part kNoMemory = Part::kMemory;
const std::vector<Part> kBase = {Part::kDat, Part::kIdx, Part::kPtr, Part::kSig};
const std::vector<Call> kReading = {Call::kOpen, Call::kSize, Call::kReadAt, Call::kClose};
const std::vector<Call> kWriting = {Call::kOpen, Call::kWrite, Call::kSyncFile, Call::kClose};

constexpr char kNotRolledBack[] =
    "CRITICAL: conf {conf} append failed and at least one rollback also failed; message base requires inspection";
constexpr char kAppendFailed[] = "ERROR: checked message-base append failed for conf {conf}";
constexpr char kNoPositions[] = "ERROR: could not seek to append positions for conf {conf}";
constexpr char kNotInspected[] = "ERROR: could not inspect message-base files for conference {conf}";
constexpr char kLeftSigLine[] =
    "CRITICAL: could not mark conf {conf} msg #* sent and could not remove its newly-added SIG entry; manual review required";
constexpr char kNoSigLine[] =
    "ERROR: bundle exists, but could not append SIG for conf {conf} msg #*; leaving it unsent for safe retry";
constexpr char kNotListed[] = "ERROR: could not read inbound dir <site>/in to its end; the rest waits for the next run";
constexpr char kNotMoved[] = "  ERROR: processed but could not move to *; source remains inbound";
constexpr char kNotDurable[] = "  ERROR: could not make stored mail durable; source remains inbound";
constexpr char kCommitErrors[] = "=== cvtoss32 -scan completed with COMMIT ERRORS: *";
constexpr char kCheckFailed[] = "=== cvtoss32 -check FAILED: *";
constexpr char kUndone[] = "  conf * append failed; DAT/IDX/PTR/SIG restored to their original sizes";
constexpr char kMessageFailed[] = "  msg *: message-base append failed; source packet will be retained";
constexpr char kRetaining[] = "  retaining *";
constexpr char kNoBody[] = "  msg #* in conf *: could not read body records -- skipping";

const Case kCases[] = {
    {{Part::kLock}, {Call::kOpen}, {"ERROR: could not create lock {path}: errno=13"}, kMayBeSilent},
    {{Part::kLock}, {Call::kOpen, Call::kReadAt, Call::kRemove}, {"WARNING: could not remove lock file {path}"}},
    // The abort line of the run is the only line for these.
    {{Part::kLock},
     {Call::kWrite, Call::kSize, Call::kReadAt, Call::kClose, Call::kStat, Call::kRemove, Call::kRemoveUnchanged,
      Call::kTouch},
     {},
     kMayBeSilent},

    {{Part::kConferences}, {Call::kOpen}, {"FATAL: could not open {path}"}},
    {{Part::kConferences}, {Call::kSize}, {"FATAL: could not size {path}"}},
    {{Part::kConferences}, {Call::kReadAt}, {"FATAL: short read in {path} at conference *"}},
    {{Part::kConferences}, {Call::kClose}, {"FATAL: could not close {path} cleanly"}},
    {{Part::kNodes}, {Call::kOpen}, {"ERROR: could not open {path} to verify that all Corvane nodes are free"}},
    {{Part::kNodes}, {Call::kSize}, {"ERROR: could not seek {path}"}},
    {{Part::kNodes}, {Call::kReadAt}, {"ERROR: short read while checking {path}"}},
    {{Part::kNodes}, {Call::kClose}, {}, kMayBeSilent},

    {{Part::kDirectory}, {Call::kStat}, {"ERROR: * does not exist or is not a directory: {path}"}},
    {{Part::kDirectory}, {Call::kListOpen}, {"FATAL: could not open inbound dir {path}"}},
    {{Part::kDirectory}, {Call::kListNext}, {kNotListed}},
    {{Part::kDirectory}, {Call::kOpenDirectory}, {}, kMayBeSilent},
    {{Part::kDirectory}, {Call::kSyncFiles}, {kNotDurable, "ERROR: could not write temporary bundle *", kCommitErrors}},
    {{Part::kDirectory}, {Call::kSyncDirectory}, {kCommitErrors}},
    {{Part::kBadDirectory}, {Call::kSyncFiles}, {kNotDurable}, kMayBeSilent},
    {{Part::kInbound, Part::kProcessedDirectory, Part::kBadDirectory}, {Call::kStat}, {}, kMayBeSilent},
    {{Part::kProcessedDirectory, Part::kBadDirectory}, {Call::kMakeDirectory}, {}, kMayBeSilent},
    {{Part::kInbound}, kReading, {"Could not read inbound file *; skipping"}},
    {{Part::kInbound}, {Call::kIdentify}, {"Could not read inbound file *; skipping"}},
    {{Part::kInbound}, {Call::kRename, Call::kSameFile}, {kNotMoved}},
    {{Part::kInbound}, {Call::kRemove}, {"  ERROR: processed but could not delete {path}"}},
    {{Part::kProcessedDirectory}, {Call::kOpenDirectory}, {kNotMoved}},
    {{Part::kProcessed}, {Call::kRename, Call::kSameFile}, {kNotMoved}},
    {{Part::kProcessed}, {Call::kRemove}, {}, kMayBeSilent},
    {{Part::kBadDirectory}, {Call::kOpenDirectory}, {"  ERROR: could not save bad packet for review (tried {path}/*)"}},
    {{Part::kBadCopy}, {Call::kOpen}, {"  ERROR: could not save bad packet for review (tried {path})"}},
    {{Part::kBadCopy}, {Call::kRemove, Call::kWrite, Call::kClose}, {}, kMayBeSilent},
    {{Part::kBadAreas}, {Call::kOpen, Call::kWrite, Call::kClose}, {}, kMayBeSilent},

    {{Part::kPtr, Part::kDat, Part::kIdx}, {Call::kStat}, {kNotInspected, kNotRolledBack}},
    {{Part::kSig},
     {Call::kStat},
     {"ERROR: could not inspect SIG file for conf {conf}",
      "ERROR: bundle exists, but could not inspect SIG state for conf {conf} msg #*; leaving it unsent for safe retry",
      kNotRolledBack, kLeftSigLine}},
    {{Part::kPtr}, {Call::kOpen}, {"ERROR: could not open {path} for preflight"}, kMayBeSilent},
    {{Part::kPtr},
     {Call::kSize, Call::kReadAt},
     {"ERROR: short PTR read in conference {conf} at record *", "ERROR: read failure while scanning {path}"},
     kMayBeSilent},
    {{Part::kPtr},
     {Call::kClose},
     {"ERROR: could not close {path} after preflight", "ERROR: failed closing {path} after scan"},
     kMayBeSilent},
    {kBase,
     {Call::kOpen},
     {"ERROR: could not open all conf {conf} message-base files for a checked append", kNotRolledBack}},
    {kBase, {Call::kClose}, {kNotRolledBack}, kMayBeSilent},
    {{Part::kDat}, {Call::kWriteAt}, {"ERROR: DAT write failed while appending conf {conf}", kNoPositions}},
    {{Part::kPtr}, {Call::kWriteAt}, {}, kMayBeSilent},  // what a mark that failed says follows from it
    {{Part::kIdx, Part::kPtr, Part::kSig}, {Call::kWriteAt}, {kAppendFailed, kNoPositions}},
    {kBase, {Call::kSetSize, Call::kRemove}, {kNotRolledBack}},
    {{Part::kDat}, kReading, {kNoBody}},
    {{Part::kSig}, kReading, {}, kMayBeSilent},  // a SIG file that cannot be read counts as empty
    {{Part::kSig}, kWriting, {kNoSigLine}},
    {{Part::kSig}, {Call::kOpen, Call::kSetSize, Call::kClose, Call::kRemove}, {kLeftSigLine}},

    {{Part::kSerial},
     {Call::kOpen, Call::kSize, Call::kReadAt, Call::kWriteAt, Call::kSyncFile, Call::kSetSize, Call::kClose},
     {"ERROR: could not allocate/persist the next outbound MSGID serial"}},
    {{Part::kPacket}, kWriting, {"ERROR: could not write temp packet file {path}"}},
    {{Part::kPacket}, kReading, {"ERROR: could not read back complete temp packet {path}"}},
    {{Part::kPacket}, {Call::kRemove}, {"WARNING: could not remove temp packet {path}"}, kMayBeSilent},
    {{Part::kBundle}, {Call::kStat}, {}, kMayBeSilent},
    {{Part::kBundle}, {Call::kRename}, {"ERROR: could not atomically publish bundle {path}"}},
    {{Part::kTemporary}, {Call::kRemove}, {}, kMayBeSilent},
    {{Part::kTemporary}, kWriting, {"ERROR: could not write temporary bundle {path}"}},

    {{kNoMemory},
     {Call::kAllocate, Call::kReallocate},
     {kNotListed, "Could not read inbound file *; skipping", "  ERROR: out of memory inflating ZIP entry '*'",
      "  ERROR: inflateInit2 failed (code -4) for entry '*'",
      "  ERROR: could not allocate/clean message body; source packet will be retained",
      "ERROR: out of memory while preparing message body for conf *",
      "ERROR: out of memory allocating outbound packet buffer", kNoBody, "ERROR: out of memory stripping outbound body",
      "ERROR: out of memory assembling outbound *", "ERROR: out of memory queuing outbound *",
      "ERROR: could not read back complete temp packet *"}},
};

// Lines that follow from an alarm, or from what a failed rollback has left.
const Lines kConsequences = {
    "Aborting: *",
    kCheckFailed,
    kUndone,
    kMessageFailed,
    kRetaining,
    kNotDurable,
    kCommitErrors,
    "  ERROR: ZIP contained no successfully handled FidoNet packet entries",
    "ERROR: conference * failed message-base preflight; refusing to append",
    "ERROR: conference * has a non-record-aligned PTR, IDX, or DAT file",
    "ERROR: conference * has IDX/DAT data but no PTR records",
    "ERROR: conference * IDX has * records but PTR has only *",
    "ERROR: conference * message #* points past DAT *",
    "WARNING: mark-sent reported an error for conf * msg #*, but verification confirms MsgSent=1; keeping its SIG entry",
    "ERROR: bundle exists, but could not mark conf * msg #* sent; its SIG append was rolled back and it remains safe to retry",
};

// Alarms that leave the status at 0.
const Lines kHarmless = {"WARNING: *", "Could not read inbound file *", "  ERROR: could not save bad packet *",
                         kNoBody};

bool Fits(const std::string& line, const std::string& pattern, size_t at = 0, size_t of_pattern = 0) {
  for (; of_pattern < pattern.size(); ++at, ++of_pattern) {
    if (pattern[of_pattern] == '*') {
      for (size_t next = at; next <= line.size(); ++next) {
        if (Fits(line, pattern, next, of_pattern + 1)) return true;
      }
      return false;
    }
    if (at >= line.size() || line[at] != pattern[of_pattern]) return false;
  }
  return at == line.size();
}

bool FitsAny(const std::string& line, const Lines& patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& one) { return Fits(line, one); });
}

bool IsAlarm(const std::string& line) {
  return FitsAny(line, {"ERROR*", "  ERROR*", "WARNING*", "CRITICAL*", "FATAL*", "Aborting*", "Could not*",
                        kCheckFailed, kCommitErrors, kUndone, kMessageFailed, kRetaining, kNoBody});
}

void Replace(const std::string& word, const std::string& value, std::string* line) {
  const size_t at = line->find(word);
  if (at != std::string::npos) line->replace(at, word.size(), value);
}

template <class Value>
bool Holds(const std::vector<Value>& values, Value value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

struct Told {
  Lines lines;
  bool may_be_silent = false;
};

// The owner line is written by one call, which is not continued if it writes only a part.
bool HasFailed(const Step& step) {
  const bool is_owner_line = step.part == Part::kLock && step.TheCall() == Call::kWrite;
  return step.failed || (is_owner_line && step.Answer() < static_cast<int64_t>(step.record->size));
}

// What the table has for a call that failed; a call that it does not have fails the test.
Told ToldOf(const Step& step, const Site& site) {
  Told told;
  // An older file is removed, and the call is made once more.
  told.may_be_silent = step.part == Part::kProcessed && step.Answer() == kOsExists;
  bool is_known = false;
  for (const Case& one : kCases) {
    if (!Holds(one.parts, step.part) || !Holds(one.calls, step.TheCall())) continue;
    is_known = true;
    told.may_be_silent = told.may_be_silent || one.may_be_silent;
    for (std::string line : one.lines) {
      Replace("{path}", step.ShownPath(site), &line);
      Replace("{conf}", std::to_string(step.conference), &line);
      told.lines.push_back(line);
    }
  }
  EXPECT_TRUE(is_known) << "no line is known for the failure of call " << static_cast<int>(step.TheCall()) << " on "
                        << step.record->path;
  return told;
}

}  // namespace

int ExpectAlarmsOf(const std::vector<Step>& steps, const Lines& lines, const Site& site, const Lines& expected) {
  Lines explained = expected;
  bool is_first = true;
  for (const Step& step : steps) {
    if (!HasFailed(step)) continue;
    const Told told = ToldOf(step, site);
    const bool is_told =
        std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return FitsAny(line, told.lines); });
    EXPECT_TRUE(!is_first || is_told || told.may_be_silent)
        << "nothing is said of the failure of call " << static_cast<int>(step.TheCall()) << " on " << step.record->path;
    explained.insert(explained.end(), told.lines.begin(), told.lines.end());
    if (is_first) explained.insert(explained.end(), kConsequences.begin(), kConsequences.end());
    is_first = false;
  }
  int status = 0;
  for (const std::string& line : lines) {
    if (!IsAlarm(line)) continue;
    EXPECT_TRUE(FitsAny(line, explained)) << "an alarm without a cause: " << line;
    if (!FitsAny(line, kHarmless)) status = 1;
  }
  return status;
}
