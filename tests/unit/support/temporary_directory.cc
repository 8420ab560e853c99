#include "unit/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

#include "platform/os.h"

TemporaryDirectory::TemporaryDirectory() {
  static int made = 0;
  std::error_code error;
  const std::string base = std::filesystem::temp_directory_path(error).generic_string();
  const std::string stem = base + "/cvtoss-" + std::to_string(kOsNative.ProcessId()) + "-";
  do {  // false: the name is taken
    path_ = stem + std::to_string(++made);
  } while (!std::filesystem::create_directory(path_, error) && !error);
  EXPECT_FALSE(error) << "cannot make " << path_;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
  EXPECT_FALSE(error) << "cannot remove " << path_ << " (is a file in it still open?)";
}
