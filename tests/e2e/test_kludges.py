"""The three kludges the toss takes: how their values are found, what limits them, and that the last one counts."""

from formats.message_base import body_lines
from formats.packet import PackedMessage, Packet, netmail
from formats.text import Text, raw, reported
from harness.cases import Cases
from harness.compare import REFUSED
from harness.one_packet import OnePacket

NOT_FOUND = (
    "  msg {}: reply to MSGID {}, but parent not found locally in conf 1 -- storing as non-threaded (safe fallback)"
)


def with_kludges(tag: str, *kludges: Text) -> PackedMessage:
    """A message with those lines, a byte 1 before each, around its text."""
    lines = [b"\x01" + raw(kludge) for kludge in kludges]
    return netmail("AREA:" + tag, *lines, "Hi")


def assert_msgids(site, rows: list[tuple[list[Text], Text]]) -> None:
    """Tosses messages with those kludges, each with the MSGID that is to be recorded ("" for none)."""
    packet = OnePacket(site)
    base = packet.conference()
    for kludges, msgid in rows:
        message = with_kludges("CASE1", *kludges)
        packet.add(message, base.store(message, body_lines("Hi"), msgid=msgid))
    packet.toss()


def test_a_value_starts_after_the_blanks_behind_its_colon_and_keeps_those_at_its_end(site):
    assert_msgids(
        site,
        [
            (["MSGID:1:2/3 a"], "1:2/3 a"),
            (["MSGID: 1:2/3 b"], "1:2/3 b"),
            (["MSGID:     1:2/3 c"], "1:2/3 c"),
            (["MSGID: 1:2/3 d  "], "1:2/3 d  "),
            (["MSGID: \t1:2/3 e"], "\t1:2/3 e"),
            (["MSGID: x  y   z\t"], "x  y   z\t"),
            (["MSGID: \x01"], "\x01"),
            (["MSGID: \x80\xff%s%n"], "\x80\xff%s%n"),
        ],
    )


def test_kludge_words_match_in_any_case_and_only_right_after_byte_1(site):
    assert_msgids(
        site,
        [
            (["msgid: a"], "a"),
            (["MsgId: b"], "b"),
            ([" MSGID: c"], ""),
            (["\x01MSGID: d"], ""),
            (["MSGID : e"], ""),
            (["MSGIDS: f"], ""),
            (["XMSGID: g"], ""),
            (["MSGID"], ""),
            (["MSGI"], ""),
        ],
    )


def test_a_repeated_kludge_replaces_the_earlier_value_even_with_nothing(site):
    assert_msgids(
        site,
        [
            (["MSGID: a", "MSGID: b"], "b"),
            (["MSGID: a long one", "MSGID: c"], "c"),
            (["MSGID: d", "MSGID:"], ""),
            (["MSGID: d", "MSGID:    "], ""),
            (["MSGID: d", "MSGID", "MSG", ""], "d"),
        ],
    )


def test_kludges_count_wherever_they_stand_in_the_text(site):
    packet = OnePacket(site)
    base = packet.conference()
    for number, lines in enumerate((["\x01MSGID: 0", "Hi"], ["Hi", "\x01MSGID: 1"], ["Hi", "--- x", "\x01MSGID: 2"])):
        message = netmail("AREA:CASE1", *lines)
        kept = [line for line in lines if not line.startswith("\x01")]
        packet.add(message, base.store(message, body_lines(*kept), msgid=str(number)))
    packet.toss()


def test_a_msgid_of_127_bytes_is_taken_and_one_of_128_refuses_the_message(site):
    assert_limit(site, "MSGID", 127)


def test_a_reply_of_127_bytes_is_taken_and_one_of_128_refuses_the_message(site):
    assert_limit(site, "REPLY", 127)


def test_a_chrs_of_31_bytes_is_taken_and_one_of_32_refuses_the_message(site):
    assert_limit(site, "CHRS", 31)


def assert_limit(site, name: str, limit: int) -> None:
    """Values of `limit` bytes, blanks before them left out and blanks behind them counted, and values beyond it."""
    cases = Cases(site)
    full = b"0123456789abcdef" * 8
    accepted = [full[:limit], full[: limit - 1], b"  " * 200 + full[:limit], full[: limit - 2] + b"  "]
    for number, value in enumerate(accepted):
        base = cases.conference()
        message = with_kludges(cases.tag(base), name.encode() + b": " + value)
        kept = value.lstrip(b" ")
        lines = []
        if name == "REPLY":
            lines = [NOT_FOUND.replace("conf 1", f"conf {base.conference}").format(1, reported(kept))]
        lines.append(base.store(message, body_lines("Hi"), msgid=kept if name == "MSGID" else ""))
        cases.packet(f"{number}.pkt", Packet([message]), *lines)
    for size, value in (
        (limit + 1, (full + full)[: limit + 1]),
        (limit + 1, full[:limit] + b" "),
        (limit + 1, b" " + full[: limit - 1] + b"\t\t"),
        (1000, b"x" * 1000),
        (65000, b"x" * 65000),
    ):
        message = with_kludges("CASE1", name.lower().encode() + b":" + value, name + ": x")
        line = f"ERROR: inbound {name} value is too long ({size} bytes; maximum {limit})"
        cases.retained(f"{len(cases.blocks)}.pkt", Packet([message]), line, REFUSED)
    cases.toss(status=1)


def test_an_over_long_value_refuses_a_message_that_would_have_been_skipped(site):
    cases = Cases(site)
    cases.conference()
    line = "ERROR: inbound REPLY value is too long (128 bytes; maximum 127)"
    for tag in ("UNKNOWN", "CASE1"):
        message = with_kludges(tag, "REPLY: " + "x" * 128)
        cases.retained(f"{tag}.pkt", Packet([message]), line, REFUSED)
    cases.toss(status=1)


def test_an_empty_reply_is_no_reply(site):
    packet = OnePacket(site)
    base = packet.conference()
    base.add(sender="Earlier")
    base.add_sig("", 1)
    site.put(base)
    for kludges in (["REPLY:"], ["REPLY:   "], ["REPLY: gone", "REPLY:"], ["REPLY"], ["REPLY gone"]):
        message = with_kludges("CASE1", *kludges)
        packet.add(message, base.store(message, body_lines("Hi")))
    packet.toss()


def test_the_last_reply_counts(site):
    packet = OnePacket(site)
    base = packet.conference()
    message = with_kludges("CASE1", "REPLY: first", "reply:  second ")
    packet.add(message, NOT_FOUND.format(1, "second "), base.store(message, body_lines("Hi")))
    packet.toss()
