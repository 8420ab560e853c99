#include "toss/packet_toss.h"

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
  // Tosses a copy of exactly its own size, so that a sanitizer sees any look behind it.
  TossResult Toss(const std::string& packet) {
    const std::vector<uint8_t> exact(packet.begin(), packet.end());
    return TossPacket(Where(), exact.data(), exact.size());
  }

  static bool Looks(const std::string& packet) {
    const std::vector<uint8_t> exact(packet.begin(), packet.end());
    return LooksLikePacket(exact.data(), exact.size());
  }

  // An empty packet with the bytes at `at` replaced.
  static std::string HeaderWith(size_t at, const std::string& bytes) {
    return PacketBytes({}).replace(at, bytes.size(), bytes);
  }

  // The walk ends with the lines `stop` and `reason`, after which the whole packet is saved.
  void ExpectFault(const std::string& packet, const std::string& stop, const std::string& reason) {
    EXPECT_EQ(Toss(packet), PacketCorrupt);
    const Strings lines = TakeLines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], stop);
    EXPECT_EQ(lines.back(), "  saved unprocessable packet data to " + bad_file_ + " for review (" + reason + ")");
    EXPECT_EQ(ToHex(ReadFile(bad_file_)), ToHex(packet));
  }
};

using PacketHeaderTest = PacketToss;
using PacketWalkTest = PacketToss;

}  // namespace

// The header.

TEST_F(PacketHeaderTest, AHeaderAndAClosingWordAreAnEmptyPacket) {
  const std::string packet = PacketBytes({});
  EXPECT_EQ(packet.size(), 60U);
  EXPECT_TRUE(Looks(packet));
  EXPECT_EQ(Toss(packet), PacketDone);
  EXPECT_EQ(TakeLines(), (Strings{kPacketLine, "  0 message(s) parsed from this packet"}));
}

TEST_F(PacketHeaderTest, EveryShorterFileIsNoPacket) {
  const std::string packet = PacketBytes({});
  for (size_t size = 0; size < 60; ++size) {
    EXPECT_FALSE(Looks(packet.substr(0, size))) << size;
    EXPECT_EQ(Toss(packet.substr(0, size)), NotAPacket) << size;
    EXPECT_EQ(TakeLines(), Strings{kRefused}) << size;
  }
}

TEST_F(PacketHeaderTest, TestedFieldsHaveTheirLimits) {
  struct Case {
    const char* field;
    size_t at;
    uint16_t value;
    bool accepted;
  };
  for (const Case& c :
       {Case{"type", 18, 2, true},        Case{"type", 18, 1, false},       Case{"type", 18, 3, false},
        Case{"type", 18, 0x0202, false},  Case{"type", 18, 0, false},       Case{"year", 4, 1989, false},
        Case{"year", 4, 1990, true},      Case{"year", 4, 2100, true},      Case{"year", 4, 2101, false},
        Case{"year", 4, 25, false},       Case{"month", 6, 0, true},        Case{"month", 6, 11, true},
        Case{"month", 6, 12, false},      Case{"month", 6, 0xFFFF, false},  Case{"day", 8, 0, false},
        Case{"day", 8, 1, true},          Case{"day", 8, 31, true},         Case{"day", 8, 32, false},
        Case{"first word", 58, 0, true},  Case{"first word", 58, 2, true},  Case{"first word", 58, 1, false},
        Case{"first word", 58, 3, false}, Case{"first word", 58, 4, false}, Case{"first word", 58, 0x0200, false}}) {
    const std::string packet = HeaderWith(c.at, Word(c.value));
    EXPECT_EQ(Looks(packet), c.accepted) << c.field << " " << c.value;
    if (c.accepted) continue;
    EXPECT_EQ(Toss(packet), NotAPacket) << c.field << " " << c.value;
    EXPECT_EQ(TakeLines(), Strings{kRefused});
  }
}

TEST_F(PacketHeaderTest, AllOtherFieldsMayHoldAnything) {
  std::string packet = PacketBytes({});
  for (size_t at = 0; at < 58; ++at) {
    const bool tested = (at >= 4 && at < 10) || at == 18 || at == 19;
    if (!tested) packet[at] = '\xFF';
  }
  EXPECT_EQ(Toss(packet), PacketDone);
  EXPECT_EQ(TakeLines().at(0),
            "  packet: orig 65535:65535/65535.65535 -> dest 65535:65535/65535.65535  "
            "(month field is 0-based; 2025-01-05)");
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

TEST_F(PacketHeaderTest, TheOlderZonesAreNeverUsed) {
  std::string packet = HeaderWith(34, Word(7) + Word(8));
  packet.replace(46, 4, Word(0) + Word(0));
  EXPECT_EQ(Toss(packet), PacketDone);
  EXPECT_EQ(TakeLines().at(0), "  packet: orig 0:229/426.0 -> dest 0:229/100.0  (month field is 0-based; 2025-01-05)");
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

TEST_F(PacketWalkTest, TheLargestOriginFits) {
  PacketMessage message = Echo("");
  message.orig_net = message.orig_node = 65535;
  EXPECT_EQ(Toss(PacketBytes({message})), PacketDone);
  EXPECT_EQ(Only(1).origin, "65535/65535");
}

TEST_F(PacketWalkTest, MessagesAreCountedAndNumberedFromOne) {
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), Echo("a"), Echo("b")})), PacketDone);
  EXPECT_EQ(TakeLines(),
            (Strings{kPacketLine, "  -> wrote conf 1 msg #1  From='Ann Author' To='All' Subj='Hello' (1 records)",
                     "  msg 2: duplicate (MSGID a already seen in conf 1) -- SKIPPED",
                     "  -> wrote conf 1 msg #2  From='Ann Author' To='All' Subj='Hello' (1 records)",
                     "  3 message(s) parsed from this packet"}));
}

TEST_F(PacketWalkTest, LongTextsAreCutToWhatIsKept) {
  for (const size_t length : {63U, 64U, 100U, 5000U}) {
    PacketMessage message = Echo("");
    message.to = std::string(length, 't');
    message.from = std::string(length, 'f');
    message.subject = std::string(length + 64, 's');
    message.date = std::string(length, 'd');
    EXPECT_EQ(Toss(PacketBytes({message})), PacketDone);
    EXPECT_EQ(log_.CountOf("  -> wrote conf 1 msg #1  From='" + std::string(63, 'f') + "' To='" + std::string(63, 't') +
                           "' Subj='" + std::string(127, 's') + "' (1 records)"),
              1)
        << length;
    EXPECT_EQ(Only(1).date, std::string(17, 'd'));
    for (const char* kind : {"PTR", "IDX", "DAT"}) RemoveFile(site_.Base(1).Path(kind));
    log_.Clear();
  }
}

TEST_F(PacketWalkTest, TextsMayBeEmpty) {
  PacketMessage message;
  message.to = message.from = message.subject = message.date = message.text = "";
  EXPECT_EQ(Toss(PacketBytes({message})), PacketDone);
  const BaseMessage stored = Only(3);
  EXPECT_EQ(stored.to + stored.from + stored.subject + stored.date + stored.body, "");
  EXPECT_EQ(stored.records, 1);
}

TEST_F(PacketWalkTest, NothingCarriesOverFromTheMessageBefore) {
  PacketMessage first = Echo("1:2/3 a");
  first.text =
      "AREA:FIDO\r\x01MSGID: 1:2/3 a\r\x01REPLY: 1:2/3 none\r\x01"
      "CHRS: UTF-8 4\r\xC3\xA9\r";
  first.attribute = 1;
  PacketMessage second;
  second.text = "\xC3\xA9";
  second.subject = second.to = second.from = second.date = "";
  EXPECT_EQ(Toss(PacketBytes({first, second})), PacketDone);
  EXPECT_EQ(Only(2).body, "\x82\x01");
  const BaseMessage stored = Only(3);
  EXPECT_EQ(stored.body, "\xC3\xA9\x01");
  EXPECT_EQ(stored.subject + stored.to + stored.from + stored.date + stored.msgid, "");
  EXPECT_FALSE(stored.is_private);
}

TEST_F(PacketWalkTest, AMissingClosingWordOrAStrayByteIsNoFault) {
  const std::string whole = PacketBytes({Echo("a")});
  for (const size_t missing : {2U, 1U}) {
    EXPECT_EQ(Toss(whole.substr(0, whole.size() - missing)), PacketDone);
    EXPECT_EQ(TakeLines().back(), "  1 message(s) parsed from this packet");
  }
  EXPECT_FALSE(PathExists(bad_dir_));
}

TEST_F(PacketWalkTest, WhatFollowsTheClosingWordIsNotLookedAt) {
  EXPECT_EQ(Toss(PacketBytes({}) + "\x07\x07garbage"), PacketDone);
  EXPECT_EQ(TakeLines().back(), "  0 message(s) parsed from this packet");
}

TEST_F(PacketWalkTest, AnUnexpectedTypeWordStopsTheWalk) {
  const std::string first = PacketHeaderBytes() + PackedBytes(Echo("a"));
  const std::string reason = "unexpected message-type word mid-packet";
  const std::string at = std::to_string(first.size());
  for (const char* word : {"0001", "0003", "0200", "ffff", "0102"}) {
    const std::string bytes = FromHex(word);
    const std::string packet = first + bytes[1] + bytes[0] + std::string(20, '\0');
    ExpectFault(packet, std::string("  unexpected message-type word 0x") + word + " at offset " + at + ", stopping",
                reason);
  }
  EXPECT_EQ(CountIn(1), 1U) << "what came before the fault stays stored";
}

TEST_F(PacketWalkTest, AMessageThatIsCutOffStopsTheWalkWhereverItIsCut) {
  const std::string start = PacketHeaderBytes() + PackedBytes(Echo("a"));
  PacketMessage second = Echo("b");
  const std::string packed = PackedBytes(second);
  const size_t text_at =
      14 + second.date.size() + second.to.size() + second.from.size() + second.subject.size() + 4;  // four NULs
  for (size_t size = 2; size < packed.size(); ++size) {
    const std::string packet = start + packed.substr(0, size);
    if (size < 14) {
      ExpectFault(packet, "  truncated message header, stopping", "truncated message header");
    } else if (size < text_at) {
      ExpectFault(packet, "  truncated message string field, stopping", "truncated message string field");
    } else {
      ExpectFault(packet, "  truncated message text, stopping", "truncated message text");
    }
  }
  EXPECT_EQ(CountIn(1), 1U);
}

TEST_F(PacketWalkTest, ATextThatIsRefusedRetainsThePacketAndEndsTheWalk) {
  PacketMessage refused = Echo("b", "NO GOOD");
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), refused, Echo("c")})), PacketRetain);
  EXPECT_EQ(TakeLines(),
            (Strings{kPacketLine, "  -> wrote conf 1 msg #1  From='Ann Author' To='All' Subj='Hello' (1 records)",
                     "ERROR: inbound AREA tag is empty, malformed, or too long: 'NO GOOD'", kNotCleaned}));
  EXPECT_EQ(Only(1).msgid, "a");
  EXPECT_FALSE(PathExists(bad_dir_));
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

TEST_F(PacketWalkTest, AMessageThatCannotBeStoredRetainsThePacketAndTheWalkGoesOn) {
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), Echo("b")})), PacketRetain);
  const Strings lines = TakeLines();
  EXPECT_EQ(lines.at(3), "  msg 1: message-base append failed; source packet will be retained");
  EXPECT_EQ(lines.back(), "  2 message(s) parsed from this packet");
  EXPECT_EQ(Only(1).msgid, "b");
}

TEST_F(PacketWalkTest, EachMessageThatCannotBeStoredHasItsLine) {
  door_.FailFrom(Call::kWriteAt, 1, ".DAT");
  EXPECT_EQ(Toss(PacketBytes({Echo("a"), Echo("b")})), PacketRetain);
  for (const char* n : {"1", "2"}) {
    EXPECT_EQ(log_.CountOf(std::string("  msg ") + n + ": message-base append failed; source packet will be retained"),
              1);
  }
}

TEST_F(PacketWalkTest, RetainingGoesBeforeBeingCorrupt) {
  const std::string packet = PacketHeaderBytes() + PackedBytes(Echo("a")) + Word(9);
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Toss(packet), PacketRetain);
  EXPECT_EQ(ReadFile(bad_file_), packet);
}

TEST_F(PacketWalkTest, SkippedMessagesLetThePacketGo) {
  EXPECT_EQ(Toss(PacketBytes({Echo("a", "NOWHERE"), Echo("b", "NOWHERE")})), PacketDone);
  EXPECT_EQ(TakeLines().back(), "  2 message(s) parsed from this packet");
}

TEST_F(PacketWalkTest, ThePacketIsOnlyRead) {
  const std::string packet = PacketBytes({Echo("a"), Echo("b", "FIDO")});
  const std::vector<uint8_t> bytes(packet.begin(), packet.end());
  EXPECT_EQ(TossPacket(Where(), bytes.data(), bytes.size()), PacketDone);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), packet);
}
