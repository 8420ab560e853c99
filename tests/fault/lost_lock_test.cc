// Another run takes the lock in the middle of a run, before each of its calls in turn: half a minute passes, and then
// there is another run's lock. If this is noticed too late, two runs work on one message base, and mail is lost.
#include <algorithm>
#include <filesystem>

#include "scan/scan_run.h"
#include "toss/toss_run.h"
#include "unit/support/packet_bytes.h"
#include "unit/support/site_fixture.h"

namespace {

constexpr char kOthers[] = "cvtoss32 1.05 Beta 5 mode=-scan pid=17 started=1763160000\n";

class LostLock : public SiteFixture {
 protected:
  // Every file of the conference is there, so that an append opens each once.
  LostLock() {
    BaseMessage earlier;
    earlier.msgid = "2:5/6 old";
    site_.Base(1).Add(earlier);
  }

  // Runs from the beginning, and replaces the lock before call `nth`. Returns false when the run has made fewer calls.
  bool Play(int (*run)(const TosserConfig& config), int nth) {
    door_.Clear();
    log_.Clear();
    taken_away_ = false;
    const size_t first = door_.Calls().size();
    lost_at_ = first + static_cast<size_t>(nth) - 1;
    door_.BeforeNth(Call::kAny, nth, [this, first] {
      taken_away_ = process_.break_file == site_.LockFile() && !IsReleasing(first);
      if (!taken_away_) return;
      WriteFile(site_.LockFile(), kOthers);
      clock_.now += kLockLookSeconds;
    });
    status_ = run(site_.config);
    has_noticed_ = log_.CountOfStart("ERROR: lost the run lock " + site_.LockFile() + "; stopping") == 1;
    if (taken_away_) {
      EXPECT_EQ(ReadFile(site_.LockFile()), kOthers);
      EXPECT_EQ(has_noticed_, status_ == 1);
      RemoveFile(site_.LockFile());
    }
    return door_.Calls().size() > lost_at_;
  }

  // Whether the run has begun to release its lock: it has just seen that the lock is its own and not stale.
  bool IsReleasing(size_t first) const {
    const std::vector<CallRecord>& calls = door_.Calls();
    return std::any_of(calls.begin() + static_cast<ptrdiff_t>(first), calls.end() - 1, [this](const CallRecord& call) {
      return call.call == Call::kOpen && call.mode == kOsRead && call.path == site_.LockFile();
    });
  }

  // How often a file with that end was opened to be changed after the lock was lost.
  int OpenedToChange(const std::string& end) const {
    const std::vector<CallRecord>& calls = door_.Calls();
    return static_cast<int>(
        std::count_if(calls.begin() + static_cast<ptrdiff_t>(lost_at_), calls.end(), [&end](const CallRecord& call) {
          const bool ends = call.path.size() > end.size() && call.path.substr(call.path.size() - end.size()) == end;
          return ends && call.call == Call::kOpen && call.mode != kOsRead;
        }));
  }

  // Whether the call before which the lock was lost opens such a file: the check before it was in time.
  bool WasOpening(const std::string& end) const {
    const CallRecord& call = door_.Calls()[lost_at_];
    return call.call == Call::kOpen && call.mode != kOsRead && call.path.substr(call.path.size() - end.size()) == end;
  }

  size_t lost_at_ = 0;
  int status_ = 0;
  bool taken_away_ = false;
  bool has_noticed_ = false;
};

PacketMessage Echo(const std::string& msgid) {
  PacketMessage message;
  message.text = EchoText("GENERAL", msgid, "Hello\r");
  return message;
}

}  // namespace

TEST_F(LostLock, ATossStopsBeforeTheNextAppendAndKeepsTheSource) {
  const std::string packet = PacketBytes({Echo("1:2/3 a"), Echo("1:2/3 b"), Echo("1:2/3 c")});
  WriteFile(site_.In("a.pkt"), packet);
  const auto before = site_.Files();
  int noticed = 0;
  for (int nth = 1; Play(RunToss, nth); ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_LT(nth, 1000);
    EXPECT_TRUE(!taken_away_ || OpenedToChange(".DAT") == (WasOpening(".DAT") ? 1 : 0));
    if (has_noticed_) {
      ++noticed;
      EXPECT_EQ(ReadFile(site_.In("a.pkt")), packet);
      EXPECT_EQ(log_.Lines().back(), "ERROR: lost the run lock " + site_.LockFile() + "; stopping");
    }
    // The next run, alone again, stores what is missing, and nothing twice.
    door_.Clear();
    EXPECT_EQ(RunToss(site_.config), 0);
    EXPECT_EQ(site_.Base(1).Read().size(), 4U);
    EXPECT_FALSE(PathExists(site_.In("a.pkt")));
    site_.Restore(before, site_.Files());
  }
  EXPECT_GT(noticed, 50);
}

TEST_F(LostLock, ARunOfManyHoursKeepsItsLockFreshFromMessageToMessage) {
  WriteFile(site_.In("a.pkt"), PacketBytes({Echo("1:2/3 a"), Echo("1:2/3 b"), Echo("1:2/3 c")}));
  for (const int message : {1, 2, 3}) {
    door_.BeforeNth(
        Call::kWriteAt, message, [this] { clock_.now += kLockUnseenSeconds; }, ".DAT");
  }
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(door_.Count(Call::kTouch), 3);
  EXPECT_EQ(site_.Base(1).Read().size(), 4U);
}

TEST_F(LostLock, MailWithoutMessagesKeepsItFreshFromFileToFileAndFromEntryToEntry) {
  ZipEntryParts entry;
  entry.content = PacketHeaderBytes() + Word(2);  // cut off: it is saved, and no message of it is routed
  const std::string cut = ZipEntryBytes(entry);
  WriteFile(site_.In("d.su0"), cut + cut + cut);
  for (const char* const name : {"a.txt", "b.txt", "c.txt"}) WriteFile(site_.In(name), "unrelated");
  const auto pass = [this] { clock_.now += kLockUnseenSeconds; };
  for (const int nth : {1, 2, 3}) {
    door_.BeforeNth(Call::kOpen, nth, pass, ".txt");
    door_.BeforeNth(Call::kMakeDirectory, nth, pass, "badmsgs");
  }
  EXPECT_EQ(RunToss(site_.config), 0);
  EXPECT_EQ(door_.Count(Call::kTouch), 6);
  EXPECT_FALSE(PathExists(site_.In("d.su0")));
}

TEST_F(LostLock, AScanStopsBeforeItPublishesAndFinishesItsCommitsAfterThat) {
  for (const int number : {2, 3}) {
    BaseMessage unsent;
    unsent.number = number;
    unsent.sent = false;
    site_.Base(1).Add(unsent);
  }
  const auto before = site_.Files();
  int noticed_before = 0;
  int noticed_after = 0;
  for (int nth = 1; Play(RunScan, nth); ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_LT(nth, 1000);
    const bool published = door_.Count(Call::kRename) != 0 && log_.CountOfStart("Published complete bundle: ") == 1;
    const std::vector<BaseMessage> messages = site_.Base(1).Read();
    EXPECT_EQ(messages[1].sent, published);
    EXPECT_EQ(messages[2].sent, published);
    if (has_noticed_) {
      ++(published ? noticed_after : noticed_before);
      if (!published) {
        EXPECT_EQ(log_.Lines().back(), "ERROR: lost the run lock " + site_.LockFile() + "; stopping");
        EXPECT_EQ(std::filesystem::is_empty(site_.Out()), true);
      }
    }
    site_.Restore(before, site_.Files());
  }
  EXPECT_GT(noticed_before, 20);
  EXPECT_GT(noticed_after, 3);
}
