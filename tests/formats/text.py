"""Texts in the binary formats."""

Text = str | bytes


def raw(text: Text) -> bytes:
    """The bytes of a text. A str stands for one byte per character (0 to 255)."""
    return text if isinstance(text, bytes) else text.encode("latin-1")


def shown(text: bytes) -> str:
    """The str that stands for these bytes, one character per byte."""
    return text.decode("latin-1")


def reported(text: Text) -> str:
    """A text of mail as shown in a log line: bytes that could forge a line or control a terminal become "?"."""
    return shown(raw(text).translate(bytes.maketrans(b"\b\n\r\x1a\x1b", b"?????")))


def length_prefixed(text: Text, width: int) -> bytes:
    """string[width]: one length byte, then `width` bytes of text, zero-filled. A longer text is cut."""
    kept = raw(text)[:width]
    return bytes([len(kept)]) + kept.ljust(width, b"\0")


def read_length_prefixed(record: bytes, offset: int, width: int) -> bytes:
    """The text of a string[width] at `offset`; a length byte beyond the field is capped."""
    length = min(record[offset], width)
    return record[offset + 1 : offset + 1 + length]
