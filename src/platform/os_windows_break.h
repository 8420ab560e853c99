// Removing the run lock when a console event ends the process, on Windows.
#pragma once

// As OsInstallBreakHandler and OsSetBreakFile.
void WindowsInstallBreakHandler();
void WindowsSetBreakFile(const char* path, const char* contents);

// Handles a console event, by its number (0 is Ctrl+C): if the event ends the process, removes the break file, if one
// is set. Returns whether the event ends the process.
bool WindowsBreak(unsigned long event);
