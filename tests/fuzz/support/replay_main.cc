// Runs a fuzz target once over each file named on the command line: the corpus as a test, with any compiler.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/support/input.h"

int main(int count, char** paths) {
  for (int i = 1; i < count; ++i) {
    std::ifstream file(paths[i], std::ios::binary);
    if (!file) {
      (void)fprintf(stderr, "cannot read %s\n", paths[i]);
      return 1;
    }
    (void)fprintf(stderr, "Running: %s\n", paths[i]);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const ExactCopy copy(bytes);
    (void)LLVMFuzzerTestOneInput(copy.Data(), bytes.size());
  }
  return 0;
}
