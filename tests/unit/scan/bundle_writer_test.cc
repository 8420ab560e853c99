#include "scan/bundle_writer.h"

#include <limits>

#include "unit/scan/whole_or_nothing.h"
#include "unit/support/site_fixture.h"

namespace {

constexpr char kSequence[] = "0123456789abcdefghijklmnopqrstuvwxyz";

class BundleNames : public SiteFixture {
 protected:
  std::string Choose() {
    char name[kBundleNameSize];
    ChooseBundleName(site_.Out().c_str(), name);
    return name;
  }
};

class Bundles : public SiteFixture {
 protected:
  // The published check value of this text's CRC-32 is CBF43926.
  Bundles() { EXPECT_EQ(AppendBytes(&packet_, "123456789", 9), 0); }

  int Write(const char* entry = "6917c9dc.pkt") { return WriteBundle(path_.c_str(), entry, packet_); }

  const std::string path_ = site_.Out("bundle.tmp");
  ByteBuffer packet_;
};

}  // namespace

TEST_F(BundleNames, ContainTheTimeInHexadecimalAndTheDayOfTheWeek) {
  EXPECT_EQ(Choose(), "6917c9dc.sa0");  // Saturday 2025-11-15
  clock_.now = 255;                     // Thursday 1970-01-01
  EXPECT_EQ(Choose(), "000000ff.th0");
  clock_.now = 0xFFFFFFFF;  // Sunday 2106-02-07
  EXPECT_EQ(Choose(), "ffffffff.su0");
}

TEST_F(BundleNames, EachDayOfTheWeekHasItsLetters) {
  for (const char* day : {"sa", "su", "mo", "tu", "we", "th", "fr"}) {
    EXPECT_EQ(Choose().substr(9, 2), day);
    clock_.now += 24 * 3600;
  }
}

TEST_F(BundleNames, TheDayIsThatOfLocalTime) {
  clock_.local_offset = -3600;
  EXPECT_EQ(Choose(), "6917c9dc.fr0");
  clock_.local_offset = 23 * 3600 + 1800;
  EXPECT_EQ(Choose(), "6917c9dc.su0");
}

TEST_F(BundleNames, All36SequenceCharactersAreTriedInOrderAndThenTheOneWith9IsReturned) {
  for (const char* sequence = kSequence; *sequence != '\0'; ++sequence) {
    const std::string name = std::string("6917c9dc.sa") + *sequence;
    EXPECT_EQ(Choose(), name);
    WriteFile(site_.Out(name), "taken");
  }
  EXPECT_EQ(Choose(), "6917c9dc.sa9");
}

TEST_F(BundleNames, AGapIsTaken) {
  for (const char c : std::string("0123456789bcd")) WriteFile(site_.Out(std::string("6917c9dc.sa") + c), "");
  EXPECT_EQ(Choose(), "6917c9dc.saa");
}

TEST_F(BundleNames, NamesOfOtherSecondsAndDaysAreFree) {
  for (const char* name : {"6917c9db.sa0", "6917c9dc.fr0", "6917c9dc.sa", "6917c9dc.sa0.tmp"}) {
    WriteFile(site_.Out(name), "");
  }
  EXPECT_EQ(Choose(), "6917c9dc.sa0");
}

TEST_F(Bundles, AreALocalHeaderThePacketADirectoryOfOneEntryAndAnEnd) {
  ASSERT_EQ(Write(), 0);
  // 00:31:24 packs to 03EC, 2025-11-15 to 5B6F.
  EXPECT_EQ(ToHex(ReadFile(path_)),
            "50 4B 03 04 14 00 00 00 00 00 EC 03 6F 5B 26 39 F4 CB 09 00 00 00 09 00 00 00 0C 00 00 00 "
            "36 39 31 37 63 39 64 63 2E 70 6B 74 31 32 33 34 35 36 37 38 39 "
            "50 4B 01 02 14 00 14 00 00 00 00 00 EC 03 6F 5B 26 39 F4 CB 09 00 00 00 09 00 00 00 0C 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 36 39 31 37 63 39 64 63 2E 70 6B 74 "
            "50 4B 05 06 00 00 00 00 01 00 01 00 3A 00 00 00 33 00 00 00 00 00");
}

TEST_F(Bundles, CarryLocalTime) {
  clock_.local_offset = -3600;  // 2025-11-14 23:31:24
  ASSERT_EQ(Write(), 0);
  EXPECT_EQ(ToHex(ReadFile(path_).substr(10, 4)), "EC BB 6E 5B");
}

TEST_F(Bundles, AnEntryNameOf65535CharactersFitsAndALongerOneFailsBeforeAnythingIsOpened) {
  const std::string longest(65535, 'n');
  ASSERT_EQ(Write(longest.c_str()), 0);
  const std::string bundle = ReadFile(path_);
  ASSERT_EQ(bundle.size(), 30U + 65535 + 9 + 46 + 65535 + 22);
  EXPECT_EQ(ToHex(bundle.substr(26, 2)), "FF FF");
  EXPECT_EQ(ToHex(bundle.substr(bundle.size() - 10, 8)), "2D 00 01 00 26 00 01 00");  // 65581 and 65574
  RemoveFile(path_);
  const int opened = door_.Count(Call::kOpen);
  EXPECT_EQ(Write((longest + "n").c_str()), -1);
  EXPECT_EQ(door_.Count(Call::kOpen), opened);
}

TEST_F(Bundles, APacketTooLargeForTheFormatFailsAndLeavesNothing) {
  const size_t size = packet_.size;
  packet_.size = std::numeric_limits<uint32_t>::max() - 30 - 12 + 1;  // as if it were so large
  EXPECT_EQ(Write(), -1);
  packet_.size = size;
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(Bundles, WithoutLocalTimeThereIsNone) {
  clock_.fails = true;
  EXPECT_EQ(Write(), -1);
  EXPECT_FALSE(PathExists(path_));
}

TEST_F(Bundles, AreThereWholeOrNotAtAllWhateverFails) {
  ASSERT_EQ(Write(), 0);
  ExpectWholeOrNothing(path_, ReadFile(path_), &door_, [this] { return Write(); });
}
