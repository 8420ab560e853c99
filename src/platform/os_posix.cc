// OsTable on POSIX systems.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/os.h"
#include "platform/os_common.h"
#include "platform/os_posix_call.h"
#include "platform/os_posix_directory.h"
#include "platform/os_posix_identity.h"
#include "platform/os_posix_place.h"
#include "platform/os_posix_rename.h"
#include "platform/os_posix_sync.h"

namespace {

OsResult ResultOf(int error) {
  switch (error) {
    case ENOENT: return kOsMissing;
    case EEXIST: return kOsExists;
    default: return kOsFailed;
  }
}

int FlagsOf(OsOpenMode mode) {
  switch (mode) {
    case kOsRead:
    case kOsReadShared: return O_RDONLY;
    case kOsUpdate: return O_RDWR;
    case kOsCreate: return O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
    case kOsCreateNew: return O_RDWR | O_CREAT | O_EXCL;
    case kOsCreateLock: return O_WRONLY | O_CREAT | O_EXCL;
    case kOsAppend:
    case kOsAppendText: return O_WRONLY | O_CREAT | O_APPEND;
  }
  return O_RDONLY;
}

OsResult Open(const OsPlace& where, OsOpenMode mode, intptr_t* handle, int* error) {
  const PosixPlace place(where);
  const int descriptor = PosixOpenPatiently(place, FlagsOf(mode), mode == kOsCreateLock ? S_IRUSR | S_IWUSR : 0666);
  if (descriptor < 0) {
    *error = errno;
    return ResultOf(errno);
  }
  if (mode == kOsRead || mode == kOsReadShared) {  // opening a directory for reading succeeds here; it is refused
    struct stat status = {};
    (void)fstat(descriptor, &status);
    if (S_ISDIR(status.st_mode)) {
      (void)close(descriptor);
      *error = EISDIR;
      return kOsFailed;
    }
  }
  *handle = descriptor;
  return kOsOk;
}

int64_t Size(intptr_t handle) { return lseek(static_cast<int>(handle), 0, SEEK_END); }

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  return Uninterrupted([&] { return pread(static_cast<int>(handle), to, size, at); });
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  const ssize_t put = Uninterrupted([&] { return pwrite(static_cast<int>(handle), from, size, at); });
  return put < 0 && errno == ESPIPE ? kOsNoPositions : put;
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  return Uninterrupted([&] { return write(static_cast<int>(handle), from, size); });
}

int SetSize(intptr_t handle, int64_t size) { return ftruncate(static_cast<int>(handle), size); }

int Close(intptr_t handle) { return close(static_cast<int>(handle)); }

// The kernel's or the file server's clock sets the time.
int Touch(intptr_t handle) { return futimens(static_cast<int>(handle), nullptr); }

OsResult Stat(const OsPlace& where, OsStatus* status) {
  const PosixPlace place(where);
  struct stat found = {};
  if (fstatat(place.Directory(), place.Name(), &found, AT_SYMLINK_NOFOLLOW) != 0) return ResultOf(errno);
  if (S_ISLNK(found.st_mode) && fstatat(place.Directory(), place.Name(), &found, 0) != 0) return kOsDangling;
  status->kind = S_ISREG(found.st_mode) ? kOsRegularFile : S_ISDIR(found.st_mode) ? kOsDirectory : kOsOtherKind;
  status->size = found.st_size;
  status->modified = found.st_mtime;
  return kOsOk;
}

OsResult FindEntry(const OsPlace& where, OsLinks links, OsEntry* entry) {
  const PosixPlace place(where);
  struct stat found = {};
  const int flags = links == kOsFollowLinks ? 0 : AT_SYMLINK_NOFOLLOW;
  if (fstatat(place.Directory(), place.Name(), &found, flags) != 0) return ResultOf(errno);
  entry->volume = found.st_dev;
  entry->file = found.st_ino;
  entry->has_other_names = found.st_nlink > 1;
  entry->is_link = S_ISLNK(found.st_mode);
  return kOsOk;
}

OsSameness SameFile(const OsPlace& source, const OsPlace& other) { return CommonSameFile(FindEntry, source, other); }

OsResult Remove(const OsPlace& where, const OsIdentity* only) {
  const PosixPlace place(where);
  OsIdentity entry;
  if (only != nullptr && !PosixFind(place, only, &entry)) return kOsFailed;
  return unlinkat(place.Directory(), place.Name(), 0) == 0 ? kOsOk : ResultOf(errno);
}

OsResult RemoveIfUnchanged(const char* native, int64_t modified) {
  struct stat found = {};
  if (stat(native, &found) != 0) return ResultOf(errno);
  if (found.st_mtime != modified) return kOsExists;
  return unlink(native) == 0 ? kOsOk : ResultOf(errno);
}

void Sleep(uint32_t milliseconds) {
  timespec left = {};
  left.tv_sec = milliseconds / 1000;
  left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
  (void)Uninterrupted([&] { return nanosleep(&left, &left); });
}

// Locks a directory until the descriptor is closed. Another run holds such a lock for the time of two calls only; one
// held for longer belongs to another program, and must not keep a stale run lock from being cleared.
void LockDirectory(int descriptor) {
  for (int tries = 0; tries < 20; ++tries) {
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    Sleep(5);
  }
}

// The check and the removal are made under an exclusive lock on the directory, which the kernel releases when the
// process ends. Where the directory cannot be locked (not readable, a network file system without locks, another
// program's lock), the check just before the removal is the only protection.
OsResult RemoveUnchanged(const char* path, int64_t modified) {
  const NativePath native(path);
  NativePath directory(path);
  directory.CutToDirectory();
  const int descriptor = open(directory.text, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0) LockDirectory(descriptor);
  const OsResult result = RemoveIfUnchanged(native.text, modified);
  if (descriptor >= 0) (void)close(descriptor);
  return result;
}

OsResult MakeDirectory(const char* path) {
  const NativePath native(path);
  if (mkdir(native.text, 0777) != 0) return ResultOf(errno);
  (void)PosixSyncDirectoryOf(path);  // files synced in it must not be lost with its name
  return kOsOk;
}

void CloseDirectory(intptr_t handle) { (void)close(static_cast<int>(handle)); }

OsResult ListOpen(const char* path, void** list) {
  const NativePath native(path);
  *list = opendir(native.text);
  return *list != nullptr ? kOsOk : ResultOf(errno);
}

// Names of this system are at most 255 bytes long and fit the caller's buffer.
OsResult ListNext(void* list, char* name, size_t size) {
  errno = 0;
  const dirent* entry = readdir(static_cast<DIR*>(list));
  if (entry == nullptr) return errno == 0 ? kOsMissing : kOsFailed;
  const size_t length = strlen(entry->d_name);
  if (length >= size) return kOsFailed;
  memcpy(name, entry->d_name, length + 1);
  return strchr(name, '\\') == nullptr ? kOsOk : kOsUnaddressable;
}

void ListClose(void* list) { (void)closedir(static_cast<DIR*>(list)); }

int64_t Now() { return time(nullptr); }

int64_t Uptime() {
  timespec since_start = {};
  (void)clock_gettime(CLOCK_BOOTTIME, &since_start);
  return since_start.tv_sec;
}

int LocalTime(int64_t when, OsCalendar* calendar) {
  const time_t seconds = when;
  tm broken_down = {};
  if (localtime_r(&seconds, &broken_down) == nullptr) return -1;
  *calendar = CalendarOf(broken_down);
  return 0;
}

int UtcTime(int64_t when, OsCalendar* calendar) {
  const time_t seconds = when;
  tm broken_down = {};
  if (gmtime_r(&seconds, &broken_down) == nullptr) return -1;
  *calendar = CalendarOf(broken_down);
  return 0;
}

uint32_t ProcessId() { return static_cast<uint32_t>(getpid()); }

OsResult FindProcess(uint32_t id) {
  if (id == 0 || id > INT32_MAX) return kOsMissing;  // no process has such an id, and kill would take it for a group
  return kill(static_cast<pid_t>(id), 0) != 0 && errno == ESRCH ? kOsMissing : kOsOk;
}

size_t ProgramPath(char* path, size_t size) {
  const ssize_t length = readlink("/proc/self/exe", path, size);
  if (length <= 0) return 0;
  if (static_cast<size_t>(length) < size) path[length] = '\0';
  return static_cast<size_t>(length);
}

// What the handler reads. `break_file_set` is set only while the texts are complete, so that a signal that arrives
// in the middle of a change finds a complete path or none; the fences keep the compiler from reordering this.
char break_file[sizeof(NativePath::text)];
char break_contents[kOsBreakContents + 1];
std::atomic<bool> break_file_set = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// Whether the break file has the contents that were set: it may be another run's lock by now.
bool HoldsBreakContents() {
  const int descriptor = open(break_file, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  char found[sizeof break_contents];
  const ssize_t got = read(descriptor, found, sizeof found);
  (void)close(descriptor);
  const size_t size = strlen(break_contents);
  return got >= 0 && static_cast<size_t>(got) == size && memcmp(found, break_contents, size) == 0;
}

constexpr int kBreakSignals[] = {SIGINT, SIGQUIT, SIGHUP, SIGTERM};

// Removes the file, then lets the signal take its default action. Uses only calls that are safe in a signal handler.
extern "C" void RemoveBreakFileAndDie(int signal_number) {
  if (break_file_set && HoldsBreakContents()) (void)unlink(break_file);
  (void)signal(signal_number, SIG_DFL);
  (void)raise(signal_number);
}

// The lowest descriptors belong to the standard streams: if one of them were closed, the next file opened would get its
// number, and the console's text would be written into it.
void PrepareProcess() {
  (void)signal(SIGPIPE, SIG_IGN);
  (void)signal(SIGXFSZ, SIG_IGN);
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDWR);
  if (descriptor >= 0) (void)close(descriptor);
}

void InstallBreakHandler() {
  struct sigaction action = {};
  action.sa_handler = RemoveBreakFileAndDie;
  (void)sigemptyset(&action.sa_mask);
  for (const int number : kBreakSignals) (void)sigaddset(&action.sa_mask, number);
  for (const int number : kBreakSignals) {
    struct sigaction inherited = {};
    // A signal that the parent process ignores (nohup ignores the hang-up) stays ignored.
    (void)sigaction(number, nullptr, &inherited);
    if (inherited.sa_handler != SIG_IGN) (void)sigaction(number, &action, nullptr);
  }
}

void SetBreakFile(const char* path, const char* contents) {
  const NativePath native(path);
  break_file_set = false;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  memcpy(break_file, native.text, strlen(native.text) + 1);
  const size_t size = strnlen(contents, kOsBreakContents);
  memcpy(break_contents, contents, size);
  break_contents[size] = '\0';
  std::atomic_signal_fence(std::memory_order_seq_cst);
  break_file_set = break_file[0] != '\0';
}

bool IsTerminal(OsStream stream) { return isatty(stream == kOsStdout ? STDOUT_FILENO : STDERR_FILENO) == 1; }

}  // namespace

const char* const kOsLineEnd = "\n";

const OsTable kOsNative = {
    .Open = Open,
    .Identify = PosixIdentify,
    .Size = Size,
    .ReadAt = ReadAt,
    .WriteAt = WriteAt,
    .Write = Write,
    .SetSize = SetSize,
    .SyncFile = PosixSyncFile,
    .SyncFiles = PosixSyncFiles,
    .SyncDirectory = PosixSyncDirectory,
    .Close = Close,
    .Touch = Touch,
    .Stat = Stat,
    .SameFile = SameFile,
    .Remove = Remove,
    .RemoveUnchanged = RemoveUnchanged,
    .Rename = PosixRenameWithoutReplacing,
    .MakeDirectory = MakeDirectory,
    .OpenDirectory = PosixOpenDirectory,
    .CloseDirectory = CloseDirectory,
    .ListOpen = ListOpen,
    .ListNext = ListNext,
    .ListClose = ListClose,
    .Allocate = CommonAllocate,
    .Reallocate = CommonReallocate,
    .Release = CommonRelease,
    .Now = Now,
    .Uptime = Uptime,
    .LocalTime = LocalTime,
    .UtcTime = UtcTime,
    .Sleep = Sleep,
    .ProcessId = ProcessId,
    .FindProcess = FindProcess,
    .ProgramPath = ProgramPath,
    .Show = CommonShow,
    .IsTerminal = IsTerminal,
    .ShowUtf8 = CommonShow,
    .PrepareProcess = PrepareProcess,
    .InstallBreakHandler = InstallBreakHandler,
    .SetBreakFile = SetBreakFile,
};
