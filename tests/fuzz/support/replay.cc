// Runs a fuzz target once over each file named after "--replay": the corpus as a test, with any compiler. A file whose
// name begins with "whole" is also tried at every shorter length and with each of its bits flipped.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/support/input.h"

namespace {

void Run(const std::string& bytes) {
  const ExactCopy copy(bytes);
  (void)LLVMFuzzerTestOneInput(copy.Data(), bytes.size());
}

void RunDamaged(const std::string& whole) {
  for (size_t size = 0; size < whole.size(); ++size) {
    (void)fprintf(stderr, "  cut at %zu\n", size);
    Run(whole.substr(0, size));
  }
  for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
    (void)fprintf(stderr, "  bit %zu of byte %zu\n", bit % 8, bit / 8);
    std::string flipped = whole;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    Run(flipped);
  }
}

bool Replay(const char* path) {
  std::ifstream file(path, std::ios::binary);
  (void)fprintf(stderr, "Running: %s\n", path);
  if (!file) return false;
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  Run(bytes);
  if (std::filesystem::path(path).filename().string().rfind("whole", 0) == 0) RunDamaged(bytes);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  if (*count < 2 || strcmp((*arguments)[1], "--replay") != 0) return 0;
  for (int i = 2; i < *count; ++i) {
    if (!Replay((*arguments)[i])) exit(1);
  }
  exit(0);
}
