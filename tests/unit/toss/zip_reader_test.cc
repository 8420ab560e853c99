#include "toss/zip_reader.h"

#include <zlib.h>

#include "unit/toss/toss_fixture.h"

namespace {

constexpr char kNothingHandled[] = "  ERROR: ZIP contained no successfully handled FidoNet packet entries";
constexpr char kRetaining[] = "  retaining ZIP in inbound because at least one entry failed";
constexpr char kPacketLine[] = "  packet: orig 1:229/426.0 -> dest 1:229/100.0  (month field is 0-based; 2025-01-05)";
constexpr char kNoPacket[] =
    "  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file";
constexpr char kCutName[] = "  ERROR: truncated ZIP filename/extra field";
constexpr char kCutData[] = "  ERROR: ZIP entry claims more compressed data than the file contains";

std::string Packet(const std::string& msgid) {
  PacketMessage message;
  message.text = EchoText("GENERAL", msgid, "Hello\r");
  return PacketBytes({message});
}

ZipEntryParts Entry(const std::string& content, const std::string& name = "a.pkt") {
  ZipEntryParts entry;
  entry.name = name;
  entry.content = content;
  return entry;
}

ZipEntryParts DeflatedEntry(const std::string& content) {
  ZipEntryParts entry = Entry(content);
  entry.deflated = true;
  return entry;
}

class ZipReader : public TossFixture {
 protected:
  // Tosses a copy of exactly its own size, so that a sanitizer sees any look behind it.
  TossResult Toss(const std::string& bundle) {
    const std::vector<uint8_t> exact(bundle.begin(), bundle.end());
    return TossZipBundle(Where(), exact.data(), exact.size());
  }

  // An entry that fails with `line`, after its own line, between two good ones.
  void ExpectEntryFails(const ZipEntryParts& entry, const std::string& line) {
    const std::string good = ZipEntryBytes(Entry(PacketBytes({}), "good"));
    EXPECT_EQ(Toss(good + ZipEntryBytes(entry) + good), PacketRetain);
    const Strings lines = TakeLines();
    ASSERT_EQ(lines.size(), 9U) << line;
    EXPECT_EQ(lines[4], line);
    EXPECT_EQ(lines[5].substr(0, 17), "  ZIP entry: good");
    EXPECT_EQ(lines[8], kRetaining);
    EXPECT_EQ(Toss(ZipEntryBytes(entry)), PacketRetain);
    const Strings alone = TakeLines();
    ASSERT_EQ(alone.size(), 4U) << line;
    EXPECT_EQ(alone[1], line);
    EXPECT_EQ(alone[2], kNothingHandled);
    EXPECT_EQ(alone[3], kRetaining);
  }

  // The bundle ends in a fault of its structure, with those lines.
  void ExpectCut(const std::string& bundle, Strings lines) {
    EXPECT_EQ(Toss(bundle), PacketRetain);
    lines.emplace_back(kRetaining);
    EXPECT_EQ(TakeLines(), lines);
  }
};

}  // namespace

TEST_F(ZipReader, AStoredPacketIsTossedAndTheBundleDisposedOf) {
  const std::string packet = Packet("a");
  EXPECT_EQ(Toss(ZipEntryBytes(Entry(packet))), PacketDone);
  const std::string size = std::to_string(packet.size());
  EXPECT_EQ(TakeLines(), (Strings{"  ZIP entry: a.pkt (method=0, " + size + " -> " + size + " bytes)", kPacketLine,
                                  "  -> wrote conf 1 msg #1  From='Ann Author' To='All' Subj='Hello' (1 records)",
                                  "  1 message(s) parsed from this packet"}));
}

TEST_F(ZipReader, ADeflatedPacketIsTossed) {
  const std::string packet = Packet("a");
  EXPECT_EQ(Toss(ZipEntryBytes(DeflatedEntry(packet))), PacketDone);
  EXPECT_EQ(TakeLines().at(0), "  ZIP entry: a.pkt (method=8, " + std::to_string(Deflated(packet).size()) + " -> " +
                                   std::to_string(packet.size()) + " bytes)");
  EXPECT_EQ(Only(1).msgid, "a");
}

TEST_F(ZipReader, EveryFieldOfAHeaderIsReadFromItsOffset) {
  const std::string bundle = FromHex(
                                 "50 4B 03 04  FF FF  F7 FF  00 00  FF FF  FF FF  FF FF FF FF"  // all flags but bit 3
                                 "3C 00 00 00  3C 00 00 00  01 00  02 00") +
                             "nxx" + PacketBytes({});
  EXPECT_EQ(Toss(bundle), PacketDone);
  EXPECT_EQ(TakeLines().at(0), "  ZIP entry: n (method=0, 60 -> 60 bytes)");
}

TEST_F(ZipReader, ManyEntriesAreTossedInOrderWithNamesAndExtraFieldsOfAnyLength) {
  ZipEntryParts unnamed = Entry(Packet("a"), "");
  ZipEntryParts extra = DeflatedEntry(Packet("b"));
  extra.extra = std::string(65535, 'e');
  ZipEntryParts named = Entry(Packet("c"), std::string(65535, 'n'));
  EXPECT_EQ(Toss(ZipEntryBytes(unnamed) + ZipEntryBytes(extra) + ZipEntryBytes(named)), PacketDone);
  const std::vector<BaseMessage> messages = site_.Base(1).Read();
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages[0].msgid + messages[1].msgid + messages[2].msgid, "abc");
  EXPECT_EQ(log_.CountOfStart("  ZIP entry:  (method=0, "), 1);
}

TEST_F(ZipReader, NamesAreCutTo259BytesInTheLog) {
  for (const size_t length : {258U, 259U, 260U, 1000U}) {
    EXPECT_EQ(Toss(ZipEntryBytes(Entry(PacketBytes({}), std::string(length, 'n')))), PacketDone);
    EXPECT_EQ(TakeLines().at(0),
              "  ZIP entry: " + std::string(length < 259 ? length : 259, 'n') + " (method=0, 60 -> 60 bytes)");
  }
}

TEST_F(ZipReader, TheWalkEndsAtTheCentralDirectoryOrAnythingElse) {
  const std::string entry = ZipEntryBytes(Entry(PacketBytes({})));
  for (const std::string& rest : {FromHex("50 4B 01 02") + std::string(60, '\0'), std::string(100, 'x'),
                                  std::string("PK\x03\x04") + std::string(25, '\0'), std::string("P")}) {
    EXPECT_EQ(Toss(entry + rest), PacketDone) << ToHex(rest);
    EXPECT_EQ(log_.CountOfStart("  ZIP entry:"), 1);
    log_.Clear();
  }
  EXPECT_EQ(Toss(entry + "PK\x03\x04" + std::string(26, '\0')), PacketRetain) << "30 bytes are an entry";
}

TEST_F(ZipReader, AFileWithoutALocalHeaderIsLeft) {
  const std::string whole = ZipEntryBytes(Entry(PacketBytes({}), ""));
  for (const std::string& bundle : {whole.substr(0, 20), whole.substr(0, 29), std::string(), std::string("PK\x03\x04"),
                                    FromHex("50 4B 05 06") + std::string(40, '\0')}) {
    EXPECT_EQ(Toss(bundle), NotAPacket);
    EXPECT_EQ(TakeLines(), Strings{"  no ZIP local file headers found -- not a ZIP bundle after all?"});
  }
}

// Entries that fail.

TEST_F(ZipReader, ADataDescriptorIsRefusedEvenWithItsSizes) {
  ZipEntryParts entry = Entry(Packet("a"));
  entry.flags = 8;
  ExpectEntryFails(entry, "  ERROR: streaming/data-descriptor ZIP entry 'a.pkt' is unsupported; retaining bundle");
  entry.uncompressed_size = 67108865;
  entry.method = 99;
  ExpectEntryFails(entry, "  ERROR: streaming/data-descriptor ZIP entry 'a.pkt' is unsupported; retaining bundle");
}

TEST_F(ZipReader, AnEntryExpandsToAtMost67108864Bytes) {
  for (const int method : {0, 8, 99}) {
    ZipEntryParts entry = Entry("x");
    entry.method = method;
    entry.uncompressed_size = 67108865;
    ExpectEntryFails(entry, "  ERROR: ZIP entry 'a.pkt' expands to 67108865 bytes (limit 67108864); retaining bundle");
    entry.uncompressed_size = 4294967295;
    ExpectEntryFails(entry,
                     "  ERROR: ZIP entry 'a.pkt' expands to 4294967295 bytes (limit 67108864); retaining bundle");
  }
  std::string largest = PacketBytes({});
  largest.resize(67108864, '\0');
  EXPECT_EQ(Toss(ZipEntryBytes(DeflatedEntry(largest))), PacketDone);
}

TEST_F(ZipReader, StoredSizesMustAgree) {
  ZipEntryParts entry = Entry(std::string(100, 'x'));
  entry.uncompressed_size = 101;
  ExpectEntryFails(entry, "  ERROR: stored ZIP entry 'a.pkt' has inconsistent sizes");
  entry.uncompressed_size = 99;
  ExpectEntryFails(entry, "  ERROR: stored ZIP entry 'a.pkt' has inconsistent sizes");
}

TEST_F(ZipReader, OtherMethodsAreRefused) {
  for (const int method : {1, 7, 9, 12, 65535}) {
    ZipEntryParts entry = Entry(Packet("a"));
    entry.method = method;
    ExpectEntryFails(entry,
                     "  ERROR: unsupported ZIP compression method " + std::to_string(method) + " for entry 'a.pkt'");
  }
}

TEST_F(ZipReader, DeflatedDataMustGiveExactlyTheDeclaredSize) {
  const std::string packet = PacketBytes({});
  ZipEntryParts entry = DeflatedEntry(packet);
  entry.uncompressed_size = 61;
  ExpectEntryFails(entry, "  ERROR: inflate failed/incomplete (code " + std::to_string(Z_STREAM_END) +
                              ", produced 60/61) for entry 'a.pkt'");
  entry.uncompressed_size = 59;
  ExpectEntryFails(entry, "  ERROR: inflate failed/incomplete (code " + std::to_string(Z_BUF_ERROR) +
                              ", produced 59/59) for entry 'a.pkt'");
}

TEST_F(ZipReader, DeflatedDataThatIsCutOrDamagedIsRefused) {
  const std::string data = Deflated(PacketBytes({}));
  ZipEntryParts entry = Entry(data.substr(0, data.size() - 1));
  entry.method = 8;
  entry.uncompressed_size = 60;
  EXPECT_EQ(Toss(ZipEntryBytes(entry)), PacketRetain);
  EXPECT_EQ(
      log_.CountOfStart("  ERROR: inflate failed/incomplete (code " + std::to_string(Z_BUF_ERROR) + ", produced "), 1);
  log_.Clear();
  entry.content = std::string(20, '\xFF');
  ExpectEntryFails(entry, "  ERROR: inflate failed/incomplete (code " + std::to_string(Z_DATA_ERROR) +
                              ", produced 0/60) for entry 'a.pkt'");
}

TEST_F(ZipReader, WhatFollowsTheDeflatedDataDoesNotMatter) {
  ZipEntryParts entry = Entry(Deflated(PacketBytes({})) + "trailing");
  entry.method = 8;
  entry.uncompressed_size = 60;
  EXPECT_EQ(Toss(ZipEntryBytes(entry)), PacketDone);
}

TEST_F(ZipReader, AnEntryThatIsNoPacketFails) {
  ExpectEntryFails(Entry("Read me", "README"), kNoPacket);
  ExpectEntryFails(Entry("", "empty"), kNoPacket);
  ExpectEntryFails(DeflatedEntry("Read me"), kNoPacket);
  ExpectEntryFails(DeflatedEntry(""), kNoPacket);
}

TEST_F(ZipReader, NoMemoryForAnEntryFailsIt) {
  const std::string bundle = ZipEntryBytes(DeflatedEntry(PacketBytes({})));
  door_.FailNth(Call::kReallocate, 1);
  EXPECT_EQ(Toss(bundle), PacketRetain);
  EXPECT_EQ(TakeLines().at(1), "  ERROR: out of memory inflating ZIP entry 'a.pkt'");
  door_.Clear();
  door_.FailNth(Call::kAllocate, 1);
  EXPECT_EQ(Toss(bundle), PacketRetain);
  EXPECT_EQ(TakeLines().at(1),
            "  ERROR: inflateInit2 failed (code " + std::to_string(Z_MEM_ERROR) + ") for entry 'a.pkt'");
}

TEST_F(ZipReader, AnEntryIsInflatedIntoOneBufferOfItsSize) {
  EXPECT_EQ(Toss(ZipEntryBytes(DeflatedEntry(PacketBytes({})))), PacketDone);
  EXPECT_EQ(door_.Count(Call::kReallocate), 1);
  const int before = door_.Count(Call::kAny);
  EXPECT_EQ(Toss(ZipEntryBytes(Entry(PacketBytes({})))), PacketDone);
  EXPECT_EQ(door_.Count(Call::kAny), before) << "a stored entry needs no memory";
}

// What an entry's packet came to.

TEST_F(ZipReader, ACorruptPacketIsHandled) {
  const std::string packet = Packet("a").substr(0, Packet("a").size() - 1) + "\x07";
  EXPECT_EQ(Toss(ZipEntryBytes(Entry(packet))), PacketDone);
  EXPECT_EQ(ReadFile(bad_file_), packet) << "the entry is saved, not the bundle";
}

TEST_F(ZipReader, ARetainedPacketFailsAndTheOthersAreTossed) {
  door_.FailNth(Call::kWriteAt, 1, ".PTR");
  EXPECT_EQ(Toss(ZipEntryBytes(Entry(Packet("a"))) + ZipEntryBytes(DeflatedEntry(Packet("b")))), PacketRetain);
  EXPECT_EQ(TakeLines().back(), kRetaining);
  EXPECT_EQ(Only(1).msgid, "b");
}

TEST_F(ZipReader, ABundleTossedAgainDropsItsDuplicates) {
  const std::string bundle = ZipEntryBytes(Entry(Packet("a"))) + ZipEntryBytes(Entry("Read me", "README"));
  EXPECT_EQ(Toss(bundle), PacketRetain);
  EXPECT_EQ(Toss(bundle), PacketRetain);
  EXPECT_EQ(Only(1).msgid, "a");
}

// Structure.

TEST_F(ZipReader, NamesAndExtraFieldsMustLieWithinTheFile) {
  ZipEntryParts entry = Entry("", "name");
  entry.extra = "extra";
  const std::string whole = ZipEntryBytes(entry);
  for (size_t size = 30; size < whole.size(); ++size) {
    ExpectCut(whole.substr(0, size), {kCutName, kNothingHandled});
  }
}

TEST_F(ZipReader, DataMustLieWithinTheFile) {
  const std::string whole = ZipEntryBytes(Entry(PacketBytes({})));
  for (const size_t missing : {60U, 59U, 1U}) {
    ExpectCut(whole.substr(0, whole.size() - missing), {kCutData, kNothingHandled});
  }
  ZipEntryParts huge = Entry(PacketBytes({}));
  huge.compressed_size = huge.uncompressed_size = 4294967295;
  ExpectCut(ZipEntryBytes(huge), {kCutData, kNothingHandled});
}

TEST_F(ZipReader, EntriesBeforeAFaultStayTossed) {
  const std::string good = ZipEntryBytes(Entry(PacketBytes({})));
  const Strings tossed = {"  ZIP entry: a.pkt (method=0, 60 -> 60 bytes)", kPacketLine,
                          "  0 message(s) parsed from this packet"};
  Strings lines = tossed;
  lines.emplace_back(kCutData);
  ExpectCut(good + good.substr(0, good.size() - 1), lines);
  lines.back() = kCutName;
  ExpectCut(good + good.substr(0, 31), lines);
}

TEST_F(ZipReader, AFaultAfterEntriesThatFailedSaysThatNothingWasHandled) {
  const std::string bad = ZipEntryBytes(Entry("Read me"));
  ExpectCut(bad + bad.substr(0, 31),
            {"  ZIP entry: a.pkt (method=0, 7 -> 7 bytes)", kNoPacket, kCutName, kNothingHandled});
}
