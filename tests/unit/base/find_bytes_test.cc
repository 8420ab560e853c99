#include "base/find_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// Where `text` is found in `block`, which lies in memory of its own so that a sanitizer sees every byte read beyond it.
size_t Find(const std::string& block, const std::string& text) {
  const std::vector<char> bytes(block.begin(), block.end());
  const char* const found = FindBytes(bytes.data(), bytes.data() + bytes.size(), text.data(), text.size());
  return static_cast<size_t>(found - bytes.data());
}

size_t FindSimply(const std::string& block, const std::string& text) {
  const size_t found = block.find(text);
  return found == std::string::npos ? block.size() : found;
}

}  // namespace

TEST(FindBytes, FindsATextAtEveryPlaceOfBlocksOfEverySize) {
  for (const std::string text : {"x", "xy", "xyz", "xyzw", "xyzwv", "0123456789"}) {
    for (size_t size = text.size(); size < 200; ++size) {
      EXPECT_EQ(Find(std::string(size, '.'), text), size);
      for (size_t at = 0; at + text.size() <= size; ++at) {
        std::string block(size, '.');
        block.replace(at, text.size(), text);
        EXPECT_EQ(Find(block, text), at) << size;
      }
    }
  }
}

TEST(FindBytes, FindsNothingInABlockThatIsTooSmall) {
  EXPECT_EQ(Find("", "x"), 0U);
  EXPECT_EQ(Find("xy", "xyz"), 2U);
  EXPECT_EQ(Find(std::string(127, 'x'), std::string(128, 'x')), 127U);
  EXPECT_EQ(Find(std::string(128, 'x'), std::string(128, 'x')), 0U);
}

TEST(FindBytes, FindsTheFirstOfSeveral) {
  EXPECT_EQ(Find(std::string(70, '.') + "xyxy" + std::string(70, 'x') + "xy", "xy"), 70U);
}

TEST(FindBytes, AgreesWithASimpleSearch) {
  std::mt19937 random(20261121);
  for (int round = 0; round < 20000; ++round) {
    std::string block(random() % 300, 'a');
    for (char& c : block) c = "ab\0"[random() % 3];
    std::string text(1 + random() % 9, 'a');
    for (char& c : text) c = "ab\0"[random() % 3];
    EXPECT_EQ(Find(block, text), FindSimply(block, text));
  }
}
