// Every file that is found through a configured directory, at the longest path that is tried and at one character more.
//
// The directories are real: their paths are lengthened by repeated separators, which both systems ignore.
#include <cstring>
#include <functional>

#include "app/run_lock.h"
#include "bbs/conference_table.h"
#include "bbs/node_status.h"
#include "bbs/preflight.h"
#include "bbs/sig_file.h"
#include "scan/export_commit.h"
#include "scan/msgid_serial.h"
#include "toss/route_message.h"
#include "toss/source_disposal.h"
#include "toss/toss_run.h"
#include "unit/support/site_fixture.h"

namespace {

constexpr size_t kLongestPath = 511;

// Windows does not accept such paths: there the test only shows that the system was asked.
const bool kTakesLongPaths = strcmp(kOsLineEnd, "\n") == 0;

class PathLimits : public SiteFixture {
 protected:
  // `use` finds the file `name` in the directory and says whether it could be used.
  void ExpectLimit(const std::string& directory, const std::string& name, const std::function<bool(const char*)>& use) {
    const size_t longest = kLongestPath - 1 - name.size();
    const std::string fits = DrawnOut(directory, longest);
    const std::string too_long = DrawnOut(directory, longest + 1);
    const int before = door_.Count(Call::kAny);
    EXPECT_FALSE(use(too_long.c_str())) << name;
    EXPECT_EQ(door_.Count(Call::kAny), before) << name << " was looked for under a path of 512 characters";
    EXPECT_TRUE(use(fits.c_str()) || !kTakesLongPaths) << name;
    EXPECT_GT(door_.Count(Call::kAny), before) << name;
  }

  static std::string DrawnOut(const std::string& directory, size_t size) {
    EXPECT_LT(directory.size(), size);
    return directory + std::string(size - directory.size(), '/');
  }
};

// The one name that a directory is said to hold.
std::string listed_name;
bool is_listed = false;

OsResult ListTheName(void*, char* name, size_t size) {
  if (is_listed || listed_name.size() >= size) return kOsMissing;
  is_listed = true;
  listed_name.copy(name, listed_name.size());
  name[listed_name.size()] = '\0';
  return kOsOk;
}

}  // namespace

TEST_F(PathLimits, OfTheConferenceTable) {
  ExpectLimit(site_.Conf(), "CVMCONF.DAT", [](const char* directory) {
    ConferenceTable table;
    return LoadConferences(directory, &table) == 0;
  });
}

TEST_F(PathLimits, OfTheNodeFile) {
  ExpectLimit(site_.Conf("WORK"), "CVWHOSON.DAT", [](const char* directory) {
    NodeStatus status;
    return ReadNodeStatus(directory, &status) == kNodesIdle;
  });
}

TEST_F(PathLimits, OfTheLock) {
  ExpectLimit(site_.Msg(), "CVTOSS.BSY", [](const char* directory) {
    RunLock lock;
    const bool taken = AcquireRunLock(directory, "-toss", &lock);
    ReleaseRunLock(&lock);
    return taken;
  });
  EXPECT_FALSE(PathExists(site_.LockFile()) && kTakesLongPaths);
}

TEST_F(PathLimits, OfTheMessageBaseOfConferencesOfTwoAndThreeDigits) {
  for (const int conference : {7, 99, 100, 200}) {
    site_.Base(conference).Add({});
    ExpectLimit(site_.Msg(), conference < 100 ? "CVMSGnn.PTR" : "CVMSGnnn.PTR", [conference](const char* directory) {
      PreflightResult result;
      return PreflightMessageBase(directory, conference, false, &result) == 0 && result.ptr_count == 1;
    });
  }
}

TEST_F(PathLimits, OfASigFileThatIsAppendedTo) {
  ExpectLimit(site_.Msg(), "CVMSG07.SIG", [](const char* directory) { return SigAppend(directory, 7, "m", 1) == 0; });
  if (kTakesLongPaths) {
    EXPECT_EQ(ReadFile(site_.Base(7).Path("SIG")), "m\t1\r\n");
  }
}

TEST_F(PathLimits, OfASigFileInWhichANumberIsLookedUp) {
  WriteFile(site_.Base(107).Path("SIG"), "m\t1\n");
  ExpectLimit(site_.Msg(), "CVMSG107.SIG", [](const char* directory) {
    char msgid[kFoundMsgidSize];
    return SigFindMsgid(directory, 107, 1, msgid);
  });
}

TEST_F(PathLimits, OfTheSerialFile) {
  ExpectLimit(site_.Msg(), "CVOUTBOUND.SEQ", [](const char* directory) {
    uint32_t serial = 0;
    return NextSerial(directory, &serial) == 0 && serial == 1;
  });
}

TEST_F(PathLimits, OfTheListOfBadAreas) {
  ExpectLimit(site_.Msg(), "BADAREAS.LST", [this](const char* directory) {
    RecordBadArea(directory, "NONE");
    return PathExists(site_.Msg("BADAREAS.LST"));
  });
}

TEST_F(PathLimits, OfTheSigFileOfACommitWhichThenLeavesTheMessageUnsent) {
  BaseMessage unsent;
  unsent.sent = false;
  site_.Base(1).Add(unsent);
  ExportRecord record = {};
  site_.Base(1).Path("PTR").copy(record.ptr.text, sizeof record.ptr.text - 1);
  record.conference = 1;
  record.msg_number = 1;
  record.msgid[0] = 'm';
  ExportQueue queue;
  RunLock lock;
  ASSERT_EQ(QueueExport(record, &queue), 0);
  ExpectLimit(site_.Msg(), "CVMSG01.SIG", [&](const char* directory) {
    return CommitExports({&site_.config, directory, &lock}, queue) == 0;
  });
  const Strings lines = TakeLines();
  ASSERT_EQ(lines.size(), kTakesLongPaths ? 1U : 2U);
  EXPECT_EQ(
      lines[0],
      "ERROR: bundle exists, but could not inspect SIG state for conf 1 msg #1; leaving it unsent for safe retry");
}

// An inbound file's path may have 599 characters, that of its place in the processed directory 1023.

TEST_F(PathLimits, OfAnInboundFile) {
  OsInForce().ListNext = ListTheName;
  for (const size_t size : {599U, 600U}) {
    listed_name = std::string(size - site_.In().size() - 1, 'n');
    is_listed = false;
    EXPECT_EQ(RunToss(site_.config), 0);
    EXPECT_TRUE(is_listed);
    EXPECT_EQ(door_.Count(Call::kStat, "/" + listed_name), size == 599 ? 1 : 0);
    EXPECT_EQ(TakeLines().back(), "=== cvtoss32 -toss run complete: 0 file(s) processed ===");
  }
}

TEST_F(PathLimits, OfAProcessedFile) {
  const std::string source = site_.In("a.pkt");
  WriteFile(source, "packet");
  TossSource read = {source.c_str(), "a.pkt", {}};
  {
    OsFile file;
    ASSERT_EQ(kOsNative.Open(source.c_str(), kOsRead, &file.handle, nullptr), kOsOk);
    ASSERT_EQ(kOsNative.Identify(file.handle, &read.identity), kOsOk);
    (void)kOsNative.Close(file.handle);
    file.handle = kOsNone;
  }
  const size_t longest = 1023 - strlen("/a.pkt");
  const std::string too_long = DrawnOut(site_.Done(), longest + 1);
  FilingDirectory processed = {too_long.c_str(), kOsTrustPath};
  EXPECT_EQ(MoveToProcessed(read, &processed), -1);
  EXPECT_EQ(log_.CountOfStart("  ERROR: processed but could not move to "), 1);
  EXPECT_EQ(ReadFile(source), "packet");
  EXPECT_EQ(door_.Count(Call::kAny), 0);
  const std::string fits = DrawnOut(site_.Done(), longest);
  processed.path = fits.c_str();
  const int moved = MoveToProcessed(read, &processed);
  EXPECT_GT(door_.Count(Call::kAny), 0);
  if (!kTakesLongPaths) return;
  EXPECT_EQ(moved, 0);
  EXPECT_EQ(log_.CountOf(("  moved to " + fits + "/a.pkt").substr(0, 1023)), 1);  // as much as a line holds
  EXPECT_EQ(ReadFile(site_.Done("a.pkt")), "packet");
}
