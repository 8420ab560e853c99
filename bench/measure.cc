// Runs a command with its standard output thrown away and tells what it took, as one line of numbers:
// exit status, elapsed microseconds, processor microseconds (of it and the system for it), largest memory in kB.
//
//   measure COMMAND [ARGUMENT]...
//
// It is small on purpose: a process starts its memory account with that of the program it was started from.
#include <sys/resource.h>
#include <sys/wait.h>

#include <ctime>

#include "raw_file.h"

namespace {

int64_t Now() {
  timespec now = {};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

int64_t Microseconds(const timeval& time) { return int64_t{time.tv_sec} * 1000000 + time.tv_usec; }

[[noreturn]] void Become(char** command) {
  const int nowhere = open("/dev/null", O_WRONLY);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) _exit(127);
  (void)execv(command[0], command);
  perror(command[0]);
  _exit(127);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    (void)fputs("usage: measure COMMAND [ARGUMENT]...\n", stderr);
    return 2;
  }
  const int64_t start = Now();
  const pid_t child = fork();
  if (child < 0) Die("fork");
  if (child == 0) Become(argv + 1);
  int status = 0;
  rusage used = {};
  if (wait4(child, &status, 0, &used) != child) Die("wait4");
  const int64_t elapsed = Now() - start;
  (void)printf("%d %lld %lld %ld\n", WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
               static_cast<long long>(elapsed),
               static_cast<long long>(Microseconds(used.ru_utime) + Microseconds(used.ru_stime)), used.ru_maxrss);
  return 0;
}
