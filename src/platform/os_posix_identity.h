// Which file stands at a place, on POSIX systems: names can be given to other files at any moment.
#pragma once

#include "platform/os.h"
#include "platform/os_posix_place.h"

// Tells in `entry` what stands at the place, a link itself. Returns whether that is the file `only`, or a link that
// leads to it; anything that is there will do when `only` is nullptr.
bool PosixFind(const PosixPlace& place, const OsIdentity* only, OsIdentity* entry);

// Whether the entry that was found stands at the place, links not followed.
bool PosixIsEntry(const PosixPlace& place, const OsIdentity& entry);

// OsIdentify of an open descriptor.
OsResult PosixIdentify(intptr_t handle, OsIdentity* identity);
