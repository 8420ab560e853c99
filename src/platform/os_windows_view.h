// What those ask of Windows who look at things that others use: files with every sharing right, and the console.
#pragma once

#include "platform/os.h"

// Opens an existing file for reading. Returns a descriptor of the C runtime; or -1, with its error and the system's.
int WindowsOpenShared(const char* path);

// Entries of the door.
bool WindowsIsTerminal(OsStream stream);
void WindowsShowUtf8(OsStream stream, const char* text, size_t size);
