"""Limits for a program on POSIX systems, set between fork and exec: pass one of them as `preexec_fn`."""

import ctypes
import signal
from typing import Callable

PR_CAPBSET_DROP = 24
CAP_DAC_OVERRIDE = 1


def file_size(limit: int) -> Callable[[], None]:
    """Limits files to `limit` bytes: writing beyond that fails as on a full disk."""
    import resource  # only there on POSIX systems

    def apply() -> None:
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)  # as a shell leaves it, and unlike this interpreter
        resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

    return apply


def permissions_count() -> None:
    """Makes permissions apply to root, too: a file that is not writable cannot be opened for writing."""
    # For others the call fails, and for them permissions count anyway.
    ctypes.CDLL(None).prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0)
