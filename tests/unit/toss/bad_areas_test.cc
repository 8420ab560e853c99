#include "toss/route_message.h"

#include "unit/toss/toss_fixture.h"

namespace {

class BadAreas : public TossFixture {
 protected:
  const std::string path_ = site_.Msg("BADAREAS.LST");
};

}  // namespace

TEST_F(BadAreas, EachAreaGetsALineWithTheLocalTime) {
  clock_.local_offset = 3600;
  ++clock_.now;
  RecordBadArea(msg_dir_.c_str(), "Some.Where");
  clock_.now += 61;
  RecordBadArea(msg_dir_.c_str(), "x");
  EXPECT_EQ(ReadFile(path_),
            std::string("2025-11-15 01:31:25  Some.Where") + kOsLineEnd + "2025-11-15 01:32:26  x" + kOsLineEnd);
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(BadAreas, EarlierLinesStay) {
  WriteFile(path_, "earlier\n");
  RecordBadArea(msg_dir_.c_str(), "x");
  EXPECT_EQ(ReadFile(path_), std::string("earlier\n2025-11-15 00:31:24  x") + kOsLineEnd);
}

TEST_F(BadAreas, TheLongestTagIsWrittenWhole) {
  const std::string longest(31, 'T');
  RecordBadArea(msg_dir_.c_str(), longest.c_str());
  EXPECT_EQ(ReadFile(path_), "2025-11-15 00:31:24  " + longest + kOsLineEnd);
}

TEST_F(BadAreas, AFileThatCannotBeOpenedIsPassedOver) {
  door_.FailNth(Call::kOpen, 1);
  RecordBadArea(msg_dir_.c_str(), "x");
  RecordBadArea(std::string(500, 'm').c_str(), "x");
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(BadAreas, AWriteThatFailsIsPassedOver) {
  door_.FailNth(Call::kWrite, 1);
  RecordBadArea(msg_dir_.c_str(), "x");
  EXPECT_TRUE(door_.HasStruck());
  EXPECT_EQ(TakeLines(), Strings{});
}
