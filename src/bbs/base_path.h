// Where the files of a conference's message base are.
#pragma once

#include <cstdint>

#include "base/path.h"

// Forms "%s/CVMSG%02d.PTR", "%s/CVMSG%02d.IDX", "%s/CVMSG%02d.DAT" or "%s/CVMSG%02d.SIG" from MSGDIR and the number of
// the conference; `kind` is the extension. Returns 0, or -1 when the path is too long (it is then empty).
int FormatBasePath(const char* msg_dir, int32_t conference, const char* kind, Path* path);
