"""What is true after any run, however it ended."""

from formats.message_base import PTR_SIZE
from harness.site import Snapshot

SENT_AT = 153


def assert_nothing_damaged(before: Snapshot, after: Snapshot) -> None:
    """Asserts that no byte of the message base has changed, except MsgSent bytes to 1; files may have grown."""
    for path, old in before.items():
        if not path.startswith("MSG/CVMSG") or old is None:
            continue
        new = after[path]
        assert new is not None and len(new) >= len(old), f"{path} is shorter"
        for at in [at for at in range(len(old)) if old[at] != new[at]]:
            assert path.endswith(".PTR") and at % PTR_SIZE == SENT_AT, f"{path} is damaged at {at}"
            assert (old[at], new[at]) == (0, 1), f"{path}: MsgSent is {new[at]} at {at}"
