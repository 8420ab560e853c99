#include "toss/bundle_toss.h"

#include <zlib.h>

#include "unit/toss/toss_fixture.h"

namespace {

constexpr char kNothingHandled[] = "  ERROR: ZIP contained no successfully handled FidoNet packet entries";
constexpr char kRetaining[] = "  retaining ZIP in inbound because at least one entry failed";
constexpr char kCutName[] = "  ERROR: truncated ZIP filename/extra field";
constexpr char kCutData[] = "  ERROR: ZIP entry claims more compressed data than the file contains";

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
  // Tosses a copy of exactly its own size, so that a sanitizer notices any read beyond it.
  TossResult Toss(const std::string& bundle) {
    const std::vector<uint8_t> exact(bundle.begin(), bundle.end());
    return TossZipBundle(Where(), exact.data(), exact.size());
  }

  // The bundle ends in a fault of its structure, with those lines.
  void ExpectCut(const std::string& bundle, Strings lines) {
    EXPECT_EQ(Toss(bundle), PacketRetain);
    lines.emplace_back(kRetaining);
    EXPECT_EQ(TakeLines(), lines);
  }
};

}  // namespace

TEST_F(ZipReader, EveryFieldOfAHeaderIsReadFromItsOffset) {
  const std::string bundle = FromHex(
                                 "50 4B 03 04  FF FF  F7 FF  00 00  FF FF  FF FF  FF FF FF FF"  // all flags but bit 3
                                 "3C 00 00 00  3C 00 00 00  01 00  02 00") +
                             "nxx" + PacketBytes({});
  EXPECT_EQ(Toss(bundle), PacketDone);
  EXPECT_EQ(TakeLines().at(0), "  ZIP entry: n (method=0, 60 -> 60 bytes)");
}

// Entries that fail.

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

// Structure.

TEST_F(ZipReader, NamesAndExtraFieldsMustBeWithinTheFile) {
  ZipEntryParts entry = Entry("", "name");
  entry.extra = "extra";
  const std::string whole = ZipEntryBytes(entry);
  for (size_t size = 30; size < whole.size(); ++size) {
    ExpectCut(whole.substr(0, size), {kCutName, kNothingHandled});
  }
}

TEST_F(ZipReader, DataMustBeWithinTheFile) {
  const std::string whole = ZipEntryBytes(Entry(PacketBytes({})));
  for (const size_t missing : {60U, 59U, 1U}) {
    ExpectCut(whole.substr(0, whole.size() - missing), {kCutData, kNothingHandled});
  }
  ZipEntryParts huge = Entry(PacketBytes({}));
  huge.compressed_size = huge.uncompressed_size = 4294967295;
  ExpectCut(ZipEntryBytes(huge), {kCutData, kNothingHandled});
}
