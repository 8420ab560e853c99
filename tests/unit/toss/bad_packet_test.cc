#include "toss/bad_packet.h"

#include <cstring>

#include "unit/toss/toss_fixture.h"

namespace {

class BadPacket : public TossFixture {
 protected:
  // Returns whether the copy is whole.
  bool Save(const std::string& bytes, const std::string& bad_dir) const {
    BadPackets bad_packets = {{bad_dir.c_str(), kOsTrustOwners}};
    SaveBadPacket(&bad_packets, BytesOf(bytes), bytes.size(), "a reason");
    return !bad_packets.lost;
  }
};

}  // namespace

TEST_F(BadPacket, IsSavedWholeInADirectoryMadeForIt) {
  const std::string bytes = FromHex("00 0A 0D 1A 0D 0A FF");
  EXPECT_TRUE(Save(bytes, bad_dir_));
  EXPECT_EQ(ToHex(ReadFile(bad_file_)), ToHex(bytes));
  EXPECT_EQ(TakeLines(), Strings{"  saved unprocessable packet data to " + bad_file_ + " for review (a reason)"});
}

TEST_F(BadPacket, TheSecondOfOneSecondReplacesTheFirst) {
  Save("the first, longer", bad_dir_);
  Save("the second", bad_dir_);
  EXPECT_EQ(ReadFile(bad_file_), "the second");
  ++clock_.now;
  Save("the third", bad_dir_);
  EXPECT_EQ(ReadFile(bad_file_), "the second");
  EXPECT_EQ(ReadFile(bad_dir_ + "/BAD_1763166685.PKT"), "the third");
}

TEST_F(BadPacket, AFileThatCannotBeOpenedIsReported) {
  door_.FailNth(Call::kMakeDirectory, 1);
  EXPECT_FALSE(Save("x", bad_dir_));
  EXPECT_EQ(TakeLines(), Strings{"  ERROR: could not save bad packet for review (tried " + bad_file_ + ")"});
}

TEST_F(BadPacket, IsLoggedAsSavedWhateverTheWriteAndTheCloseReturn) {
  MakeDirectory(bad_dir_);
  for (const Call call : {Call::kMakeDirectory, Call::kWrite, Call::kClose}) {
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Save("x", bad_dir_), call == Call::kMakeDirectory);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(TakeLines(), Strings{"  saved unprocessable packet data to " + bad_file_ + " for review (a reason)"});
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
}

TEST_F(BadPacket, APathOf599CharactersIsTried) {
  const std::string bad_dir(599 - strlen("/BAD_1763166684.PKT"), 'b');
  door_.FailNth(Call::kOpen, 1);
  EXPECT_FALSE(Save("x", bad_dir));
  EXPECT_EQ(TakeLines(),
            Strings{"  ERROR: could not save bad packet for review (tried " + bad_dir + "/BAD_1763166684.PKT)"});
}

TEST_F(BadPacket, APathOf600CharactersIsNotSaved) {
  const int opened = door_.Count(Call::kOpen);
  EXPECT_FALSE(Save("x", std::string(600 - strlen("/BAD_1763166684.PKT"), 'b')));
  EXPECT_EQ(log_.CountOfStart("  ERROR: could not save bad packet for review (tried "), 1);
  EXPECT_EQ(door_.Count(Call::kOpen), opened);
}
