// What becomes of the run lock when the console ends a process, on Windows.
#pragma once

// As OsInstallBreakHandler and OsSetBreakFile.
void WindowsInstallBreakHandler();
void WindowsSetBreakFile(const char* path, const char* contents);

// What the handler does about a console event, by its number (0 is Ctrl+C): removes the break file, if one is set, when
// the process ends of it. Returns whether it does.
bool WindowsBreak(unsigned long event);
