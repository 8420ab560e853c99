#include <windows.h>

#include "platform/os_rights.h"

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE OpenExisting(const char* path, DWORD access) {
  return CreateFileA(path, access, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

bool VolumeOf(const char* path, DWORD* volume) {
  const HANDLE directory = OpenExisting(path, 0);
  if (directory == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION found = {};
  const bool told = GetFileInformationByHandle(directory, &found) != 0;
  (void)CloseHandle(directory);
  *volume = found.dwVolumeSerialNumber;
  return told;
}

}  // namespace

// The right to write data is, of a directory, that to add files; its read-only attribute is no hindrance, and a file's
// is one that not every server tells when the file is opened.
bool OsMayWrite(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  constexpr DWORD kEither = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY;
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & kEither) == FILE_ATTRIBUTE_READONLY) return false;
  const HANDLE opened = OpenExisting(path, FILE_WRITE_DATA);
  if (opened == INVALID_HANDLE_VALUE) return GetLastError() != ERROR_ACCESS_DENIED;
  (void)CloseHandle(opened);
  return true;
}

OsSameness OsSameVolume(const char* left, const char* right) {
  DWORD one = 0;
  DWORD other = 0;
  if (!VolumeOf(left, &one) || !VolumeOf(right, &other)) return kOsNotTold;
  return one == other ? kOsSame : kOsDifferent;
}
