#include "app/text_file.h"

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
  std::vector<std::string> Lines() {
    TextFile file;
    EXPECT_EQ(OpenTextFile(path_.c_str(), &file), 0);
    std::vector<std::string> lines;
    char line[kSize];
    while (ReadTextLine(&file, line, sizeof line)) lines.push_back(line);
    EXPECT_STREQ(line, "");
    EXPECT_FALSE(ReadTextLine(&file, line, sizeof line));
    return lines;
  }

  using Strings = std::vector<std::string>;
};

}  // namespace

TEST_F(TextFileTest, AMissingFileAndADirectoryDoNotOpen) {
  TextFile file;
  EXPECT_EQ(OpenTextFile(path_.c_str(), &file), -1);
  EXPECT_EQ(OpenTextFile(directory_.Path().c_str(), &file), -1);
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

TEST_F(TextFileTest, ALineMayLieAcrossThePiecesThatAreReadAtOnce) {
  for (const size_t length : {1022U, 1023U, 1024U, 1025U, 2047U, 2048U}) {
    const std::string first(length, 'x');
    WriteFile(path_, first + "\nlast");
    EXPECT_EQ(Lines<4096>(), (Strings{first + "\n", "last"})) << length;
  }
}

TEST_F(TextFileTest, TheEndOfFileMarkEndsTheText) {
  WriteFile(path_,
            "a\nb\x1A"
            "c\nd\n");
  EXPECT_EQ(Lines(), (Strings{"a\n", "b"}));
  WriteFile(path_, "\x1A");
  EXPECT_EQ(Lines(), Strings{});
}

TEST_F(TextFileTest, AReadErrorEndsTheTextAfterWhatWasRead) {
  WriteFile(path_, std::string(1023, 'x') + "\nlost\n");
  ScopedDoor door;
  door.FailFrom(Call::kReadAt, 2);
  EXPECT_EQ(Lines<4096>(), Strings{std::string(1023, 'x') + "\n"});
  EXPECT_TRUE(door.HasStruck());
}
