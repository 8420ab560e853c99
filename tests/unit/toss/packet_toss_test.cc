#include "toss/packet_toss.h"
#include "ftn/packet_reader.h"

#include "unit/toss/toss_fixture.h"

namespace {

constexpr char kPacketLine[] = "  packet: orig 1:229/426.0 -> dest 1:229/100.0  (month field is 0-based; 2025-01-05)";
constexpr char kRefused[] =
    "  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file";
constexpr char kNotCleaned[] = "  ERROR: could not allocate/clean message body; source packet will be retained";

PacketMessage Echo(const std::string& msgid, const std::string& area = "GENERAL") {
  PacketMessage message;
  message.text = EchoText(area, msgid, "Hello\r");
  return message;
}

class PacketToss : public TossFixture {
 protected:
  // Tosses a copy of exactly its own size, so that a sanitizer notices any read beyond it.
  TossResult Toss(const std::string& packet) {
    const std::vector<uint8_t> exact(packet.begin(), packet.end());
    return TossPacket(Where(), exact.data(), exact.size());
  }

  static bool Looks(const std::string& packet) {
    const std::vector<uint8_t> exact(packet.begin(), packet.end());
    return LooksLikePacket(exact.data(), exact.size());
  }
};

using PacketHeaderTest = PacketToss;
using PacketWalkTest = PacketToss;

}  // namespace

// The header.

TEST_F(PacketHeaderTest, EveryShorterFileIsNoPacket) {
  const std::string packet = PacketBytes({});
  for (size_t size = 0; size < 60; ++size) {
    EXPECT_FALSE(Looks(packet.substr(0, size))) << size;
    EXPECT_EQ(Toss(packet.substr(0, size)), NotAPacket) << size;
    EXPECT_EQ(TakeLines(), Strings{kRefused}) << size;
  }
}

TEST_F(PacketHeaderTest, EveryShownFieldIsReadFromItsOffset) {
  std::string packet(60, '\0');
  packet.replace(0, 10, FromHex("01 00  02 00  E8 07  0B 00  1F 00"));  // nodes, 2024-12-31
  packet.replace(18, 6, FromHex("02 00  03 00  04 00"));                // type, nets
  packet.replace(34, 4, FromHex("63 00  63 00"));                       // the older place of the zones
  packet.replace(46, 8, FromHex("05 00  06 00  07 00  08 00"));         // zones, points
  EXPECT_EQ(Toss(packet), PacketDone);
  EXPECT_EQ(TakeLines().at(0), "  packet: orig 5:3/1.7 -> dest 6:4/2.8  (month field is 0-based; 2024-12-31)");
}

// Its messages.

TEST_F(PacketWalkTest, EveryFieldOfAMessageIsReadFromItsOffset) {
  const std::string packet = PacketHeaderBytes() +
                             FromHex("02 00  AA 01  FF FF  E5 00  FF FF  01 00  FF FF") +  // 229/426, private
                             std::string("05 Jan 25  00:07:59\0Bob\0Ann\0Subject\0Hello\0", 42) + Word(0);
  EXPECT_EQ(Toss(packet), PacketDone);
  const BaseMessage stored = Only(3);
  EXPECT_EQ(stored.date, "01/05/25 12:07am");
  EXPECT_EQ(stored.to, "Bob");
  EXPECT_EQ(stored.from, "Ann");
  EXPECT_EQ(stored.subject, "Subject");
  EXPECT_EQ(stored.body, "Hello\x01");
  EXPECT_EQ(stored.origin, "229/426");
  EXPECT_TRUE(stored.is_private);
  EXPECT_TRUE(stored.netmail);
}

TEST_F(PacketWalkTest, NoMemoryForABodyRetainsThePacket) {
  door_.FailNth(Call::kReallocate, 1);
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), Echo("b")})), PacketRetain);
  EXPECT_EQ(TakeLines(), (Strings{kPacketLine, kNotCleaned}));
  EXPECT_EQ(CountIn(1), 0U);
}

TEST_F(PacketWalkTest, ATextTakesItsOwnSizeOfMemoryOnceWhetherItIsStoredOrNot) {
  const std::string line = std::string(60000, 'x') + "\r";
  for (const size_t lines : {138, 160}) {  // of 8.3 MB the DAT file takes 138
    std::string text = "AREA:GENERAL\r";
    for (size_t i = 0; i < lines; ++i) text += line;
    const size_t before = door_.Calls().size();
    EXPECT_EQ(Toss(PacketBytes({{text}})), lines == 138 ? PacketDone : PacketRetain);
    size_t asked = 0;
    for (size_t i = before; i < door_.Calls().size(); ++i) {
      const CallRecord& call = door_.Calls()[i];
      if (call.call == Call::kAllocate || call.call == Call::kReallocate) asked += call.size;
    }
    EXPECT_GE(asked, lines * line.size());
    EXPECT_LE(asked, lines * line.size() * 11 / 10);
  }
  EXPECT_EQ(ReadFile(site_.Base(1).Path("DAT")).size(), (138 * line.size() + 126) / 127 * 128);
}

TEST_F(PacketWalkTest, AMessageThatCannotBeStoredRetainsThePacketAndTheNextOneIsRead) {
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), Echo("b")})), PacketRetain);
  const Strings lines = TakeLines();
  EXPECT_EQ(lines.at(3), "  msg 1: message-base append failed; source packet will be retained");
  EXPECT_EQ(lines.back(), "  2 message(s) parsed from this packet");
  EXPECT_EQ(Only(1).msgid, "b");
}

TEST_F(PacketWalkTest, RetainingTakesPrecedenceOverBeingCorrupt) {
  const std::string packet = PacketHeaderBytes() + PackedBytes(Echo("a")) + Word(9);
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Toss(packet), PacketRetain);
  EXPECT_EQ(ReadFile(bad_file_), packet);
}
