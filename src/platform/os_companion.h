// System services that only cvkit needs: other programs, temporary directories, free space, rights. The functions
// follow the rules of os.h, but are not part of its table; cvtoss32 is linked without them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/os.h"

// Called with what a program has written, as it comes.
using OsTakeOutput = void (*)(void* context, const char* text, size_t size);

// Runs a program to its end: `arguments` are its path and what it is called with, ended by nullptr; it works in
// `directory`, or here for nullptr. Its standard input is empty, and what it writes on either output goes to `take`.
// If this process ends before the program, in whatever way, the system ends the program.
// Returns its exit status (128 and the number of the signal that ended it), or -1 when it could not be started.
int OsRunProgram(const char* const* arguments, const char* directory, OsTakeOutput take, void* context);

// Returns the free space of a directory's file system for this process, in bytes, or -1 on failure.
int64_t OsRoom(const char* directory);

// Copies the path of the directory for temporary files. Returns 0, or -1 when there is none.
int OsTemporaryDirectory(char (&path)[kOsNameSize]);

// Creates a directory that only this process's user may read. Returns as OsMakeDirectory.
OsResult OsMakePrivateDirectory(const char* path);

// Whether the path is a directory, not a link to one, that belongs to this process's user.
bool OsIsOwnDirectory(const char* path);

// Removes an empty directory. Returns kOsOk, kOsMissing, kOsExists (it is not empty), or kOsFailed, also of what is no
// directory.
OsResult OsRemoveDirectory(const char* path);

// Makes a file executable. Returns 0 or -1.
int OsMakeExecutable(const char* path);

// Moves a file of the same directory over another, which is there as a whole, the old or the new one, at every moment.
// Returns kOsOk or kOsFailed.
OsResult OsReplace(const char* from, const char* to);

// Whether this process may create files in a directory; none is created.
bool OsMayMakeFiles(const char* directory);

// Whether standard input is a terminal.
bool OsIsTyped();

// From now on, a file that this process has opened for reading can be moved and deleted by others, and reading or
// listing leaves the access time unchanged where the system allows that: on Linux, if the file or directory belongs to
// this process's user, or that is root. Changes the table.
void OsReadWithoutTrace();
