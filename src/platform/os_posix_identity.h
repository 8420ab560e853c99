// Which file a name belongs to, on POSIX systems, where other programs can rename files at any moment.
#pragma once

#include "platform/os.h"
#include "platform/os_posix_place.h"

// Identifies the entry at the place, a link itself rather than its target, in `entry`. Returns whether that is the file
// `only` or a link to it; when `only` is nullptr, whether there is an entry at all.
bool PosixFind(const PosixPlace& place, const OsIdentity* only, OsIdentity* entry);

// Whether the entry at the place, links not followed, is the given one.
bool PosixIsEntry(const PosixPlace& place, const OsIdentity& entry);

// OsIdentify of an open descriptor.
OsResult PosixIdentify(intptr_t handle, OsIdentity* identity);
