#include "kit/kit_command_line.h"

int main(int argc, char** argv) { return RunKit(argc, argv); }
