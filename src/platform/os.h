// The platform layer, called "the door" in this project: the only interface to the operating system.
//
// Files, the clock, sleeping, memory and process services go through the functions below and nowhere else. They call
// through a table of function pointers, which a test replaces entry by entry; cvtoss32 never changes it, and cvkit only
// as os_companion.h says.
// os_posix.cc and os_windows.cc fill the table; the build compiles one of them.
//
// Paths are bytes; both slashes separate names. Functions on what may be absent have three results (found, missing,
// failed), so that an absent file is never confused with one that could not be examined.
#pragma once

#include <cstddef>
#include <cstdint>

// The result of the calls that take a path.
enum OsResult {
  kOsOk = 0,
  kOsMissing,        // the path does not exist
  kOsExists,         // the path exists already
  kOsDangling,       // a link that cannot be followed: its target may be on a disk that is not mounted
  kOsUnseekable,     // a pipe or terminal instead of a file: it has no positions
  kOsUnaddressable,  // a listed name that, as part of a path, would name another file
  kOsFailed,         // any other failure
};

enum OsOpenMode {
  kOsRead,        // existing file, read only; never a directory
  kOsReadShared,  // as kOsRead; on Windows other programs may move and delete it meanwhile
  kOsUpdate,      // existing file, read and write, contents kept
  kOsCreate,      // write, created or emptied; on POSIX systems never through a link
  kOsCreateNew,   // read and write, fails with kOsExists if anything is there
  kOsCreateLock,  // write, fails with kOsExists if anything is there; only its owner may read it
  kOsAppend,      // every write goes to the end; created when missing
  kOsAppendText,  // as kOsAppend, and "\n" is written as the platform's own line end
};

// Whether removing one file would lose another; kOsNotTold when that could not be determined.
enum OsSameness { kOsSame, kOsDifferent, kOsNotTold };

// Whether the last name of a directory's path may be a link made by another user.
enum OsTrust {
  kOsTrustPath,    // links are followed, whoever made them
  kOsTrustOwners,  // a link is followed only if it belongs to root or to this process's user, or is in a directory
                   // that no other user may write in
};

enum OsKind { kOsRegularFile, kOsDirectory, kOsOtherKind };
// The console's two outputs.
enum OsStream { kOsStdout, kOsStderr };

struct OsStatus {
  OsKind kind = kOsOtherKind;
  int64_t size = 0;      // bytes
  int64_t modified = 0;  // seconds since 1970-01-01 UTC
};

// The identity of an open file at the time of the call. Another file that has its name later differs from it, and so
// does the same file after a write.
struct OsIdentity {
  uint64_t volume = 0;
  uint64_t file = 0;     // its number on the volume
  int64_t size = 0;      // bytes; this and the time only where files are easily swapped: 0 on Windows
  int64_t modified = 0;  // nanoseconds since 1970-01-01 UTC

  bool operator==(const OsIdentity&) const = default;
};

// Broken-down time as a calendar shows it.
struct OsCalendar {
  int year = 0;     // full, for example 2026
  int month = 0;    // 0 = January .. 11 = December
  int day = 0;      // 1..31
  int hour = 0;     // 0..23
  int minute = 0;   // 0..59
  int second = 0;   // 0..60
  int weekday = 0;  // 0 = Sunday .. 6 = Saturday
};

constexpr size_t kOsNameSize = 1024;  // room for a listed name with its NUL

constexpr intptr_t kOsNone = -1;        // the handle of a file or directory that is not open
constexpr int64_t kOsNoPositions = -2;  // result of OsTable::WriteAt: this file has no positions

// The location of a file: a path, or, with an open directory, the path's last name in that directory. It is valid as
// long as its path and its directory are.
struct OsPlace {
  const char* path;              // the full path, as messages show it
  intptr_t directory = kOsNone;  // handle of an OsDirectory

  OsPlace(const char* whole_path) : path(whole_path) {}  // NOLINT: a path is a place
  OsPlace(const char* whole_path, intptr_t open_directory) : path(whole_path), directory(open_directory) {}
};

// A file of a request to OsSyncFiles.
struct OsSyncItem {
  const char* name;   // in the directory of the request, without a separator
  bool last = false;  // where files are synced one by one: not written out before all others are on the disk
};

// The platform's own line end, for text written through a mode that does not convert "\n".
extern const char* const kOsLineEnd;

// The table. Each entry makes one attempt; the functions below repeat interrupted and partial calls.
struct OsTable {
  OsResult (*Open)(const OsPlace& place, OsOpenMode mode, intptr_t* handle, int* error);
  OsResult (*Identify)(intptr_t handle, OsIdentity* identity);
  int64_t (*Size)(intptr_t handle);                                                // bytes, or -1
  int64_t (*ReadAt)(intptr_t handle, int64_t at, void* to, size_t size);           // bytes, 0 at the end, -1 on failure
  int64_t (*WriteAt)(intptr_t handle, int64_t at, const void* from, size_t size);  // bytes, -1 or kOsNoPositions
  int64_t (*Write)(intptr_t handle, const void* from, size_t size);                // bytes, or -1
  int (*SetSize)(intptr_t handle, int64_t size);
  int (*SyncFile)(intptr_t handle);
  int (*SyncFiles)(const OsPlace& directory, const OsSyncItem* items, size_t count);
  int (*SyncDirectory)(const OsPlace& directory);
  int (*Close)(intptr_t handle);
  int (*Touch)(intptr_t handle);
  OsResult (*Stat)(const OsPlace& place, OsStatus* status);
  OsSameness (*SameFile)(const OsPlace& left, const OsPlace& right);
  OsResult (*Remove)(const OsPlace& place, const OsIdentity* only);
  OsResult (*RemoveUnchanged)(const char* path, int64_t modified);
  OsResult (*Rename)(const OsPlace& from, const OsPlace& to, const OsIdentity* only);
  OsResult (*MakeDirectory)(const char* path);
  OsResult (*OpenDirectory)(const char* path, OsTrust trust, intptr_t* handle);
  void (*CloseDirectory)(intptr_t handle);
  OsResult (*ListOpen)(const char* path, void** list);
  OsResult (*ListNext)(void* list, char* name, size_t size);
  void (*ListClose)(void* list);
  void* (*Allocate)(size_t size);
  void* (*Reallocate)(void* block, size_t size);
  void (*Release)(void* block);
  int64_t (*Now)();
  int64_t (*Uptime)();
  int (*LocalTime)(int64_t when, OsCalendar* calendar);
  int (*UtcTime)(int64_t when, OsCalendar* calendar);
  void (*Sleep)(uint32_t milliseconds);
  uint32_t (*ProcessId)();
  OsResult (*FindProcess)(uint32_t id);
  size_t (*ProgramPath)(char* path, size_t size);
  void (*Show)(OsStream stream, const char* text, size_t size);
  bool (*IsTerminal)(OsStream stream);
  void (*ShowUtf8)(OsStream stream, const char* text, size_t size);
  void (*PrepareProcess)();
  void (*InstallBreakHandler)();
  void (*SetBreakFile)(const char* path, const char* contents);
};

// The platform's own table, for a test that restores entries.
extern const OsTable kOsNative;

// The table in force.
OsTable& OsInForce();

// An open file. Its destructor closes it and ignores failures, so code that has written calls OsClose instead.
struct OsFile {
  intptr_t handle = kOsNone;

  OsFile() = default;
  OsFile(const OsFile&) = delete;
  OsFile& operator=(const OsFile&) = delete;
  ~OsFile();

  bool IsOpen() const { return handle != kOsNone; }
};

// Opens the file at `place` into `file`, which must not be open. Returns kOsOk, kOsMissing, kOsExists or kOsFailed;
// `error`, when given, receives the C library's error number of a failure.
OsResult OsOpen(const OsPlace& place, OsOpenMode mode, OsFile* file, int* error = nullptr);

// Fills in the identity of an open file. Returns kOsOk, or kOsFailed (also for anything but a regular file).
OsResult OsIdentify(const OsFile& file, OsIdentity* identity);

// Returns the file's length in bytes, or -1.
int64_t OsSize(const OsFile& file);

struct OsReadResult {
  size_t bytes = 0;     // bytes read before the end of the file or the failure
  bool failed = false;  // false: fewer bytes than asked for mean the end of the file
};

// Reads `size` bytes from position `at`, calling again after a short read.
OsReadResult OsReadAt(const OsFile& file, int64_t at, void* to, size_t size);

// Writes all `size` bytes at position `at`, calling again after a short write. Returns kOsOk, kOsUnseekable (nothing
// was written) or kOsFailed (some of it may have been written).
OsResult OsWriteAt(const OsFile& file, int64_t at, const void* from, size_t size);

// Writes all `size` bytes at the file's own position. Returns 0 or -1.
int OsWrite(const OsFile& file, const void* from, size_t size);

// Writes at the file's own position in exactly one call. Returns the bytes written, or -1.
int64_t OsWriteOnce(const OsFile& file, const void* from, size_t size);

// Cuts or lengthens the file to `size` bytes. Returns 0 or -1.
int OsSetSize(const OsFile& file, int64_t size);

// The next three wait until the disk reports that it has stored the data, which then survives a power cut. A
// `directory` is named by its own path, or is the OsDirectory whose handle the place has.

// Syncs the contents and the length of a file that is open for writing. Returns 0 or -1.
int OsSyncFile(const OsFile& file);

// Syncs files of one directory and their names in one request: a few one by one, many by one call for their whole file
// system where there is such a call. An absent file is skipped; a directory that may not be read, or whose file system
// does not sync directories, is no failure. Returns 0 or -1.
int OsSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count);

// Syncs the names in a directory; does nothing where the system has no such call. Returns 0 or -1.
int OsSyncDirectory(const OsPlace& directory);

// Closes the file; it is no longer open whatever the result. Returns 0 or -1; 0 for a file that is not open.
int OsClose(OsFile* file);

// Sets the file's modification time to now, by the clock of the system that stores the file. Needs a file that is open
// for reading and writing and is not empty. Returns 0 or -1.
int OsTouch(const OsFile& file);

// Reads the status of what the path leads to, links followed. Returns kOsOk, kOsMissing, kOsDangling or kOsFailed.
OsResult OsStat(const OsPlace& place, OsStatus* status);

// Whether removing `other` would lose the file at `source`: both are one entry of one directory, however spelled, or
// `source` is a link to the file `other`. Hard links in two directories count as two files, for each survives the
// removal of the other. Removing a link loses nothing, unless it is `source` itself. An absent file differs from any.
OsSameness OsSameFile(const OsPlace& source, const OsPlace& other);

// Removes a file, never a directory; with `only`, nothing but that file or a link to it. Returns kOsOk, kOsMissing or
// kOsFailed.
OsResult OsRemove(const OsPlace& place, const OsIdentity* only = nullptr);

// Removes a file only while its modification time is still the given one, in seconds. If several processes try this at
// once, at most one removes the file, and none removes the new file that the first then creates under its name.
// Other programs cannot delay it noticeably. Returns kOsOk, kOsMissing, kOsExists (it has changed) or kOsFailed.
OsResult OsRemoveUnchanged(const char* path, int64_t modified);

// Moves a file, across file systems too, and never replaces one; with `only`, nothing but that file or a link to it. If
// another file took the name `from` just before the move, it is moved back unless the name is taken again. Returns
// kOsOk, kOsExists or kOsFailed (`from` is still there, or is the other file).
OsResult OsRename(const OsPlace& from, const OsPlace& to, const OsIdentity* only = nullptr);

// Creates a directory. Returns kOsOk, kOsExists, kOsMissing (its parent directory is absent) or kOsFailed.
OsResult OsMakeDirectory(const char* path);

// An open directory: files directly in it are reached without resolving its path again, and stay those of the directory
// that the path named when it was opened. Closed by its destructor. Where the system has no such handles it is kOsNone,
// and each call resolves the whole path.
struct OsDirectory {
  intptr_t handle = kOsNone;

  OsDirectory() = default;
  OsDirectory(const OsDirectory&) = delete;
  OsDirectory& operator=(const OsDirectory&) = delete;
  ~OsDirectory();
};

// Opens the directory at `path` into `directory`, which must not be open. Returns kOsOk, or another value when it
// cannot be opened or is not trusted (the handle then stays kOsNone).
OsResult OsOpenDirectory(const char* path, OsTrust trust, OsDirectory* directory);

// A directory being listed; closed by its destructor.
struct OsList {
  void* handle = nullptr;

  OsList() = default;
  OsList(const OsList&) = delete;
  OsList& operator=(const OsList&) = delete;
  ~OsList();
};

// Begins a listing. Returns kOsOk, or another value when the directory cannot be listed.
OsResult OsListOpen(const char* path, OsList* list);

// Copies the next name. Returns kOsOk, kOsUnaddressable (the name holds a path separator and must not be put into a
// path), kOsMissing after the last name, or kOsFailed.
OsResult OsListNext(OsList* list, char (&name)[kOsNameSize]);

// Ends the listing; does nothing if it has ended or never begun.
void OsListClose(OsList* list);

// Memory for ByteBuffer, for libraries that take an allocator and for this layer itself; nullptr when there is none.
void* OsAllocate(size_t size);
void* OsReallocate(void* block, size_t size);
void OsRelease(void* block);

// Seconds since 1970-01-01 UTC.
int64_t OsNow();

// Seconds since the machine was started, time suspended included; unlike OsNow it is never set.
int64_t OsUptime();

// Convert a time. Return 0, or -1 when it cannot be represented.
int OsLocalTime(int64_t when, OsCalendar* calendar);
int OsUtcTime(int64_t when, OsCalendar* calendar);

// Returns after that time at the earliest, whatever signals arrive.
void OsSleep(uint32_t milliseconds);

// The id of this process, as the system's tools show it.
uint32_t OsProcessId();

// Looks for a running process on this machine, of any user. Returns kOsOk, kOsMissing or kOsFailed (unknown).
OsResult OsFindProcess(uint32_t id);

// Copies the path of the running program, NUL-terminated. Returns its length; `size` or more when it does not fit,
// 0 when it is unknown.
size_t OsProgramPath(char* path, size_t size);

// Writes to the console, buffered as the C library does. Failures are ignored.
void OsShow(OsStream stream, const char* text, size_t size);

// Whether the stream is a terminal, neither a file nor a pipe.
bool OsIsTerminal(OsStream stream);

// As OsShow for UTF-8 text, which a Windows console shows whatever its code page; files and pipes get the bytes.
void OsShowUtf8(OsStream stream, const char* text, size_t size);

// Prepares this process to run unattended: after a console that was closed, a file at its size limit or a missing
// standard stream, only the call fails. Neither does the run end in the middle of a message, nor does console text get
// into another file.
void OsPrepareProcess();

// From now on an interrupt, hang-up or termination removes the break file, if one is set, before it ends the process.
void OsInstallBreakHandler();

// Sets the file that the break handler removes, and only while it holds exactly `contents`; an empty path sets none.
// Both texts are copied. Contents are at most kOsBreakContents characters.
constexpr size_t kOsBreakContents = 160;
void OsSetBreakFile(const char* path, const char* contents);
