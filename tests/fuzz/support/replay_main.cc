// The main function of a build without a fuzzer.
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);

int main(int count, char** arguments) {
  (void)LLVMFuzzerInitialize(&count, &arguments);
  (void)fprintf(stderr, "usage: %s --replay SEED...\n", arguments[0]);
  return 2;
}
