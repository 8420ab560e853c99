#include "bbs/ptr_scan.h"

#include <limits>

#include "unit/support/site_fixture.h"

namespace {

class PtrScanning : public SiteFixture {
 protected:
  // Lays one header a number, each with one record of text that is there.
  void Lay(const std::vector<int32_t>& numbers) const {
    std::string bytes;
    for (const int32_t number : numbers) bytes += PtrBytes(Header(number));
    WriteFile(path_, bytes);
  }

  PtrScan Scan(int32_t parent = 0, int64_t dat_records = 1) const {
    return ScanPtrFile(path_.c_str(), parent, dat_records);
  }

  static BaseMessage Header(int32_t number, bool deleted = false) {
    BaseMessage message;
    message.number = number;
    message.records = 1;
    message.deleted = deleted;
    return message;
  }

  const std::string path_ = site_.Base(1).Path("PTR");
};

}  // namespace

TEST_F(PtrScanning, AMissingFileIsEmpty) {
  const PtrScan scan = Scan(1);
  EXPECT_FALSE(scan.opened);
  EXPECT_FALSE(scan.close_failed);
  EXPECT_EQ(scan.records, 0);
  EXPECT_EQ(scan.highest, 0);
  EXPECT_FALSE(scan.parent_live);
  EXPECT_EQ(scan.fault, kPtrSound);
}

TEST_F(PtrScanning, TheHighestNumberIsFoundInAnyRecord) {
  struct Case {
    std::vector<int32_t> numbers;
    int32_t highest;
  };
  for (const Case& c : {Case{{}, 0}, Case{{1}, 1}, Case{{9, 3, 4}, 9}, Case{{3, 9, 4}, 9}, Case{{3, 4, 9}, 9},
                        Case{{0}, 0}, Case{{-7, -1}, 0}, Case{{-7, 2}, 2}, Case{{2147483647, 1}, 2147483647},
                        Case{{std::numeric_limits<int32_t>::min()}, 0}}) {
    Lay(c.numbers);
    const PtrScan scan = Scan();
    EXPECT_TRUE(scan.opened);
    EXPECT_EQ(scan.highest, c.highest);
    EXPECT_EQ(scan.records, static_cast<int64_t>(c.numbers.size()));
  }
}

TEST_F(PtrScanning, DeletedHeadersCountForTheHighestNumber) {
  WriteFile(path_, PtrBytes(Header(3)) + PtrBytes(Header(8, true)));
  EXPECT_EQ(Scan().highest, 8);
}

TEST_F(PtrScanning, TheParentIsAliveWhenAnyHeaderWithItsNumberIsNotDeleted) {
  struct Case {
    std::string bytes;
    bool live;
  };
  const std::string live = PtrBytes(Header(7));
  const std::string deleted = PtrBytes(Header(7, true));
  const std::string other = PtrBytes(Header(8));
  for (const Case& c : {Case{live, true}, Case{deleted, false}, Case{other, false}, Case{deleted + live, true},
                        Case{live + deleted, true}, Case{other + deleted + other, false}, Case{"", false}}) {
    WriteFile(path_, c.bytes);
    EXPECT_EQ(Scan(7).parent_live, c.live);
  }
}

TEST_F(PtrScanning, TheFirstUnsoundHeaderIsKept) {
  BaseMessage past = Header(21);
  past.where = 4;
  past.records = 3;
  BaseMessage none = Header(22);
  none.records = 0;
  WriteFile(path_, PtrBytes(Header(20)) + PtrBytes(past) + PtrBytes(none));
  PtrScan scan = Scan(0, 6);
  EXPECT_EQ(scan.fault, kPtrPastDat);
  EXPECT_EQ(scan.fault_record, 1);
  EXPECT_EQ(scan.fault_number, 21);
  EXPECT_EQ(scan.fault_where, 4);
  EXPECT_EQ(scan.fault_records, 3);
  EXPECT_EQ(scan.records, 3);
  EXPECT_EQ(scan.highest, 22);
  scan = Scan(0, 7);
  EXPECT_EQ(scan.fault, kPtrNoRecords);
  EXPECT_EQ(scan.fault_record, 2);
  EXPECT_EQ(scan.fault_number, 22);
}

TEST_F(PtrScanning, AnyValueButZeroMeansDeleted) {
  std::string bytes = PtrBytes(Header(7, true));
  bytes.replace(162, 2, Word(0));  // would be unsound
  for (const char value : {'\x01', '\x80', '\xFF'}) {
    bytes[158] = value;
    WriteFile(path_, bytes);
    EXPECT_EQ(Scan(7).fault, kPtrSound);
    EXPECT_FALSE(Scan(7).parent_live);
  }
}

TEST_F(PtrScanning, FilesOfManyPiecesAreReadToTheLastRecord) {
  for (const size_t count : {511U, 512U, 513U, 1023U, 1024U, 1025U, 2049U}) {
    std::vector<int32_t> numbers(count, 1);
    numbers.back() = 77;
    Lay(numbers);
    const PtrScan scan = Scan(77);
    EXPECT_EQ(scan.records, static_cast<int64_t>(count));
    EXPECT_EQ(scan.highest, 77);
    EXPECT_TRUE(scan.parent_live);
  }
}

TEST_F(PtrScanning, APartOfARecordAtTheEndIsNotOne) {
  WriteFile(path_, PtrBytes(Header(1)) + PtrBytes(Header(2)).substr(0, 255));
  EXPECT_EQ(Scan().records, 1);
  EXPECT_EQ(Scan().highest, 1);
}

TEST_F(PtrScanning, AReadErrorEndsThePassWithWhatWasRead) {
  Lay(std::vector<int32_t>(1025, 5));
  door_.FailNth(Call::kReadAt, 2);
  const PtrScan scan = Scan();
  EXPECT_TRUE(scan.opened);
  EXPECT_GT(scan.records, 0);
  EXPECT_LT(scan.records, 1025);
  EXPECT_FALSE(scan.close_failed);
}

TEST_F(PtrScanning, ShortReadsAreContinued) {
  Lay({1, 2, 3, 4});
  Fault fault;
  fault.call = Call::kReadAt;
  fault.is_short = true;
  door_.Fail(fault);
  EXPECT_EQ(Scan().records, 4);
  EXPECT_TRUE(door_.HasStruck());
}

TEST_F(PtrScanning, AFailedCloseIsReported) {
  Lay({1});
  door_.FailNth(Call::kClose, 1);
  EXPECT_TRUE(Scan().close_failed);
}
