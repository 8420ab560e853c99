#include "scan/msgid_serial.h"

#include <limits>

#include "base/scan_number.h"
#include "fault/fault_loop.h"
#include "unit/support/site_fixture.h"

namespace {

constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();

std::string Line(uint32_t serial) { return std::to_string(serial) + kOsLineEnd; }

// The number that a text begins with; 0 when it is empty, and a failure when it holds none.
uint32_t NumberIn(const std::string& text) {
  uint32_t number = 0;
  const char* at = text.c_str();
  EXPECT_TRUE(ScanUint32(&at, &number) == kNumberFits || text.empty()) << "no number: " << text;
  return number;
}

class MsgidSerial : public SiteFixture {
 protected:
  // The next serial; 0, which is never used, when there is none.
  uint32_t Next() {
    uint32_t serial = 0;
    const int result = NextSerial(site_.Msg().c_str(), &serial);
    EXPECT_EQ(result, serial != 0 ? 0 : -1);
    return serial;
  }

  uint32_t NextAfter(const std::string& content) {
    WriteFile(path_, content);
    return Next();
  }

  const std::string path_ = site_.Msg("CVOUTBOUND.SEQ");
};

}  // namespace

TEST_F(MsgidSerial, TheFirstIs1AndEachIsInTheFileWhenItIsReturned) {
  for (uint32_t serial = 1; serial <= 12; ++serial) {
    EXPECT_EQ(Next(), serial);
    EXPECT_EQ(ReadFile(path_), Line(serial));
  }
}

TEST_F(MsgidSerial, AnEmptyFileCountsAsZero) {
  for (const char* content : {"", "\n", "\r\n", " \t\v\f\r\n"}) {
    EXPECT_EQ(NextAfter(content), 1U);
    EXPECT_EQ(ReadFile(path_), Line(1));
  }
}

// Whatever was edited into the file: if a number were cut short, serials would be used that were used long ago.
TEST_F(MsgidSerial, ANumberIsReadWholeOrNotAtAll) {
  for (const size_t blanks : {56U, 57U, 58U, 62U, 63U, 64U, 65U, 500U, 1015U}) {
    EXPECT_EQ(NextAfter(std::string(blanks, ' ') + "1234567\n"), 1234568U) << blanks;
    EXPECT_EQ(ReadFile(path_), Line(1234568));
    EXPECT_EQ(NextAfter(std::string(blanks, '\n')), 1U) << blanks;
  }
  for (size_t blanks = 1017; blanks < 1030; ++blanks) {
    const std::string content = std::string(blanks, ' ') + "1234567\n";
    EXPECT_EQ(NextAfter(content), 0U) << blanks;
    EXPECT_EQ(ReadFile(path_), content);
  }
}

TEST_F(MsgidSerial, TheNumberIsReadAsFormattedInputDoes) {
  EXPECT_EQ(NextAfter("41"), 42U);
  EXPECT_EQ(NextAfter("41\n"), 42U);
  EXPECT_EQ(NextAfter("41\r\n"), 42U);
  EXPECT_EQ(NextAfter("\r\n  41\r\n"), 42U);
  EXPECT_EQ(NextAfter("+41 and more"), 42U);
  EXPECT_EQ(NextAfter("00041x"), 42U);
  EXPECT_EQ(NextAfter("-2"), kLargest);
  EXPECT_EQ(ReadFile(path_), Line(kLargest));
}

TEST_F(MsgidSerial, AfterTheLargestNumberComes1) {
  EXPECT_EQ(NextAfter("4294967294"), kLargest);
  EXPECT_EQ(Next(), 1U);
  EXPECT_EQ(ReadFile(path_), Line(1));
  EXPECT_EQ(NextAfter("-1\n"), 1U);
}

TEST_F(MsgidSerial, TheFileShrinksToTheNewNumber) {
  EXPECT_EQ(NextAfter("4294967295\n\n"), 1U);
  EXPECT_EQ(ReadFile(path_), Line(1));
  EXPECT_EQ(NextAfter("000000000000000000000000000041 was the last\n" + std::string(1000, 'x')), 42U);
  EXPECT_EQ(ReadFile(path_), Line(42));
}

// A number beyond 32 bits would wrap, and serials would be used twice.
TEST_F(MsgidSerial, AFileWithoutNumberOrWithTooLargeAOneFailsAndStays) {
  const std::string contents[] = {"x",
                                  "4294967296\n",
                                  "18446744073709551616\n",
                                  "-4294967296",
                                  "-",
                                  "+\n",
                                  ".1",
                                  std::string(1, '\0'),
                                  std::string("\0"
                                              "41",
                                              3),
                                  "\xFF\xFE"};
  for (const std::string& content : contents) {
    EXPECT_EQ(NextAfter(content), 0U);
    EXPECT_EQ(ReadFile(path_), content);
  }
}

TEST_F(MsgidSerial, ADirectoryInItsPlaceFails) {
  MakeDirectory(path_);
  EXPECT_EQ(Next(), 0U);
}

TEST_F(MsgidSerial, AMissingDirectoryFails) {
  uint32_t serial = 0;
  EXPECT_EQ(NextSerial(site_.Msg("nowhere").c_str(), &serial), -1);
}

TEST_F(MsgidSerial, AFileThatCannotBeOpenedIsNotTakenForAMissingOne) {
  WriteFile(path_, "41\n");
  door_.FailFrom(Call::kOpen, 1);
  EXPECT_EQ(Next(), 0U);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
  EXPECT_EQ(ReadFile(path_), "41\n");
}

TEST_F(MsgidSerial, AWriteThatFailsHalfWayIsTakenBack) {
  for (const char* content : {"99", "99\n", "9\n", "4294967295\n", "0099 and more\n"}) {
    door_.Clear();
    Fault half;
    half.call = Call::kWriteAt;
    half.is_short = true;
    door_.Fail(half);
    door_.FailNth(Call::kWriteAt, 2);
    EXPECT_EQ(NextAfter(content), 0U);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(ReadFile(path_), content);
  }
}

TEST_F(MsgidSerial, ShortReadsAndWritesAreGoneOnWith) {
  for (const Call call : {Call::kReadAt, Call::kWriteAt}) {
    door_.Clear();
    Fault fault;
    fault.call = call;
    fault.is_short = true;
    door_.Fail(fault);
    EXPECT_EQ(NextAfter("123455\n"), 123456U);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(ReadFile(path_), Line(123456));
  }
}

// A serial may remain unused after a failure, but none is used twice, and the file always has the last one.
TEST(MsgidSerialFaults, WhateverFailsNoSerialIsUsedTwiceAndTheFileHasANumber) {
  struct Case {
    const char* content;  // nullptr: no file
    uint32_t last;
  };
  for (const Case& old : {Case{nullptr, 0}, Case{"", 0}, Case{"41\n", 41}, Case{"9\r\n", 9}, Case{"99", 99},
                          Case{"000000000000041 long\n", 41}, Case{"4294967294\n", kLargest - 1}}) {
    SCOPED_TRACE(old.content != nullptr ? old.content : "(no file)");
    const auto attempt = [&](const Fault& fault) {
      const TemporaryDirectory directory;
      const std::string path = directory / "CVOUTBOUND.SEQ";
      if (old.content != nullptr) WriteFile(path, old.content);
      ScopedDoor door;
      door.Fail(fault);
      uint32_t serial = 0;
      const int result = NextSerial(directory.Path().c_str(), &serial);
      const bool struck = door.HasStruck();
      EXPECT_EQ(door.OpenHandles(), 0);
      const uint32_t found = NumberIn(PathExists(path) ? ReadFile(path) : "");
      if (result == 0) {
        EXPECT_EQ(serial, old.last + 1);
        EXPECT_EQ(found, serial);
      } else {
        EXPECT_EQ(serial, 0U);
        // If every write is cut short, so is the one that restores the old number.
        const bool can_restore = fault.call != Call::kWriteAt || !fault.is_short || !fault.for_good;
        EXPECT_TRUE(!can_restore || found == old.last || found == old.last + 1) << found;
      }
      return struck;
    };
    EXPECT_GT(TryFaults(attempt), 6);
  }
}

TEST(MsgidSerialFaults, TheFileHoldsTheOldOrTheNewNumberWheneverTheProgramIsKilled) {
  struct Case {
    const char* content;
    uint32_t last;
    uint32_t next;
  };
  for (const Case& old : {Case{"9\n", 9, 10}, Case{"41\r\n", 41, 42}, Case{"4294967295\n", kLargest, 1},
                          Case{"00000000000000099\n", 99, 100}}) {
    const TemporaryDirectory directory;
    const std::string path = directory / "CVOUTBOUND.SEQ";
    int calls = 1;
    for (int call = 1; call <= calls; ++call) {
      WriteFile(path, old.content);
      ScopedDoor door;
      uint32_t found = 0;
      door.BeforeNth(Call::kAny, call, [&] { found = NumberIn(ReadFile(path)); });
      uint32_t serial = 0;
      ASSERT_EQ(NextSerial(directory.Path().c_str(), &serial), 0);
      EXPECT_EQ(serial, old.next);
      EXPECT_TRUE(found == old.last || found == old.next) << "before call " << call << ": " << found;
      calls = door.Count(Call::kAny);
    }
    EXPECT_GT(calls, 4);
    CountFaultPoints(calls);
  }
}
