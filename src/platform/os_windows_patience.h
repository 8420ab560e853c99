// Asking Windows again for what another program forbids for a moment.
#pragma once

#include <windows.h>

// Asks again for a while when somebody else has the file open in a way that forbids what is asked: a virus scanner, an
// indexer, another run that looks at the lock. `ask` returns whether it succeeded; the system's error is that of the
// last time.
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
