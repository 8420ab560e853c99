#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/os_companion.h"
#include "platform/os_posix_call.h"
#include "platform/os_posix_place.h"

extern "C" char** environ;  // NOLINT(readability-redundant-declaration): not every system declares it

namespace {

// The two ends of a pipe; -1 for what is not open.
struct Pipe {
  int ends[2] = {-1, -1};

  ~Pipe() {
    Close(0);
    Close(1);
  }
  void Close(int end) {
    if (ends[end] >= 0) (void)close(ends[end]);
    ends[end] = -1;
  }
};

// The kernel kills this process when `parent` ends, however that ends.
bool EndWith(pid_t parent) { return prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent; }

void TakeAll(int from, OsTakeOutput take, void* context) {
  char piece[4096];
  for (;;) {
    const ssize_t got = read(from, piece, sizeof piece);
    if (got > 0) {
      take(context, piece, static_cast<size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      return;
    }
  }
}

int StatusOf(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Returns the number of the process, or -1.
pid_t Start(const char* const* arguments, const char* directory, int output) {
  const NativePath program(arguments[0]);
  const NativePath place(directory == nullptr ? "." : directory);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  Pipe failure;  // closed without a byte when the program is started
  if (pipe2(failure.ends, O_CLOEXEC) != 0 || nothing < 0) return -1;
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process == 0) {  // only calls that are safe in a signal handler
    if (EndWith(parent) && chdir(place.text) == 0 && dup2(nothing, STDIN_FILENO) >= 0 &&
        dup2(output, STDOUT_FILENO) >= 0 && dup2(output, STDERR_FILENO) >= 0) {
      (void)execve(program.text, const_cast<char* const*>(arguments), environ);
    }
    _exit(write(failure.ends[1], "", 1) == 1 ? 126 : 127);
  }
  (void)close(nothing);
  if (process < 0) return -1;
  failure.Close(1);
  char byte = 0;
  if (Uninterrupted([&] { return read(failure.ends[0], &byte, 1); }) <= 0) return process;
  (void)StatusOf(process);
  return -1;
}

// Only the owner of a file, and root, may ask for this.
void KeepAccessTime(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags >= 0) (void)fcntl(descriptor, F_SETFL, flags | O_NOATIME);
}

OsResult OpenUntraced(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int* error) {
  const OsResult result = kOsNative.Open(place, mode, handle, error);
  if (result == kOsOk && (mode == kOsRead || mode == kOsReadShared)) KeepAccessTime(static_cast<int>(*handle));
  return result;
}

OsResult ListUntraced(const char* path, void** list) {
  const OsResult result = kOsNative.ListOpen(path, list);
  if (result == kOsOk) KeepAccessTime(dirfd(static_cast<DIR*>(*list)));
  return result;
}

}  // namespace

int OsRunProgram(const char* const* arguments, const char* directory, OsTakeOutput take, void* context) {
  Pipe output;
  if (pipe2(output.ends, O_CLOEXEC) != 0) return -1;
  const pid_t process = Start(arguments, directory, output.ends[1]);
  if (process < 0) return -1;
  output.Close(1);
  TakeAll(output.ends[0], take, context);
  return StatusOf(process);
}

int64_t OsRoom(const char* directory) {
  struct statvfs found = {};
  if (statvfs(NativePath(directory).text, &found) != 0) return -1;
  const auto blocks = static_cast<uint64_t>(found.f_bavail);
  const auto size = static_cast<uint64_t>(std::max<unsigned long>(found.f_frsize, 1));
  return static_cast<int64_t>(std::min(blocks, INT64_MAX / size) * size);
}

int OsTemporaryDirectory(char (&path)[kOsNameSize]) {
  const char* const set = getenv("TMPDIR");
  const int length = snprintf(path, sizeof path, "%s", set != nullptr && *set != '\0' ? set : "/tmp");
  return length > 0 && static_cast<size_t>(length) < sizeof path ? 0 : -1;
}

OsResult OsMakePrivateDirectory(const char* path) {
  if (mkdir(NativePath(path).text, S_IRWXU) == 0) return kOsOk;
  return errno == EEXIST ? kOsExists : errno == ENOENT ? kOsMissing : kOsFailed;
}

bool OsIsOwnDirectory(const char* path) {
  struct stat found = {};
  return lstat(NativePath(path).text, &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == geteuid();
}

OsResult OsRemoveDirectory(const char* path) {
  if (rmdir(NativePath(path).text) == 0) return kOsOk;
  return errno == ENOTEMPTY || errno == EEXIST ? kOsExists : errno == ENOENT ? kOsMissing : kOsFailed;
}

int OsMakeExecutable(const char* path) {
  return chmod(NativePath(path).text, S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH);
}

OsResult OsReplace(const char* from, const char* to) {
  return rename(NativePath(from).text, NativePath(to).text) == 0 ? kOsOk : kOsFailed;
}

bool OsMayMakeFiles(const char* directory) {
  return faccessat(AT_FDCWD, NativePath(directory).text, W_OK | X_OK, AT_EACCESS) == 0;
}

bool OsIsTyped() { return isatty(STDIN_FILENO) == 1; }

void OsReadWithoutTrace() {
  OsInForce().Open = OpenUntraced;
  OsInForce().ListOpen = ListUntraced;
}
