// The paths of all files that the program reads and writes; no other code forms one.
//
// Functions with a result return 0, or -1 when the path does not fit its buffer; the path is then empty, never cut. The
// others have buffers for the longest directory that a configuration can hold.
#pragma once

#include <cstdint>

#include "app/config.h"
#include "base/path.h"
#include "platform/os.h"

// MSGDIR: its path, and the directory's handle while a run keeps it open. Cheap to copy; valid as long as both are.
struct MessageBase {
  const char* path;
  intptr_t directory = kOsNone;

  MessageBase(const char* msg_dir) : path(msg_dir) {}  // NOLINT: a path alone will do
  MessageBase(const char* msg_dir, const OsDirectory& open) : path(msg_dir), directory(open.handle) {}
};

// A file directly in MSGDIR.
struct BasePath : Path {
  intptr_t directory = kOsNone;

  operator OsPlace() const { return {text, directory}; }  // NOLINT: it is a place
};

// In MSGDIR. `kind` is "PTR", "IDX", "DAT" or "SIG": "%s/CVMSG%02d.PTR", and so on.
int FormatBasePath(const MessageBase& base, int32_t conference, const char* kind, BasePath* path);
int FormatSerialPath(const MessageBase& base, BasePath* path);     // CVOUTBOUND.SEQ
int FormatOutPacketPath(const MessageBase& base, BasePath* path);  // CVOUTBOUND.PKT, while a scan publishes
int FormatBadAreasPath(const MessageBase& base, BasePath* path);   // BADAREAS.LST
int FormatLockPath(const char* msg_dir, Path* path);               // CVTOSS.BSY; each check resolves its whole path

int FormatConferencesPath(const char* conf_dir, Path* path);  // CVMCONF.DAT in CONFDIR
int FormatNodesPath(const char* work_dir, Path* path);        // CVWHOSON.DAT in WORKDIR

// A path with a name that came with mail, or that is formed from such a path.
struct LongPath {
  char text[1024] = {};
};

int FormatInboundPath(const char* inbound, const char* name, LongPath* path);  // at most 599 characters
void FormatProcessedDirectory(const TosserConfig& config, Path* path);  // PROCESSEDDIR, or "processed" in INBOUND
int FormatProcessedPath(const char* directory, const char* name, LongPath* path);
void FormatBadDirectory(const TosserConfig& config, Path* path);                   // "badmsgs" in INBOUND
int FormatBadPacketPath(const char* directory, const char* name, LongPath* path);  // at most 599 characters

// In OUTDIR: a bundle, and the same under its temporary name.
void FormatBundlePath(const char* out_dir, const char* name, LongPath* path);
void FormatTemporaryBundlePath(const LongPath& bundle, LongPath* path);

void FormatLogPath(const char* program_directory, LongPath* path);  // TOSSER.LOG
