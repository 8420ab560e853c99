#include "kit/site_files.h"

#include <gtest/gtest.h>

TEST(SiteFiles, APathIsSplitAtItsLastSeparator) {
  const struct {
    const char* path;
    const char* part;
    const char* name;
    const char* directory;
  } cases[] = {{"name", "", "name", "."},
               {"/name", "/", "name", "/"},
               {"C:\\name", "C:\\", "name", "C:\\"},
               {"a/b\\name", "a/b\\", "name", "a/b"},
               {"a/", "a/", "", "a"}};
  for (const auto& one : cases) {
    EXPECT_EQ(DirectoryPart(one.path), one.part);
    EXPECT_EQ(NamePart(one.path), one.name);
    EXPECT_EQ(DirectoryOf(one.path), one.directory);
  }
}
