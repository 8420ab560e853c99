#include "scan/outbound_packet.h"

#include "base/fixed_text.h"
#include "unit/scan/whole_or_nothing.h"
#include "unit/support/site_fixture.h"

namespace {

class PacketFile : public SiteFixture {
 protected:
  PacketFile() {
    site_.config.OurAddress = {1, 2, 3, 4};
    site_.config.HubAddress = {5, 6, 7, 8};
    const std::string messages = "messages";
    EXPECT_EQ(AppendBytes(&messages_, messages.data(), messages.size()), 0);
  }

  int Write() { return WritePacketFile(path_.c_str(), site_.config, messages_); }

  // The packet as it was written.
  std::string Written() {
    EXPECT_EQ(Write(), 0);
    return ReadFile(path_);
  }

  const std::string path_ = site_.Msg("CVOUTBOUND.PKT");
  ByteBuffer messages_;
};

}  // namespace

TEST_F(PacketFile, HasAHeaderForTheHubTheMessagesAndAClosingWord) {
  clock_.local_offset = -3600;  // 2025-11-14 23:31:24
  EXPECT_EQ(ToHex(Written()),
            "03 00 07 00 E9 07 0A 00 0E 00 17 00 1F 00 18 00 00 00 02 00 02 00 06 00 00 00 "
            "00 00 00 00 00 00 00 00 01 00 05 00 00 00 00 01 00 00 01 00 01 00 05 00 04 00 08 00 00 00 00 00 "
            "6D 65 73 73 61 67 65 73 00 00");
}

TEST_F(PacketFile, JanuaryIsMonth0AndDecemberMonth11) {
  clock_.now = 1767225600;  // 2026-01-01 00:00:00 UTC
  EXPECT_EQ(ToHex(Written().substr(4, 12)), "EA 07 00 00 01 00 00 00 00 00 00 00");
  clock_.now -= 1;
  EXPECT_EQ(ToHex(Written().substr(4, 12)), "E9 07 0B 00 1F 00 17 00 3B 00 3B 00");
}

TEST_F(PacketFile, ThePasswordIsPaddedWithZerosToEightBytes) {
  for (const size_t size : {0, 1, 7, 8}) {
    const std::string password(size, 'p');
    CopyCut(site_.config.PacketPassword, password.c_str());
    EXPECT_EQ(Written().substr(26, 10), password + std::string(8 - size, '\0') + "\x01" + '\0');
  }
}

TEST_F(PacketFile, OfEachNumberItsLow16BitsAreWritten) {
  site_.config.OurAddress = {65536 + 1, -2, 70000, -1};
  const std::string packet = Written();
  EXPECT_EQ(ToHex(packet.substr(0, 2)), "70 11");
  EXPECT_EQ(ToHex(packet.substr(20, 2)), "FE FF");
  EXPECT_EQ(ToHex(packet.substr(46, 2)), "01 00");
  EXPECT_EQ(ToHex(packet.substr(50, 2)), "FF FF");
}

TEST_F(PacketFile, ReplacesAFileThatIsThere) {
  WriteFile(path_, std::string(1000, 'x'));
  EXPECT_EQ(Written().size(), 58U + 8 + 2);
}

TEST_F(PacketFile, WithoutLocalTimeThereIsNoPacket) {
  clock_.fails = true;
  EXPECT_EQ(Write(), -1);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(PacketFile, AnEarlierOneThatCannotBeWrittenToIsRemovedForTheNextRun) {
  WriteFile(path_, "left");
  door_.FailNth(Call::kOpen, 1);
  EXPECT_EQ(Write(), -1);
  EXPECT_FALSE(PathExists(path_));
  EXPECT_EQ(Write(), 0);
}

TEST_F(PacketFile, ADirectoryInItsPlaceStays) {
  MakeDirectory(path_);
  EXPECT_EQ(Write(), -1);
  EXPECT_TRUE(PathExists(path_));
}

TEST_F(PacketFile, IsThereWholeOrNotAtAllWhateverFails) {
  ExpectWholeOrNothing(path_, Written(), &door_, [this] { return Write(); });
}
