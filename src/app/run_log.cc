#include "app/run_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "app/site_paths.h"
#include "base/byte_buffer.h"
#include "platform/os.h"

namespace {

constexpr size_t kProgramPathSize = 260;
constexpr size_t kMessageSize = 1024;
constexpr size_t kStartupMessageSize = 1024;  // a longer message, of absurd arguments, takes memory of its own
constexpr size_t kStampSize = 64;

OsFile run_log;

// The directory of the running program, "." when it is unknown.
void ProgramDirectory(char (&directory)[kProgramPathSize]) {
  const size_t length = OsProgramPath(directory, sizeof directory);
  if (length >= 1 && length < sizeof directory) {
    char* separator = strrchr(directory, '\\');
    if (separator == nullptr) separator = strrchr(directory, '/');
    if (separator != nullptr && separator != directory) {
      *separator = '\0';
      return;
    }
  }
  memcpy(directory, ".", 2);
}

}  // namespace

// A run logs many lines in one second: the text is formatted again only when the second changes.
const char* TimeStamp() {
  static char stamp[kStampSize];
  static int64_t stamped = -1;
  const int64_t now = OsNow();
  if (now == stamped) return stamp;
  OsCalendar local;
  (void)OsLocalTime(now, &local);
  (void)snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d", local.year, local.month + 1, local.day,
                 local.hour, local.minute, local.second);
  stamped = now;
  return stamp;
}

void OpenRunLog() {
  char directory[kProgramPathSize];
  ProgramDirectory(directory);
  LongPath path;
  FormatLogPath(directory, &path);
  (void)OsOpen(path.text, kOsAppendText, &run_log);
}

void LogLine(const char* format, ...) {
  char message[kMessageSize];
  va_list arguments;
  va_start(arguments, format);
  (void)vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);

  char line[kMessageSize + kStampSize + 8];
  const int length = snprintf(line, sizeof line, "[%s] %s\n", TimeStamp(), message);
  if (length < 0) return;
  OsShow(kOsStdout, line, static_cast<size_t>(length));
  if (!run_log.IsOpen()) return;
  (void)OsWrite(run_log, line, static_cast<size_t>(length));
}

void CloseRunLog() { (void)OsClose(&run_log); }

void StartupMessage(const char* format, ...) {
  char message[kStartupMessageSize];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  if (length <= 0) return;
  const size_t size = static_cast<size_t>(length);
  if (size < sizeof message) {
    OsShow(kOsStderr, message, size);
    return;
  }
  ByteBuffer whole;
  if (ReserveBytes(&whole, size + 1) != 0) {
    OsShow(kOsStderr, message, sizeof message - 1);
    OsShow(kOsStderr, "\n", 1);
    return;
  }
  va_start(arguments, format);
  (void)vsnprintf(reinterpret_cast<char*>(whole.data), size + 1, format, arguments);
  va_end(arguments);
  OsShow(kOsStderr, reinterpret_cast<const char*>(whole.data), size);
}
