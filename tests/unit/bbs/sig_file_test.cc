#include "bbs/sig_file.h"

#include <cstring>

#include "unit/support/site_fixture.h"

namespace {

class Sig : public SiteFixture {
 protected:
  void Lay(const std::string& content) const { WriteFile(path_, content); }

  bool Contains(const std::string& msgid) const { return ScanSigFile(path_.c_str(), msgid.c_str(), "").has_msgid; }

  // The number found, or "none".
  std::string Number(const std::string& msgid) const {
    const SigScan scan = ScanSigFile(path_.c_str(), "", msgid.c_str());
    EXPECT_FALSE(scan.has_msgid);
    return scan.has_parent ? std::to_string(scan.parent) : "none";
  }

  // The MSGID found, or "none".
  std::string Msgid(int32_t number) const {
    char msgid[kFoundMsgidSize] = "untouched";
    return SigFindMsgid(site_.Msg().c_str(), 7, number, msgid) ? msgid : "none";
  }

  int Append(const char* msgid, int32_t number) const { return SigAppend(site_.Msg().c_str(), 7, msgid, number); }

  const std::string path_ = site_.Base(7).Path("SIG");
};

using SigDuplicate = Sig;
using SigParent = Sig;
using SigMsgid = Sig;
using SigAppending = Sig;
using SigReading = Sig;

}  // namespace

// The path.

TEST(SigPath, HoldsTheNumberInTwoDigitsOrMore) {
  BasePath path;
  EXPECT_EQ(FormatSigPath("m", 7, &path), 0);
  EXPECT_STREQ(path.text, "m/CVMSG07.SIG");
  EXPECT_EQ(FormatSigPath("m", 200, &path), 0);
  EXPECT_STREQ(path.text, "m/CVMSG200.SIG");
}

TEST(SigPath, Of511CharactersFitsAndOf512DoesNot) {
  BasePath path;
  EXPECT_EQ(FormatSigPath(std::string(499, 'm').c_str(), 7, &path), 0);
  EXPECT_EQ(strlen(path.text), 511U);
  EXPECT_EQ(FormatSigPath(std::string(500, 'm').c_str(), 7, &path), -1);
}

// Reading it.

TEST_F(SigReading, AMissingFileIsEmpty) {
  EXPECT_FALSE(Contains("1:2/3 a"));
  EXPECT_EQ(Number("1:2/3 a"), "none");
  EXPECT_EQ(Msgid(1), "none");
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(SigReading, AnEmptyFileIsEmpty) {
  Lay("");
  EXPECT_FALSE(Contains("1:2/3 a"));
  EXPECT_EQ(Number("1:2/3 a"), "none");
  EXPECT_EQ(Msgid(1), "none");
}

TEST_F(SigReading, WhatCannotBeReadIsTakenAsEmptyWithoutALine) {
  Lay("1:2/3 a\t1\n");
  for (const Call call : {Call::kOpen, Call::kReadAt}) {
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_FALSE(Contains("1:2/3 a"));
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(door_.OpenHandles(), 0);
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Msgid(1), "none");
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(SigReading, OnePassFindsTheDuplicateAndTheParent) {
  Lay("1:2/3 a\t1\n1:2/3 b\t2\n");
  const SigScan scan = ScanSigFile(path_.c_str(), "1:2/3 c", "1:2/3 b");
  EXPECT_FALSE(scan.has_msgid);
  EXPECT_TRUE(scan.has_parent);
  EXPECT_EQ(scan.parent, 2);
  EXPECT_EQ(door_.Count(Call::kOpen), 1);
  EXPECT_EQ(door_.Count(Call::kReadAt), 1);
  EXPECT_TRUE(ScanSigFile(path_.c_str(), "1:2/3 b", "1:2/3 a").has_msgid);
}

TEST_F(SigReading, WithoutATextToFindNothingIsFound) {
  Lay("\n\t5\n1:2/3 a\t1\n");
  const SigScan scan = ScanSigFile(path_.c_str(), "", "");
  EXPECT_FALSE(scan.has_msgid);
  EXPECT_FALSE(scan.has_parent);
}

TEST_F(SigReading, AShortReadIsContinued) {
  Lay("1:2/3 a\t1\n1:2/3 b\t2\n");
  Fault fault;
  fault.call = Call::kReadAt;
  fault.is_short = true;
  door_.Fail(fault);
  EXPECT_EQ(Number("1:2/3 b"), "2");
  EXPECT_TRUE(door_.HasStruck());
}

TEST_F(SigReading, LinesOfALargeFileAreFoundWhereverTheyAre) {
  // Whatever the size of the pieces that are read, some of these lines begin in one piece and end in the next.
  for (const size_t near : {size_t{1} << 14, size_t{1} << 16, size_t{1} << 17, size_t{1} << 18}) {
    for (size_t before = near - 20; before <= near + 1; ++before) {
      std::string content;
      while (content.size() + 8 <= before) content += "filler\t\n";
      content.append(before - content.size(), '\n');
      Lay(content + "1:2/3 a\t17\nlast\t18");
      EXPECT_TRUE(Contains("1:2/3 a")) << before;
      EXPECT_EQ(Number("1:2/3 a"), "17") << before;
      EXPECT_EQ(Number("last"), "18") << before;
      EXPECT_EQ(Msgid(17), "1:2/3 a") << before;
      EXPECT_FALSE(Contains("ast")) << before;
    }
  }
}

TEST_F(SigReading, ALongLineAcrossTwoBlocksKeepsItsPieces) {
  for (size_t before = 130800; before <= 131080; before += 7) {
    Lay(std::string(before, '\n') + std::string(510, 'x') + "1:2/3 a\t17\n");
    EXPECT_TRUE(Contains("1:2/3 a")) << before;
    Lay(std::string(before, '\n') + std::string(509, 'x') + "1:2/3 a\t17\n");
    EXPECT_FALSE(Contains("1:2/3 a")) << before;
  }
}

TEST_F(SigReading, ADosEndOfFileMarkIsAByteLikeAnyOther) {
  Lay("ev\x1Ail\t1\n1:2/3 a\t2\n");
  EXPECT_TRUE(Contains("ev\x1Ail"));
  EXPECT_EQ(Number("1:2/3 a"), "2");
  EXPECT_EQ(Msgid(2), "1:2/3 a");
}

// Duplicates.

TEST_F(SigDuplicate, TheFirstFieldMustBeExactlyTheMsgid) {
  Lay("1:2/3 0a1b2c3d\t17\n1:2/3 ffff\t18\n");
  EXPECT_TRUE(Contains("1:2/3 0a1b2c3d"));
  EXPECT_TRUE(Contains("1:2/3 ffff"));
  for (const char* other : {"1:2/3 0A1B2C3D", "1:2/3  0a1b2c3d", "1:2/3 0a1b2c3d ", " 1:2/3 0a1b2c3d", "1:2/3 0a1b2c3",
                            "1:2/3 0a1b2c3dd", "0a1b2c3d", "17", "1:2/3 0a1b2c3d\t17"}) {
    EXPECT_FALSE(Contains(other)) << other;
  }
}

TEST_F(SigDuplicate, EitherLineEndIsRead) {
  for (const char* end : {"\n", "\r\n", "", "\r", "\r\r\n"}) {
    Lay(std::string("first\t1\nwhole") + end);
    EXPECT_TRUE(Contains("whole")) << ToHex(end);
    Lay(std::string("first\t1\nfield\t2") + end);
    EXPECT_TRUE(Contains("field")) << ToHex(end);
    EXPECT_EQ(Number("field"), "2") << ToHex(end);
  }
}

TEST_F(SigDuplicate, ALineWithoutATabIsComparedWhole) {
  Lay("1:2/3 a\n1:2/3 b c\n");
  EXPECT_TRUE(Contains("1:2/3 a"));
  EXPECT_TRUE(Contains("1:2/3 b c"));
  EXPECT_FALSE(Contains("1:2/3 b"));
}

TEST_F(SigDuplicate, OnlyTheFirstTabCuts) {
  Lay("a\tb\t5\n");
  EXPECT_TRUE(Contains("a"));
  EXPECT_FALSE(Contains("a\tb"));
  EXPECT_FALSE(Contains("b"));
}

TEST_F(SigDuplicate, AMsgidWithinALineIsNoMatchAndOneAfterItIsFound) {
  Lay("x1:2/3 a\t1\nx\t1:2/3 a\n1:2/3 a1\t2\n1:2/3 a\t3\n");
  EXPECT_TRUE(Contains("1:2/3 a"));
  EXPECT_EQ(Number("1:2/3 a"), "3");
  Lay("aaab\t1\naab\t2\n");
  EXPECT_EQ(Number("aab"), "2");
}

TEST_F(SigDuplicate, EmptyLinesAreTolerated) {
  Lay("\n\r\n\n\t5\n1:2/3 a\t1\n\n");
  EXPECT_TRUE(Contains("1:2/3 a"));
}

TEST_F(SigDuplicate, ALineEndsAtANul) {
  Lay(std::string("1:2/3 a\0b\t5\n1:2/3 c\t6\n", 22));
  EXPECT_TRUE(Contains("1:2/3 a"));
  EXPECT_EQ(Number("1:2/3 a"), "none");
  EXPECT_EQ(Number("1:2/3 c"), "6");
}

TEST_F(SigDuplicate, ALongLineIsReadInPiecesOf255Bytes) {
  for (const size_t lead : {254U, 255U, 256U, 510U, 511U}) {
    Lay(std::string(lead, 'x') + "1:2/3 a\t1\n");
    EXPECT_EQ(Contains("1:2/3 a"), lead % 255 == 0) << lead;
    Lay("y\t0\n" + std::string(lead, 'x') + "1:2/3 a\t1\n");
    EXPECT_EQ(Number("1:2/3 a"), lead % 255 == 0 ? "1" : "none") << lead;
  }
}

TEST_F(SigDuplicate, APieceEndsAfter255Bytes) {
  const std::string piece(255, 'm');
  Lay(piece + "\n");
  EXPECT_TRUE(Contains(piece));
  Lay(piece + "m\n");
  EXPECT_TRUE(Contains(piece));
  EXPECT_TRUE(Contains("m"));
  EXPECT_FALSE(Contains(piece + "m"));
}

TEST_F(SigDuplicate, MsgidsOf127CharactersAreCompared) {
  const std::string longest(127, 'm');
  Lay(longest + "\t1\n");
  EXPECT_TRUE(Contains(longest));
  EXPECT_FALSE(Contains(longest.substr(1)));
}

// Parents.

TEST_F(SigParent, TheFirstLineWithATabAndThatFieldCounts) {
  Lay("1:2/3 a\n1:2/3 a\t17\n1:2/3 a\t18\n");
  EXPECT_EQ(Number("1:2/3 a"), "17");
  EXPECT_EQ(Number("1:2/3 A"), "none");
  EXPECT_EQ(Number("1:2/3 a "), "none");
}

TEST_F(SigParent, ALineWithoutATabIsNeverAParent) {
  Lay("1:2/3 a\n");
  EXPECT_EQ(Number("1:2/3 a"), "none");
}

TEST_F(SigParent, TheNumberEndsAtTheFirstOtherCharacter) {
  struct Case {
    const char* text;
    const char* number;
  };
  for (const Case& c :
       {Case{"17", "17"}, Case{" \t 17", "17"}, Case{"+17", "17"}, Case{"-17", "-17"}, Case{"17x", "17"},
        Case{"17 18", "17"}, Case{"x", "0"}, Case{"", "0"}, Case{"-", "0"}, Case{"0", "0"},
        Case{"2147483647", "2147483647"}, Case{"-2147483648", "-2147483648"}, Case{"0000000000000017", "17"}}) {
    Lay(std::string("1:2/3 a\t") + c.text + "\n");
    EXPECT_EQ(Number("1:2/3 a"), c.number) << c.text;
  }
}

// The MSGID of a number.

TEST_F(SigMsgid, TheFirstLineWithTheNumberCounts) {
  Lay("17\nfirst\t16\nsecond\t17\nthird\t17\r\n");
  EXPECT_EQ(Msgid(17), "second");
  EXPECT_EQ(Msgid(16), "first");
  EXPECT_EQ(Msgid(18), "none");
}

TEST_F(SigMsgid, LinesWithoutATabAreSkipped) {
  Lay("0\nx\n");
  EXPECT_EQ(Msgid(0), "none");
}

TEST_F(SigMsgid, OnlyTheFirstTabCuts) {
  Lay("a\t17\t18\nb\t18\n");
  EXPECT_EQ(Msgid(17), "a");
  EXPECT_EQ(Msgid(18), "b");
}

TEST_F(SigMsgid, IsCutTo63Characters) {
  for (const size_t length : {62U, 63U, 64U, 80U}) {
    Lay(std::string(length, 'm') + "\t17\r\n");
    EXPECT_EQ(Msgid(17), std::string(length < 63 ? length : 63, 'm')) << length;
  }
}

TEST_F(SigMsgid, LinesAreReadInPiecesOf511Bytes) {
  Lay(std::string(511, 'x') + "second\t17\n");
  EXPECT_EQ(Msgid(17), "second");
  Lay(std::string(255, 'x') + "second\t17\n");
  EXPECT_EQ(Msgid(17), std::string(63, 'x'));
}

TEST_F(SigMsgid, TooLongAPathFindsNothing) {
  char msgid[kFoundMsgidSize];
  EXPECT_FALSE(SigFindMsgid(std::string(500, 'm').c_str(), 7, 1, msgid));
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}

// Adding a line.

TEST_F(SigAppending, AddsALineThatEndsInCrLf) {
  EXPECT_EQ(Append("1:229/426 00000001", 17), 0);
  EXPECT_EQ(ToHex(ReadFile(path_)), ToHex("1:229/426 00000001\t17\r\n"));
  EXPECT_EQ(Append("b", -5), 0);
  EXPECT_EQ(ReadFile(path_), "1:229/426 00000001\t17\r\nb\t-5\r\n");
  EXPECT_EQ(Msgid(17), "1:229/426 00000001");
}

TEST_F(SigAppending, LeavesTheEarlierLinesAsTheyAre) {
  WriteFile(path_, "a\t1\n");
  EXPECT_EQ(Append("b", 2), 0);
  EXPECT_EQ(ReadFile(path_), "a\t1\nb\t2\r\n");
}

TEST_F(SigAppending, AnEmptyMsgidCreatesTheFileAndAddsNothing) {
  EXPECT_EQ(Append("", 17), 0);
  EXPECT_EQ(ReadFile(path_), "");
}

TEST_F(SigAppending, TheLongestLineIsWrittenWholeAndALongerOneIsCut) {
  const std::string longest(127, 'm');
  EXPECT_EQ(Append(longest.c_str(), -2147483647), 0);
  EXPECT_EQ(ReadFile(path_), longest + "\t-2147483647\r\n");
  EXPECT_EQ(Append((longest + "mmmm").c_str(), 1), 0);
  EXPECT_EQ(ReadFile(path_), longest + "\t-2147483647\r\n" + longest + "\t1\r\n");
}

TEST_F(SigAppending, AnyFailingCallIsAFailure) {
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kClose}) {
    door_.Clear();
    door_.FailNth(call, 1);
    EXPECT_EQ(Append("a", 1), -1);
    EXPECT_TRUE(door_.HasStruck());
    EXPECT_EQ(door_.OpenHandles(), 0);
  }
  EXPECT_EQ(TakeLines(), Strings{});
}

TEST_F(SigAppending, TooLongAPathIsAFailure) {
  EXPECT_EQ(SigAppend(std::string(500, 'm').c_str(), 7, "a", 1), -1);
  EXPECT_EQ(door_.Count(Call::kAny), 0);
}
