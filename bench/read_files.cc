// The yardstick of the scan: reads files whole, in large pieces, and looks at nothing.
//
//   read_files PASSES FILE...
#include "raw_file.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    (void)fputs("usage: read_files PASSES FILE...\n", stderr);
    return 2;
  }
  for (unsigned long pass = strtoul(argv[1], nullptr, 10); pass != 0; --pass) {
    for (int i = 2; i < argc; ++i) ReadIfThere(argv[i]);
  }
  return 0;
}
