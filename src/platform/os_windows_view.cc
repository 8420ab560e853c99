#include "platform/os_windows_view.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/os_common.h"

namespace {

constexpr size_t kPiece = 2048;  // bytes of UTF-8 that are converted at once

HANDLE HandleOf(OsStream stream) { return GetStdHandle(stream == kOsStdout ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE); }

// How many of the bytes are whole characters: the last one may be incomplete.
size_t WholeCharacters(const char* text, size_t size) {
  size_t whole = size;
  while (whole > 0 && size - whole < 3 && (static_cast<unsigned char>(text[whole - 1]) & 0xC0) == 0x80) --whole;
  const bool cut = whole > 0 && static_cast<unsigned char>(text[whole - 1]) >= 0xC0;
  return cut && whole > 1 ? whole - 1 : size;
}

}  // namespace

int WindowsOpenShared(const char* path) {
  const HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    return _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
  }
  const DWORD error = GetLastError();
  _doserrno = error;
  errno = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? ENOENT : EACCES;
  return -1;
}

bool WindowsIsTerminal(OsStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

void WindowsShowUtf8(OsStream stream, const char* text, size_t size) {
  if (!WindowsIsTerminal(stream)) {
    CommonShow(stream, text, size);
    return;
  }
  while (size > 0) {
    const size_t piece = size > kPiece ? WholeCharacters(text, kPiece) : size;
    wchar_t wide[kPiece];
    const int units = MultiByteToWideChar(CP_UTF8, 0, text, static_cast<int>(piece), wide, kPiece);
    DWORD written = 0;
    (void)WriteConsoleW(HandleOf(stream), wide, static_cast<DWORD>(std::max(units, 0)), &written, nullptr);
    text += piece;
    size -= piece;
  }
}
