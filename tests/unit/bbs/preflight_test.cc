#include "bbs/preflight.h"

#include "unit/support/site_fixture.h"

namespace {

class Preflight : public SiteFixture {
 protected:
  int Check(bool verbose = false) { return PreflightMessageBase(site_.Msg().c_str(), 7, verbose, &result_); }

  void Resize(const char* kind, int64_t size) const { ResizeFile(base_.Path(kind), size); }

  // One header that holds `records` DatRecords from `where` on, and a DAT file of `dat_count` records.
  void LayHeader(uint16_t where, uint16_t records, int64_t dat_count, int32_t number = 1, bool deleted = false) const {
    BaseMessage message;
    message.where = where;
    message.records = records;
    message.number = number;
    message.deleted = deleted;
    WriteFile(base_.Path("PTR"), PtrBytes(message));
    Resize("DAT", dat_count * 128);
  }

  void ExpectRefused(const std::string& line) {
    result_.ptr_count = 4711;
    EXPECT_EQ(Check(), -1);
    EXPECT_EQ(TakeLines(), Strings{line});
    EXPECT_EQ(result_.ptr_count, 4711) << "a failed preflight measures nothing";
  }

  const TestMessageBase base_ = site_.Base(7);
  PreflightResult result_;
};

using DatCapacity = Preflight;

constexpr char kNotAligned[] = "ERROR: conference 7 has a non-record-aligned PTR, IDX, or DAT file";
constexpr char kNotInspected[] = "ERROR: could not inspect message-base files for conference 7";

}  // namespace

TEST_F(Preflight, MissingFilesAreANewConference) {
  result_ = {{true, 1}, {true, 1}, {true, 1}, 1, 1, 1};
  EXPECT_EQ(Check(), 0);
  EXPECT_FALSE(result_.ptr.exists || result_.dat.exists || result_.idx.exists);
  EXPECT_EQ(result_.ptr.size + result_.dat.size + result_.idx.size, 0);
  EXPECT_EQ(result_.ptr_count + result_.dat_count + result_.idx_count, 0);
  EXPECT_EQ(TakeLines(), Strings{});
  EXPECT_EQ(door_.Count(Call::kOpen), 0);
}

TEST_F(Preflight, EmptyFilesAreThere) {
  for (const char* kind : {"PTR", "DAT", "IDX"}) WriteFile(base_.Path(kind), "");
  EXPECT_EQ(Check(), 0);
  EXPECT_TRUE(result_.ptr.exists && result_.dat.exists && result_.idx.exists);
  EXPECT_EQ(result_.ptr_count, 0);
}

TEST_F(Preflight, SizesAndCountsAreMeasured) {
  BaseMessage message;
  message.body = std::string(300, 'x');
  base_.Add(message);
  base_.Add({});
  EXPECT_EQ(Check(), 0);
  EXPECT_TRUE(result_.ptr.exists && result_.dat.exists && result_.idx.exists);
  EXPECT_EQ(result_.ptr.size, 512);
  EXPECT_EQ(result_.dat.size, 512);
  EXPECT_EQ(result_.idx.size, 32);
  EXPECT_EQ(result_.ptr_count, 2);
  EXPECT_EQ(result_.dat_count, 4);
  EXPECT_EQ(result_.idx_count, 2);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(Preflight, NumbersOf100AndMoreTakeThreeDigits) {
  site_.Base(100).Add({});
  EXPECT_EQ(PreflightMessageBase(site_.Msg().c_str(), 100, false, &result_), 0);
  EXPECT_EQ(result_.ptr_count, 1);
}

TEST_F(Preflight, TheResultMayBeLeftOut) {
  base_.Add({});
  EXPECT_EQ(PreflightMessageBase(site_.Msg().c_str(), 7, false, nullptr), 0);
}

TEST_F(Preflight, APathOf511CharactersIsTriedAndOneOf512IsTooLong) {
  std::string msg_dir(499, 'm');  // "/CVMSG07.PTR" takes 12
  EXPECT_EQ(PreflightMessageBase((msg_dir + "m").c_str(), 7, true, &result_), -1);
  EXPECT_EQ(TakeLines(), Strings{"ERROR: message-base path is too long for conference 7"});
  EXPECT_EQ(door_.Count(Call::kAny), 0);
  (void)PreflightMessageBase(msg_dir.c_str(), 7, false, &result_);
  EXPECT_EQ(log_.CountOfStart("ERROR: message-base path"), 0);
  EXPECT_GE(door_.Count(Call::kStat), 1);
}

TEST_F(Preflight, AStatusThatCannotBeReadIsAnError) {
  for (const char* kind : {".PTR", ".DAT", ".IDX"}) {
    door_.Clear();
    door_.FailNth(Call::kStat, 1, kind);
    ExpectRefused(kNotInspected);
  }
}

TEST_F(Preflight, ASizeBeyond31BitsCannotBeInspected) {
  LayHeader(0, 1, 1);
  Resize("DAT", int64_t{1} << 31);
  ExpectRefused(kNotInspected);
  Resize("DAT", (int64_t{1} << 31) - 128);
  ExpectRefused("ERROR: conference 7 DAT has 16777215 records, beyond Corvane's 16-bit addressable range");
}

TEST_F(Preflight, EveryFileMustHoldWholeRecords) {
  struct Case {
    const char* kind;
    int64_t record;
  };
  for (const Case& c : {Case{"PTR", 256}, Case{"DAT", 128}, Case{"IDX", 16}}) {
    for (const int64_t size : {int64_t{1}, c.record - 1, c.record + 1, c.record * 2 - 1}) {
      LayHeader(0, 1, 1);
      Resize("IDX", 16);
      Resize(c.kind, size);
      ExpectRefused(kNotAligned);
    }
  }
}

TEST_F(Preflight, TextOrIndexWithoutHeadersIsAnError) {
  for (const char* kind : {"DAT", "IDX"}) {
    Resize(kind, 128);
    ExpectRefused("ERROR: conference 7 has IDX/DAT data but no PTR records");
    Resize(kind, 0);
  }
}

TEST_F(Preflight, TheIndexMustNotHoldMoreThanTheHeaders) {
  LayHeader(0, 1, 1);
  Resize("IDX", 16);
  EXPECT_EQ(Check(), 0);
  Resize("IDX", 32);
  ExpectRefused("ERROR: conference 7 IDX has 2 records but PTR has only 1");
}

TEST_F(Preflight, ATrailingIndexIsAWarningOfTheVerboseFlavourOnly) {
  base_.Add({});
  base_.Add({});
  Resize("IDX", 16);
  EXPECT_EQ(Check(false), 0);
  EXPECT_EQ(TakeLines(), Strings{});
  EXPECT_EQ(Check(true), 0);
  EXPECT_EQ(
      TakeLines(),
      (Strings{
          "WARNING: conference 7 IDX trails PTR by 1 record(s); this can be a Corvane-native quirk, but should be monitored",
          "  conf 7 message base: PTR=2 IDX=1 DAT=2 record(s) -- OK"}));
}

TEST_F(Preflight, TheWarningComesBeforeALaterError) {
  LayHeader(0, 0, 1);
  EXPECT_EQ(Check(true), -1);
  EXPECT_EQ(
      TakeLines(),
      (Strings{
          "WARNING: conference 7 IDX trails PTR by 1 record(s); this can be a Corvane-native quirk, but should be monitored",
          "ERROR: conference 7 message #1 has zero body records"}));
}

TEST_F(Preflight, VerboseReportsTheCounts) {
  EXPECT_EQ(Check(true), 0);
  EXPECT_EQ(TakeLines(), Strings{"  conf 7 message base: PTR=0 IDX=0 DAT=0 record(s) -- OK"});
}

TEST_F(Preflight, TheDatFileHoldsAtMost65536Records) {
  LayHeader(65535, 1, 65536);
  EXPECT_EQ(Check(), 0);
  EXPECT_EQ(result_.dat_count, 65536);
  EXPECT_EQ(TakeLines(), Strings{});
  Resize("DAT", 65537 * 128);
  ExpectRefused("ERROR: conference 7 DAT has 65537 records, beyond Corvane's 16-bit addressable range");
}

TEST_F(Preflight, ALiveMessageHasAtLeastOneRecord) {
  LayHeader(0, 0, 1, -5);
  ExpectRefused("ERROR: conference 7 message #-5 has zero body records");
}

TEST_F(Preflight, ALiveMessageEndsWithinTheDatFile) {
  LayHeader(3, 2, 5);
  EXPECT_EQ(Check(), 0);
  LayHeader(3, 2, 4, 12);
  ExpectRefused("ERROR: conference 7 message #12 points past DAT (Where=3, Records=2, DAT records=4)");
  LayHeader(0, 1, 0, 12);
  ExpectRefused("ERROR: conference 7 message #12 points past DAT (Where=0, Records=1, DAT records=0)");
}

TEST_F(Preflight, TheEndIsComputedBeyond16Bits) {
  LayHeader(65535, 65535, 65536, 2147483647);
  ExpectRefused(
      "ERROR: conference 7 message #2147483647 points past DAT (Where=65535, Records=65535, DAT records=65536)");
  LayHeader(65535, 2, 2);
  ExpectRefused("ERROR: conference 7 message #1 points past DAT (Where=65535, Records=2, DAT records=2)");
}

TEST_F(Preflight, DeletedHeadersAreNotChecked) {
  LayHeader(0, 0, 1, 1, true);
  EXPECT_EQ(Check(), 0);
  LayHeader(500, 500, 1, 1, true);
  EXPECT_EQ(Check(), 0);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(Preflight, TheFirstBadHeaderIsNamed) {
  for (int i = 0; i < 3; ++i) base_.Add({});
  std::string ptr = ReadFile(base_.Path("PTR"));
  ptr.replace(256 + 162, 2, Word(0));
  ptr.replace(512 + 162, 2, Word(99));
  WriteFile(base_.Path("PTR"), ptr);
  ExpectRefused("ERROR: conference 7 message #2 has zero body records");
}

TEST_F(Preflight, APtrFileThatCannotBeOpenedReadOrClosedIsAnError) {
  base_.Add({});
  base_.Add({});
  struct Case {
    Call call;
    std::string line;
  };
  for (const Case& c : {Case{Call::kOpen, "ERROR: could not open " + base_.Path("PTR") + " for preflight"},
                        Case{Call::kReadAt, "ERROR: short PTR read in conference 7 at record 0"},
                        Case{Call::kSize, "ERROR: short PTR read in conference 7 at record 0"},
                        Case{Call::kClose, "ERROR: could not close " + base_.Path("PTR") + " after preflight"}}) {
    door_.Clear();
    door_.FailNth(c.call, 1, ".PTR");
    ExpectRefused(c.line);
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
}

TEST_F(Preflight, AShortReadNamesTheRecord) {
  base_.Add({});
  base_.Add({});
  const std::string ptr = ReadFile(base_.Path("PTR"));
  door_.BeforeNth(Call::kOpen, 1, [&] { WriteFile(base_.Path("PTR"), ptr.substr(0, 511)); });
  ExpectRefused("ERROR: short PTR read in conference 7 at record 1");
}

TEST_F(Preflight, NothingIsWritten) {
  base_.Add({});
  const auto before = site_.Files();
  EXPECT_EQ(Check(true), 0);
  EXPECT_EQ(site_.Files(), before);
  EXPECT_EQ(door_.Count(Call::kWriteAt) + door_.Count(Call::kWrite) + door_.Count(Call::kSetSize), 0);
}

// How full the DAT file is.

TEST_F(DatCapacity, HasFourLevels) {
  struct Case {
    int64_t count;
    const char* level;
    const char* percent;
    const char* advice;
  };
  constexpr char kSoon[] = "plan to pack this conference soon";
  constexpr char kStrongly[] = "packing is strongly recommended";
  constexpr char kAtOnce[] = "pack this conference as soon as possible";
  constexpr char kNoMore[] = "no further inbound message can be appended";
  for (const Case& c : {Case{52429, "NOTICE", "80.0", kSoon}, Case{58982, "NOTICE", "90.0", kSoon},
                        Case{58983, "WARNING", "90.0", kStrongly}, Case{62259, "WARNING", "95.0", kStrongly},
                        Case{62260, "URGENT", "95.0", kAtOnce}, Case{65535, "URGENT", "100.0", kAtOnce},
                        Case{65536, "FULL", "100.0", kNoMore}, Case{65537, "FULL", "100.0", kNoMore},
                        Case{55000, "NOTICE", "83.9", kSoon}, Case{131072, "FULL", "200.0", kNoMore}}) {
    ReportDatCapacity(12, c.count);
    EXPECT_EQ(
        TakeLines(),
        (Strings{
            std::string("  ") + c.level + ": conf 12 DAT capacity is " + std::to_string(c.count) + "/65536 records (" +
                c.percent + "%); " + c.advice,
            "          Back up the message directory, then run CVPCKMSG /CONF12 to reclaim deleted/purged DAT records."}))
        << c.count;
  }
}

TEST_F(DatCapacity, IsSilentBelow80Percent) {
  for (const int64_t count : {-1, 0, 1, 52428}) ReportDatCapacity(12, count);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(DatCapacity, IsReportedByTheVerbosePreflightOnly) {
  LayHeader(0, 1, 65536);
  Resize("IDX", 16);
  EXPECT_EQ(Check(false), 0);
  EXPECT_EQ(TakeLines(), Strings{});
  EXPECT_EQ(Check(true), 0);
  EXPECT_EQ(
      TakeLines(),
      (Strings{
          "  conf 7 message base: PTR=1 IDX=1 DAT=65536 record(s) -- OK",
          "  FULL: conf 7 DAT capacity is 65536/65536 records (100.0%); no further inbound message can be appended",
          "          Back up the message directory, then run CVPCKMSG /CONF7 to reclaim deleted/purged DAT records."}));
}
