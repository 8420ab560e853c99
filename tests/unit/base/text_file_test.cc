#include "base/text_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "unit/support/scoped_door.h"
#include "unit/support/temporary_directory.h"
#include "unit/support/test_files.h"

namespace {

class TextFileTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "file";

  // The lines of a file, read through `kSize` bytes each time.
  template <size_t kSize = 512>
  std::vector<std::string> Lines(TextEnd end = kEndsWithFile) {
    TextFile file;
    EXPECT_EQ(OpenTextFile(path_.c_str(), end, &file), 0);
    std::vector<std::string> lines;
    char line[kSize];
    while (ReadTextLine(&file, line, sizeof line)) lines.push_back(line);
    EXPECT_STREQ(line, "");
    EXPECT_FALSE(ReadTextLine(&file, line, sizeof line));
    return lines;
  }
};

}  // namespace

TEST_F(TextFileTest, AMissingFileAndADirectoryDoNotOpen) {
  TextFile file;
  EXPECT_EQ(OpenTextFile(path_.c_str(), kEndsWithFile, &file), -1);
  EXPECT_EQ(OpenTextFile(directory_.Path().c_str(), kEndsWithFile, &file), -1);
}

TEST_F(TextFileTest, AnEmptyFileHasNoLine) {
  WriteFile(path_, "");
  EXPECT_EQ(Lines(), Strings{});
}

TEST_F(TextFileTest, LinesKeepTheirLineEnds) {
  WriteFile(path_, "a\n\nb\r\nc");
  EXPECT_EQ(Lines(), (Strings{"a\n", "\n", "b\r\n", "c"}));
}

TEST_F(TextFileTest, ALongerLineComesInPiecesOfOneLessThanTheRoom) {
  WriteFile(path_, "abc\nabcd\nabcdefgh\n");
  EXPECT_EQ(Lines<5>(), (Strings{"abc\n", "abcd", "\n", "abcd", "efgh", "\n"}));
}

TEST_F(TextFileTest, ALineMayCrossThePiecesThatAreReadAtOnce) {
  constexpr size_t kPiece = sizeof TextFile::piece;
  for (const size_t length : {kPiece - 2, kPiece - 1, kPiece, kPiece + 1, 2 * kPiece - 1, 2 * kPiece}) {
    const std::string first(length, 'x');
    WriteFile(path_, first + "\nlast");
    EXPECT_EQ(Lines<3 * kPiece>(), (Strings{first + "\n", "last"})) << length;
  }
}

TEST_F(TextFileTest, TheDosMarkEndsTheTextWhereItIsAskedFor) {
  const std::string content =
      "a\nb\x1A"
      "c\nd\n";
  WriteFile(path_, content);
  EXPECT_EQ(Lines(kEndsAtDosMark), (Strings{"a\n", "b"}));
  EXPECT_EQ(Lines(kEndsWithFile), (Strings{"a\n", content.substr(2, 4), "d\n"}));
  WriteFile(path_, "\x1A");
  EXPECT_EQ(Lines(kEndsAtDosMark), Strings{});
}

TEST_F(TextFileTest, WhatHasNoLengthDoesNotOpen) {
  WriteFile(path_, "a\n");
  ScopedDoor door;
  door.FailNth(Call::kSize, 1);
  TextFile file;
  EXPECT_EQ(OpenTextFile(path_.c_str(), kEndsWithFile, &file), -1);
}

TEST_F(TextFileTest, AReadErrorEndsTheTextAfterWhatWasRead) {
  constexpr size_t kPiece = sizeof TextFile::piece;
  const std::string first = std::string(kPiece - 1, 'x') + "\n";
  WriteFile(path_, first + "lost\n");
  ScopedDoor door;
  door.FailFrom(Call::kReadAt, 2);
  EXPECT_EQ(Lines<2 * kPiece>(), Strings{first});
  EXPECT_TRUE(door.HasStruck());
}
