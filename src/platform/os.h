// The one door to the operating system.
//
// Files, the clock, sleeping, memory and process services go through the functions below and nowhere else. They call
// through a table of function pointers, which a test replaces entry by entry; the shipped program never changes it.
// os_posix.cc and os_windows.cc fill the table; the build picks one of them.
//
// Paths are bytes with either slash as separator. Where an entry may rightly be absent the answer has three values
// (found, missing, failed), so that "not there" is never mistaken for "could not look".
#pragma once

#include <cstddef>
#include <cstdint>

// What the calls that deal with paths answer.
enum OsResult {
  kOsOk = 0,
  kOsMissing,        // nothing stands at that path
  kOsExists,         // something stands there already
  kOsDangling,       // a link stands there that cannot be followed: its file may be on a disk that is away
  kOsUnseekable,     // a pipe or terminal stands where a file belongs: it has no positions
  kOsUnaddressable,  // a listed name that would lead elsewhere as part of a path
  kOsFailed,         // any other failure
};

enum OsOpenMode {
  kOsRead,        // existing file, read only; never a directory
  kOsReadShared,  // as kOsRead; on Windows other programs may move and delete it meanwhile
  kOsUpdate,      // existing file, read and write, contents kept
  kOsCreate,      // write, created or emptied; on POSIX systems never through a link
  kOsCreateNew,   // read and write, fails with kOsExists if anything is there
  kOsCreateLock,  // write, fails with kOsExists if anything is there; for the owner's eyes only
  kOsAppend,      // every write goes to the end; created when missing
  kOsAppendText,  // as kOsAppend, and "\n" is written as the platform's own line end
};

// Whether removing one file would lose another.
enum OsSameness { kOsSame, kOsDifferent, kOsNotTold };

// Whether the last name of a directory's path may be a link that anybody has made.
enum OsTrust {
  kOsTrustPath,    // the path leads where it leads
  kOsTrustOwners,  // a link is followed only if it belongs to root or to this process's user, or if it stands in a
                   // directory that nobody else may write in
};

enum OsKind { kOsRegularFile, kOsDirectory, kOsOtherKind };
// The console's two outputs.
enum OsStream { kOsStdout, kOsStderr };

struct OsStatus {
  OsKind kind = kOsOtherKind;
  int64_t size = 0;      // bytes
  int64_t modified = 0;  // seconds since 1970-01-01 UTC
};

// What one open file was when it was looked at. A file that has taken its name since, and one that was written to
// since, differ from it.
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

constexpr intptr_t kOsNone = -1;        // the handle of what is not open
constexpr int64_t kOsNoPositions = -2;  // answer of OsTable::WriteAt: this file has no positions

// Where a file is: at a path; or, with an open directory, under the path's last name in that directory. It is valid as
// long as its path and its directory are.
struct OsPlace {
  const char* path;              // whole, as messages show it
  intptr_t directory = kOsNone;  // handle of an OsDirectory

  OsPlace(const char* whole_path) : path(whole_path) {}  // NOLINT: a path is a place
  OsPlace(const char* whole_path, intptr_t open_directory) : path(whole_path), directory(open_directory) {}
};

// A file of a request to OsSyncFiles.
struct OsSyncItem {
  const char* name;   // in the directory of the request, without a separator
  bool last = false;  // where files are synced one by one: its writing is not started before all others are on the disk
};

// The platform's own line end, for text written through a mode that does not turn "\n" into it.
extern const char* const kOsLineEnd;

// The table. Entries answer for one call of the system each; the functions below add the loops.
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

// The platform's own table, for a test that puts entries back.
extern const OsTable kOsNative;

// The table in force.
OsTable& OsInForce();

// An open file; closed when it goes out of scope, where a failure to close would be lost: a writer calls OsClose.
struct OsFile {
  intptr_t handle = kOsNone;

  OsFile() = default;
  OsFile(const OsFile&) = delete;
  OsFile& operator=(const OsFile&) = delete;
  ~OsFile();

  bool IsOpen() const { return handle != kOsNone; }
};

// Opens the file at `place` into `file`, which is not open before. Returns kOsOk, kOsMissing, kOsExists or kOsFailed;
// `error`, when given, receives the C library's error number of a failure.
OsResult OsOpen(const OsPlace& place, OsOpenMode mode, OsFile* file, int* error = nullptr);

// Tells what file is open. Returns kOsOk, or kOsFailed (also of what is no regular file).
OsResult OsIdentify(const OsFile& file, OsIdentity* identity);

// The file's length in bytes, or -1.
int64_t OsSize(const OsFile& file);

struct OsReadResult {
  size_t bytes = 0;     // how many arrived before the end of the file or the failure
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

// The next three return when the disk says that it holds what was written, so that the loss of power cannot take it. A
// `directory` is given by its own path; with the handle of an OsDirectory it is that directory.

// The bytes and the length of a file that is open for writing. Returns 0 or -1.
int OsSyncFile(const OsFile& file);

// Files of one directory and their names, in one request: a few are synced one by one, many by one call for their whole
// file system where there is one. An absent file is passed over; a directory that may not be read, or whose file system
// does not sync directories, is no failure. Returns 0 or -1.
int OsSyncFiles(const OsPlace& directory, const OsSyncItem* items, size_t count);

// The names in a directory. Where that cannot be asked for, nothing is done. Returns 0 or -1.
int OsSyncDirectory(const OsPlace& directory);

// Closes the file; it is no longer open whatever the answer. Returns 0 or -1; a file that is not open answers 0.
int OsClose(OsFile* file);

// Sets the file's modification time to the present by the clock of the system that keeps the file. Needs a file that
// is open for reading and writing and is not empty. Returns 0 or -1.
int OsTouch(const OsFile& file);

// Follows links. Returns kOsOk, kOsMissing, kOsDangling or kOsFailed.
OsResult OsStat(const OsPlace& place, OsStatus* status);

// Whether removing `other` would lose the file at `source`: both are one entry of one directory, in whatever spelling,
// or `source` is a link that leads to the file `other`. Hard links in two directories are two files, for each outlives
// the other. A link may always go, unless it is `source` itself. What is absent is different from everything.
OsSameness OsSameFile(const OsPlace& source, const OsPlace& other);

// Removes a file, never a directory; with `only`, unless something else than that file, or a link to it, is seen there.
// Returns kOsOk, kOsMissing or kOsFailed.
OsResult OsRemove(const OsPlace& place, const OsIdentity* only = nullptr);

// Removes a file only while its last modification is still the given one, in seconds. Of several processes that try at
// once through this call at most one removes it, and none removes the file that the winner has then put in its place.
// Other programs cannot hold it up for longer than a moment. Returns kOsOk, kOsMissing (nothing is there), kOsExists
// (it has changed) or kOsFailed.
OsResult OsRemoveUnchanged(const char* path, int64_t modified);

// Moves a file, across file systems too, and never replaces one; with `only`, no other than that file, or a link to it.
// What takes its name at the last moment is put back unless that name is taken again. Returns kOsOk, kOsExists or
// kOsFailed (the source is still there, or what has taken its name).
OsResult OsRename(const OsPlace& from, const OsPlace& to, const OsIdentity* only = nullptr);

// Returns kOsOk, kOsExists, kOsMissing (the directory to make it in is absent) or kOsFailed.
OsResult OsMakeDirectory(const char* path);

// A directory that is kept open, so that files directly in it are reached without a walk along its path, and are those
// of the directory that stood at the path when it was opened. Closed when it goes out of scope. Where the system has no
// such thing its handle is kOsNone, and each call walks.
struct OsDirectory {
  intptr_t handle = kOsNone;

  OsDirectory() = default;
  OsDirectory(const OsDirectory&) = delete;
  OsDirectory& operator=(const OsDirectory&) = delete;
  ~OsDirectory();
};

// Opens the directory at `path` into `directory`, which is not open before. Returns kOsOk, or another value when it
// cannot be opened or is not to be trusted (each call on its files then walks).
OsResult OsOpenDirectory(const char* path, OsTrust trust, OsDirectory* directory);

// A directory being listed; closed when it goes out of scope.
struct OsList {
  void* handle = nullptr;

  OsList() = default;
  OsList(const OsList&) = delete;
  OsList& operator=(const OsList&) = delete;
  ~OsList();
};

// Returns kOsOk or another value when the directory cannot be listed.
OsResult OsListOpen(const char* path, OsList* list);

// Copies the next name. Returns kOsOk, kOsUnaddressable (it holds a separator of paths and must not be put into one),
// kOsMissing after the last name, or kOsFailed.
OsResult OsListNext(OsList* list, char (&name)[kOsNameSize]);

// Ends the listing; it may have ended or never begun.
void OsListClose(OsList* list);

// Memory for ByteBuffer, for libraries that ask for an allocator and for the door itself; nullptr when there is none.
void* OsAllocate(size_t size);
void* OsReallocate(void* block, size_t size);
void OsRelease(void* block);

// Seconds since 1970-01-01 UTC.
int64_t OsNow();

// Seconds since the machine was started; goes on while it is suspended, and is never set.
int64_t OsUptime();

// Return 0, or -1 when the time cannot be expressed.
int OsLocalTime(int64_t when, OsCalendar* calendar);
int OsUtcTime(int64_t when, OsCalendar* calendar);

// Returns after that time at the earliest, whatever signals arrive.
void OsSleep(uint32_t milliseconds);

// The number of this process, as the system's tools show it.
uint32_t OsProcessId();

// Whether a process of that number runs on this machine, whoever owns it. Returns kOsOk, kOsMissing or kOsFailed (it
// cannot be told).
OsResult OsFindProcess(uint32_t id);

// Copies the path of the running program, NUL-terminated. Returns its length; `size` or more when it does not fit,
// 0 when it cannot be told.
size_t OsProgramPath(char* path, size_t size);

// Writes to the console, buffered as the C library does. Failures are ignored.
void OsShow(OsStream stream, const char* text, size_t size);

// Whether somebody may be looking: the output is neither a file nor a pipe.
bool OsIsTerminal(OsStream stream);

// As OsShow for UTF-8 text, which a Windows console shows whatever its code page; files and pipes get the bytes.
void OsShowUtf8(OsStream stream, const char* text, size_t size);

// Makes this process fit to run unattended: a console whose reader has gone away, a file that reaches a size limit or a
// missing standard stream fails the call in hand, and neither ends the run in the middle of a message nor lets the
// console's text flow into another file.
void OsPrepareProcess();

// From now on an interrupt, hang-up or termination removes the break file, if one is set, before it ends the process.
void OsInstallBreakHandler();

// Sets the file that the break handler removes, and only while it holds exactly `contents`; an empty path sets none.
// Both texts are copied. Contents are at most kOsBreakContents characters.
constexpr size_t kOsBreakContents = 160;
void OsSetBreakFile(const char* path, const char* contents);
