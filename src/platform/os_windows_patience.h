// Repeating a call that another program's open file makes fail for a moment, on Windows.
#pragma once

#include <windows.h>

// Repeats `ask` for up to a fifth of a second while another program (a virus scanner, an indexer, another run that
// reads the lock) has the file open without sharing it. `ask` returns whether it succeeded, and so does this; the
// system's error is that of the last attempt.
template <class Ask>
bool AskPatiently(Ask ask) {
  constexpr int kTries = 10;
  for (int tries = 1;; ++tries) {
    if (ask()) return true;
    const DWORD error = GetLastError();
    if (error != ERROR_SHARING_VIOLATION || tries == kTries) return false;
    Sleep(20);
  }
}
