// OsTable on Windows: the C runtime's descriptors for files, the system's own calls for the rest.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/os.h"
#include "platform/os_common.h"
#include "platform/os_windows_break.h"
#include "platform/os_windows_patience.h"
#include "platform/os_windows_sync.h"
#include "platform/os_windows_view.h"

namespace {

constexpr size_t kLargestPath = 1024;

OsResult ResultOfErrno(int error) {
  switch (error) {
    case ENOENT: return kOsMissing;
    case EEXIST: return kOsExists;
    default: return kOsFailed;
  }
}

OsResult ResultOfLastError() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return kOsMissing;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS: return kOsExists;
    default: return kOsFailed;
  }
}

int FlagsOf(OsOpenMode mode) {
  switch (mode) {
    case kOsRead:
    case kOsReadShared: return _O_RDONLY | _O_BINARY;
    case kOsUpdate: return _O_RDWR | _O_BINARY;
    case kOsCreate: return _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY;
    case kOsCreateNew: return _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY;
    case kOsCreateLock: return _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY;
    case kOsAppend: return _O_WRONLY | _O_CREAT | _O_APPEND | _O_BINARY;
    case kOsAppendText: return _O_WRONLY | _O_CREAT | _O_APPEND | _O_TEXT;
  }
  return _O_RDONLY | _O_BINARY;
}

OsResult Open(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int* error) {
  int descriptor = -1;
  int failure = 0;
  const bool opened = AskPatiently([&] {
    descriptor = mode == kOsReadShared
                     ? WindowsOpenShared(place.path)
                     : _sopen(place.path, FlagsOf(mode) | _O_NOINHERIT, _SH_DENYNO, _S_IREAD | _S_IWRITE);
    failure = errno;
    SetLastError(_doserrno);  // the runtime may have overwritten it before returning, and AskPatiently reads it
    return descriptor >= 0;
  });
  if (!opened) {
    *error = failure;
    return ResultOfErrno(failure);
  }
  *handle = descriptor;
  return kOsOk;
}

int64_t Size(intptr_t handle) { return _lseeki64(static_cast<int>(handle), 0, SEEK_END); }

unsigned int OneCall(size_t size) {
  return size > INT_MAX ? static_cast<unsigned int>(INT_MAX) : static_cast<unsigned int>(size);
}

int64_t ReadAt(intptr_t handle, int64_t at, void* to, size_t size) {
  if (_lseeki64(static_cast<int>(handle), at, SEEK_SET) != at) return -1;
  return _read(static_cast<int>(handle), to, OneCall(size));
}

int64_t WriteAt(intptr_t handle, int64_t at, const void* from, size_t size) {
  if (_lseeki64(static_cast<int>(handle), at, SEEK_SET) != at) return kOsNoPositions;
  return _write(static_cast<int>(handle), from, OneCall(size));
}

int64_t Write(intptr_t handle, const void* from, size_t size) {
  return _write(static_cast<int>(handle), from, OneCall(size));
}

int SetSize(intptr_t handle, int64_t size) { return _chsize_s(static_cast<int>(handle), size) == 0 ? 0 : -1; }

int Close(intptr_t handle) { return _close(static_cast<int>(handle)); }

// The system updates the time when something is written, so one byte is written back unchanged.
int Touch(intptr_t handle) {
  char first = 0;
  if (ReadAt(handle, 0, &first, 1) != 1) return -1;
  return WriteAt(handle, 0, &first, 1) == 1 ? 0 : -1;
}

int64_t SecondsOf(const FILETIME& time) {
  constexpr int64_t kTicksPerSecond = 10000000;  // a tick is 100 ns
  constexpr int64_t kSecondsFrom1601To1970 = 11644473600;
  const int64_t ticks = (static_cast<int64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
  return ticks / kTicksPerSecond - kSecondsFrom1601To1970;
}

OsResult AskByHandle(const char* path, OsLinks links, BY_HANDLE_FILE_INFORMATION* found) {
  const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (links == kOsFollowLinks ? 0 : FILE_FLAG_OPEN_REPARSE_POINT);
  const HANDLE file = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, flags, nullptr);
  if (file == INVALID_HANDLE_VALUE) return ResultOfLastError();
  const OsResult result = GetFileInformationByHandle(file, found) != 0 ? kOsOk : kOsFailed;
  (void)CloseHandle(file);
  return result;
}

// Both calls that return a status have these fields.
template <class Information>
void CopyStatus(const Information& found, OsStatus* status) {
  const DWORD attributes = found.dwFileAttributes;
  status->kind = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? kOsDirectory
                 : (attributes & FILE_ATTRIBUTE_DEVICE) != 0  ? kOsOtherKind
                                                              : kOsRegularFile;
  status->size = (static_cast<int64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
  status->modified = SecondsOf(found.ftLastWriteTime);
}

// The quick call returns a link's own status; a handle is needed for that of its target.
OsResult Stat(const OsPlace& place, OsStatus* status) {
  WIN32_FILE_ATTRIBUTE_DATA found = {};
  if (GetFileAttributesExA(place.path, GetFileExInfoStandard, &found) == 0) return ResultOfLastError();
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    CopyStatus(found, status);
    return kOsOk;
  }
  BY_HANDLE_FILE_INFORMATION behind = {};
  if (AskByHandle(place.path, kOsFollowLinks, &behind) != kOsOk) return kOsDangling;
  CopyStatus(behind, status);
  return kOsOk;
}

uint64_t Joined(DWORD high, DWORD low) { return (static_cast<uint64_t>(high) << 32) | low; }

OsResult FindEntry(const OsPlace& place, OsLinks links, OsEntry* entry) {
  BY_HANDLE_FILE_INFORMATION found = {};
  const OsResult result = AskByHandle(place.path, links, &found);
  if (result != kOsOk) return result;
  entry->volume = found.dwVolumeSerialNumber;
  entry->file = Joined(found.nFileIndexHigh, found.nFileIndexLow);
  entry->has_other_names = found.nNumberOfLinks > 1;
  entry->is_link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  return kOsOk;
}

OsResult Identify(intptr_t handle, OsIdentity* identity) {
  BY_HANDLE_FILE_INFORMATION found = {};
  const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(static_cast<int>(handle)));
  if (GetFileInformationByHandle(file, &found) == 0) return kOsFailed;
  identity->volume = found.dwVolumeSerialNumber;
  identity->file = Joined(found.nFileIndexHigh, found.nFileIndexLow);
  return kOsOk;
}

// Whether the path leads to the given file, links followed; true when `only` is nullptr.
bool IsOnly(const OsPlace& place, const OsIdentity* only) {
  OsEntry found;
  return only == nullptr || (FindEntry(place, kOsFollowLinks, &found) == kOsOk && found.volume == only->volume &&
                             found.file == only->file);
}

OsSameness SameFile(const OsPlace& source, const OsPlace& other) { return CommonSameFile(FindEntry, source, other); }

OsResult Remove(const OsPlace& place, const OsIdentity* only) {
  if (!IsOnly(place, only)) return kOsFailed;
  return AskPatiently([&] { return DeleteFileA(place.path) != 0; }) ? kOsOk : ResultOfLastError();
}

// The file is removed through the same handle that was used to check it; as that is not shared for deletion, a second
// process that tries at the same time is refused and tries again.
OsResult RemoveUnchanged(const char* path, int64_t modified) {
  HANDLE file = INVALID_HANDLE_VALUE;
  const bool opened = AskPatiently([&] {
    file = CreateFileA(path, DELETE | FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       0, nullptr);
    return file != INVALID_HANDLE_VALUE;
  });
  if (!opened) return ResultOfLastError();
  FILETIME written = {};
  FILE_DISPOSITION_INFO disposition = {};
  disposition.DeleteFile = TRUE;
  OsResult result = kOsFailed;
  if (GetFileTime(file, nullptr, nullptr, &written) != 0) {
    if (SecondsOf(written) != modified) {
      result = kOsExists;
    } else if (SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition) != 0) {
      result = kOsOk;
    }
  }
  (void)CloseHandle(file);
  return result;
}

bool AreOneFile(const OsPlace& left, const OsPlace& right) {
  OsEntry one;
  OsEntry other;
  return FindEntry(left, kOsLinksThemselves, &one) == kOsOk && FindEntry(right, kOsLinksThemselves, &other) == kOsOk &&
         one.volume == other.volume && one.file == other.file;
}

// The system reports two moves as done that are not: one onto another name of the same file leaves both names, and one
// to another volume, which is a copy, may fail to delete the source.
OsResult Rename(const OsPlace& source, const OsPlace& target, const OsIdentity* only) {
  const char* const from = source.path;
  const char* const to = target.path;
  if (!IsOnly(source, only)) return kOsFailed;
  if (AreOneFile(source, target)) return kOsExists;
  if (AskPatiently([&] { return MoveFileExA(from, to, 0) != 0; })) return kOsOk;
  if (GetLastError() != ERROR_NOT_SAME_DEVICE) return ResultOfLastError() == kOsExists ? kOsExists : kOsFailed;
  if (MoveFileExA(from, to, MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH) == 0) {
    return ResultOfLastError() == kOsExists ? kOsExists : kOsFailed;
  }
  if (GetFileAttributesA(from) == INVALID_FILE_ATTRIBUTES) return kOsOk;
  (void)SetFileAttributesA(to, FILE_ATTRIBUTE_NORMAL);
  (void)DeleteFileA(to);
  return kOsFailed;
}

// The system has no call for this.
int SyncDirectory(const OsPlace&) { return 0; }

OsResult MakeDirectory(const char* path) { return CreateDirectoryA(path, nullptr) != 0 ? kOsOk : ResultOfLastError(); }

// Every call takes a whole path here, so no directory is kept open.
OsResult OpenDirectory(const char*, OsTrust, intptr_t*) { return kOsOk; }
void CloseDirectory(intptr_t) {}

// The system returns the first name together with the handle; it is stored here for the first ListNext.
struct Listing {
  HANDLE find;
  bool first_is_waiting;
  WIN32_FIND_DATAA found;
};

// An empty root directory has no names at all, not even "." and "..": its listing has no handle.
OsResult ListOpen(const char* path, void** list) {
  char pattern[kLargestPath];
  const int length = snprintf(pattern, sizeof pattern, "%s/*", path);
  if (length < 0 || static_cast<size_t>(length) >= sizeof pattern) return kOsFailed;
  auto* listing = static_cast<Listing*>(OsAllocate(sizeof(Listing)));
  if (listing == nullptr) return kOsFailed;
  listing->find = FindFirstFileA(pattern, &listing->found);
  listing->first_is_waiting = listing->find != INVALID_HANDLE_VALUE;
  if (!listing->first_is_waiting) {
    const OsResult result = ResultOfLastError();
    OsStatus status;
    if (GetLastError() != ERROR_FILE_NOT_FOUND || Stat(path, &status) != kOsOk || status.kind != kOsDirectory) {
      OsRelease(listing);
      return result;
    }
  }
  *list = listing;
  return kOsOk;
}

// No name of this system holds a separator, but a letter outside the code page may be converted to one.
OsResult ListNext(void* list, char* name, size_t size) {
  auto* listing = static_cast<Listing*>(list);
  if (listing->find == INVALID_HANDLE_VALUE) return kOsMissing;
  if (!listing->first_is_waiting && FindNextFileA(listing->find, &listing->found) == 0) {
    return GetLastError() == ERROR_NO_MORE_FILES ? kOsMissing : kOsFailed;
  }
  listing->first_is_waiting = false;
  const size_t length = strlen(listing->found.cFileName);
  if (length >= size) return kOsFailed;
  memcpy(name, listing->found.cFileName, length + 1);
  return strpbrk(name, "\\/:") == nullptr ? kOsOk : kOsUnaddressable;
}

void ListClose(void* list) {
  auto* listing = static_cast<Listing*>(list);
  if (listing->find != INVALID_HANDLE_VALUE) (void)FindClose(listing->find);
  OsRelease(listing);
}

int64_t Now() { return _time64(nullptr); }

int64_t Uptime() { return static_cast<int64_t>(GetTickCount64() / 1000); }

int LocalTime(int64_t when, OsCalendar* calendar) {
  const __time64_t seconds = when;
  tm broken_down = {};
  if (_localtime64_s(&broken_down, &seconds) != 0) return -1;
  *calendar = CalendarOf(broken_down);
  return 0;
}

int UtcTime(int64_t when, OsCalendar* calendar) {
  const __time64_t seconds = when;
  tm broken_down = {};
  if (_gmtime64_s(&broken_down, &seconds) != 0) return -1;
  *calendar = CalendarOf(broken_down);
  return 0;
}

void SleepFor(uint32_t milliseconds) { Sleep(milliseconds); }

uint32_t ProcessId() { return GetCurrentProcessId(); }

OsResult FindProcess(uint32_t id) {
  const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, id);
  if (process == nullptr) {
    const DWORD error = GetLastError();
    return error == ERROR_INVALID_PARAMETER ? kOsMissing : error == ERROR_ACCESS_DENIED ? kOsOk : kOsFailed;
  }
  const bool ended = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;  // it exists as long as any handle to it is open
  (void)CloseHandle(process);
  return ended ? kOsMissing : kOsOk;
}

size_t ProgramPath(char* path, size_t size) { return GetModuleFileNameA(nullptr, path, static_cast<DWORD>(size)); }

// Nothing to do: writing raises no signal here, and no file can get the number of a missing standard stream.
void PrepareProcess() {}

}  // namespace

const char* const kOsLineEnd = "\r\n";

const OsTable kOsNative = {
    .Open = Open,
    .Identify = Identify,
    .Size = Size,
    .ReadAt = ReadAt,
    .WriteAt = WriteAt,
    .Write = Write,
    .SetSize = SetSize,
    .SyncFile = WindowsSyncFile,
    .SyncFiles = WindowsSyncFiles,
    .SyncDirectory = SyncDirectory,
    .Close = Close,
    .Touch = Touch,
    .Stat = Stat,
    .SameFile = SameFile,
    .Remove = Remove,
    .RemoveUnchanged = RemoveUnchanged,
    .Rename = Rename,
    .MakeDirectory = MakeDirectory,
    .OpenDirectory = OpenDirectory,
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
    .Sleep = SleepFor,
    .ProcessId = ProcessId,
    .FindProcess = FindProcess,
    .ProgramPath = ProgramPath,
    .Show = CommonShow,
    .IsTerminal = WindowsIsTerminal,
    .ShowUtf8 = WindowsShowUtf8,
    .PrepareProcess = PrepareProcess,
    .InstallBreakHandler = WindowsInstallBreakHandler,
    .SetBreakFile = WindowsSetBreakFile,
};
