"""The log lines of a toss about a bundle and its entries."""

CUT_NAME = "  ERROR: truncated ZIP filename/extra field"
CUT_DATA = "  ERROR: ZIP entry claims more compressed data than the file contains"
NOT_A_PACKET = "  does not look like a valid FTS-0001 packet (bad header/type-2 marker) -- not touching this file"
NONE_HANDLED = "  ERROR: ZIP contained no successfully handled FidoNet packet entries"
RETAINING = "  retaining ZIP in inbound because at least one entry failed"


def streaming(name: str) -> str:
    return f"  ERROR: streaming/data-descriptor ZIP entry '{name}' is unsupported; retaining bundle"


def expands(name: str, size: int) -> str:
    return f"  ERROR: ZIP entry '{name}' expands to {size} bytes (limit 67108864); retaining bundle"


def not_inflated(name: str, code: int | str, produced: int | str, size: int) -> str:
    return f"  ERROR: inflate failed/incomplete (code {code}, produced {produced}/{size}) for entry '{name}'"


def inconsistent(name: str) -> str:
    return f"  ERROR: stored ZIP entry '{name}' has inconsistent sizes"


def unsupported(method: int, name: str) -> str:
    return f"  ERROR: unsupported ZIP compression method {method} for entry '{name}'"
