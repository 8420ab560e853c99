#include "unit/support/test_files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

#include "platform/os.h"

namespace {

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

}  // namespace

std::string FromHex(const char* text) {
  std::string bytes;
  while (*text != '\0') {
    if (*text == ' ' || *text == '\n') {
      ++text;
      continue;
    }
    const int high = DigitValue(text[0]);
    const int low = high < 0 ? -1 : DigitValue(text[1]);
    if (low < 0) {
      ADD_FAILURE() << "not hexadecimal: " << text;
      return bytes;
    }
    bytes.push_back(static_cast<char>(high * 16 + low));
    text += 2;
  }
  return bytes;
}

std::string ToHex(const std::string& bytes) { return ToHex(BytesOf(bytes), bytes.size()); }

std::string ToHex(const uint8_t* bytes, size_t size) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    if (i != 0) text.push_back(' ');
    text.push_back(kDigits[bytes[i] / 16]);
    text.push_back(kDigits[bytes[i] % 16]);
  }
  return text;
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  EXPECT_TRUE(file.good()) << "cannot write " << path;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << "cannot read " << path;
  std::ostringstream content;
  content << file.rdbuf();
  return std::move(content).str();
}

void ResizeFile(const std::string& path, int64_t size) {
  if (!PathExists(path)) WriteFile(path, "");
  std::error_code error;
  std::filesystem::resize_file(path, static_cast<std::uintmax_t>(size), error);
  EXPECT_FALSE(error) << "cannot resize " << path;
}

bool PathExists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

void MakeDirectory(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directory(path, error);
  EXPECT_FALSE(error) << "cannot make " << path;
}

void RemoveFile(const std::string& path) {
  std::error_code error;
  std::filesystem::remove(path, error);
  EXPECT_FALSE(error) << "cannot remove " << path;
}

int64_t ModifiedAt(const std::string& path) {
  OsStatus status;
  EXPECT_EQ(kOsNative.Stat(path.c_str(), &status), kOsOk) << path;
  return status.modified;
}

void SetModifiedAt(const std::string& path, int64_t seconds) {
  // From the file's present time: no clock of the library's has to be translated.
  std::error_code error;
  const auto present = std::filesystem::last_write_time(path, error);
  EXPECT_FALSE(error) << path;
  const std::chrono::seconds change(seconds - ModifiedAt(path));
  std::filesystem::last_write_time(path, std::chrono::floor<std::chrono::seconds>(present) + change, error);
  EXPECT_FALSE(error) << path;
  EXPECT_EQ(ModifiedAt(path), seconds) << path;
}
