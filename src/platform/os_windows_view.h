// Reading files without hindering other programs that use them, and the console, on Windows.
#pragma once

#include "platform/os.h"

// Opens an existing file for reading, with every sharing right. Returns a descriptor of the C runtime, or -1 with its
// error and the system's set.
int WindowsOpenShared(const char* path);

// As OsIsTerminal and OsShowUtf8.
bool WindowsIsTerminal(OsStream stream);
void WindowsShowUtf8(OsStream stream, const char* text, size_t size);
