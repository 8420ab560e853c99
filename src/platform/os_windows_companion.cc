#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/os_companion.h"
#include "platform/os_windows_patience.h"

namespace {

constexpr size_t kLongestCommand = 32767;  // the system takes no longer one

// A handle that is closed at the end.
struct Handle {
  HANDLE handle = INVALID_HANDLE_VALUE;

  Handle() = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { Close(); }
  void Close() {
    if (handle != INVALID_HANDLE_VALUE && handle != nullptr) (void)CloseHandle(handle);
    handle = INVALID_HANDLE_VALUE;
  }
};

// A command line being put together; too long a one ends empty.
struct CommandLine {
  char text[kLongestCommand + 1];
  size_t size = 0;
  bool fits = true;

  void Add(char c, size_t times = 1) {
    for (; times > 0 && fits; --times) {
      fits = size < kLongestCommand;
      if (fits) text[size++] = c;
    }
    text[fits ? size : 0] = '\0';
  }
};

// A program takes its arguments out of one line: within quotes, where backslashes count double before a quote.
void AddArgument(const char* argument, CommandLine* line) {
  if (line->size > 0) line->Add(' ');
  line->Add('"');
  size_t backslashes = 0;
  for (; *argument != '\0'; ++argument) {
    if (*argument == '\\') {
      ++backslashes;
      continue;
    }
    line->Add('\\', *argument == '"' ? 2 * backslashes + 1 : backslashes);
    line->Add(*argument);
    backslashes = 0;
  }
  line->Add('\\', 2 * backslashes);
  line->Add('"');
}

// While this exists, the processes that this one starts end with it, in whatever way it ends: it is in a job that ends
// with its only handle, and its children are born into that job. Where jobs cannot be nested, one that is in a job
// already gets no further one.
class CommonEnd {
 public:
  CommonEnd() {
    job_.handle = CreateJobObjectA(nullptr, nullptr);
    if (Limit(JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE)) (void)AssignProcessToJobObject(job_.handle, GetCurrentProcess());
  }

  // Closing a job with the limit would end this process, too.
  ~CommonEnd() {
    if (!Limit(0)) job_.handle = INVALID_HANDLE_VALUE;
  }
  CommonEnd(const CommonEnd&) = delete;
  CommonEnd& operator=(const CommonEnd&) = delete;

 private:
  bool Limit(DWORD flags) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = flags;
    return SetInformationJobObject(job_.handle, JobObjectExtendedLimitInformation, &limits, sizeof limits) != 0;
  }

  Handle job_;
};

bool Start(const char* const* arguments, const char* directory, HANDLE input, HANDLE output, Handle* process) {
  auto* const line = static_cast<CommandLine*>(OsAllocate(sizeof(CommandLine)));
  if (line == nullptr) return false;
  line->size = 0;
  line->fits = true;
  for (const char* const* argument = arguments; *argument != nullptr; ++argument) AddArgument(*argument, line);
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = input;
  start.hStdOutput = output;
  start.hStdError = output;
  PROCESS_INFORMATION made = {};
  const bool started = line->fits && CreateProcessA(arguments[0], line->text, nullptr, nullptr, TRUE, 0, nullptr,
                                                    directory, &start, &made) != 0;
  OsRelease(line);
  if (!started) return false;
  (void)CloseHandle(made.hThread);
  process->handle = made.hProcess;
  return true;
}

OsResult OpenUntraced(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int* error) {
  return kOsNative.Open(place, mode == kOsRead ? kOsReadShared : mode, handle, error);
}

}  // namespace

int OsRunProgram(const char* const* arguments, const char* directory, OsTakeOutput take, void* context) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  Handle from;
  Handle to;
  Handle nothing;
  if (CreatePipe(&from.handle, &to.handle, &inherited, 0) == 0) return -1;
  (void)SetHandleInformation(from.handle, HANDLE_FLAG_INHERIT, 0);
  nothing.handle =
      CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0, nullptr);
  const CommonEnd common_end;
  Handle process;
  if (!Start(arguments, directory, nothing.handle, to.handle, &process)) return -1;
  to.Close();
  char piece[4096];
  DWORD got = 0;
  while (ReadFile(from.handle, piece, sizeof piece, &got, nullptr) != 0 && got > 0) take(context, piece, got);
  DWORD status = 0;
  if (WaitForSingleObject(process.handle, INFINITE) != WAIT_OBJECT_0) return -1;
  return GetExitCodeProcess(process.handle, &status) != 0 ? static_cast<int>(status & 0x7FFFFFFF) : -1;
}

int64_t OsRoom(const char* directory) {
  ULARGE_INTEGER room = {};
  if (GetDiskFreeSpaceExA(directory, &room, nullptr, nullptr) == 0) return -1;
  return static_cast<int64_t>(std::min<uint64_t>(room.QuadPart, INT64_MAX));
}

int OsTemporaryDirectory(char (&path)[kOsNameSize]) {
  const DWORD length = GetTempPathA(sizeof path, path);
  if (length == 0 || length >= sizeof path) return -1;
  if (length > 1 && path[length - 1] == '\\') path[length - 1] = '\0';
  return 0;
}

// The directory for temporary files is the user's own.
OsResult OsMakePrivateDirectory(const char* path) { return OsMakeDirectory(path); }

bool OsIsOwnDirectory(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

OsResult OsRemoveDirectory(const char* path) {
  if (AskPatiently([path] { return RemoveDirectoryA(path) != 0; })) return kOsOk;
  switch (GetLastError()) {
    case ERROR_DIR_NOT_EMPTY: return kOsExists;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return kOsMissing;
    default: return kOsFailed;
  }
}

// Every file may be.
int OsMakeExecutable(const char*) { return 0; }

OsResult OsReplace(const char* from, const char* to) {
  constexpr DWORD kHow = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
  return AskPatiently([=] { return MoveFileExA(from, to, kHow) != 0; }) ? kOsOk : kOsFailed;
}

bool OsMayMakeFiles(const char* directory) {
  Handle asked;
  asked.handle = CreateFileA(directory, FILE_ADD_FILE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  return asked.handle != INVALID_HANDLE_VALUE;
}

bool OsIsTyped() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

void OsReadWithoutTrace() { OsInForce().Open = OpenUntraced; }
