"""cvkit packet: what it shows, writes and unpacks. (test_forecast.py compares its predictions with a toss.)"""

import zlib

import pytest
from formats.conference_table import echo, netmail
from formats.message_base import MessageBase
from formats.node_status import Node
from formats.packet import Packet, echomail, read_packet
from formats.packet import netmail as packed_netmail
from formats.zip_bundle import DATA_DESCRIPTOR, DEFLATED, Entry, bundle, deflate
from harness.kit import Kit
from harness.target import posix_only

MAIL = Packet([echomail("FIDO", "Hello \x1b[2J \x84", msgid="2:250/1 1", sender="Ann\x07 Sender"),
               echomail("FIDO", "Again", msgid="2:250/1 1", subject="The same"),
               echomail("FIDO", "Answer", "\x01PID: x", msgid="2:250/1 2", reply="2:250/1 1", subject="Re: x"),
               echomail("NOWHERE", "Lost"),
               packed_netmail("For you", attribute=1)])


@pytest.fixture
def a_packet(site):
    """A site with one conference for FIDO and one for netmail, and a packet of five messages."""
    site.conferences(echo("FIDO"), netmail())
    site.inbound("a.pkt", MAIL)
    return site


def packets(kit: Kit, *arguments) -> list[dict]:
    return [one for file in kit.json("packet", *arguments, status=None)["files"] for one in file["packets"]]


def write_out(site, data: bytes, name: str = "x.pkt") -> str:
    return site.write(f"AWAY/{name}", data).relative_to(site.root).as_posix()


def test_every_fact_of_a_packet_is_in_the_json(a_packet, kit):
    answer = kit.json("packet", "IN/a.pkt", status=1)
    file, = answer["files"]
    one, = file["packets"]
    assert (file["path"], file["kind"], file["fate"]) == ("IN/a.pkt", "packet", "processed")
    assert (one["entry"], one["from"], one["to"], one["date"], one["password"], one["fault"]) == (
        None, "3:250/1.5", "4:251/2.6", "2025-01-05T12:34:56", True, None)
    assert [(told["verdict"], told["conference"], told["message_number"], told["parent"])
            for told in one["messages"]] == [("stored", 1, 1, None), ("duplicate", 1, 1, None), ("stored", 1, 2, 1),
                                             ("dropped", None, None, None), ("stored", 2, 1, None)]
    first, third, last = (one["messages"][index] for index in (0, 2, 4))
    assert (first["number"], first["from"], first["to"], first["subject"], first["date"]) == (
        1, "Ann\x07 Sender", "All", "Greetings", "2025-01-05T00:07")
    assert (first["area"], first["msgid"], first["reply"], first["offset"]) == ("FIDO", "2:250/1 1", None, 58)
    assert (third["reply"], third["kludges"]) == ("2:250/1 1", ["PID: x"])
    assert (last["area"], last["attributes"]) == (None, 1)


def test_text_shows_the_same_and_never_a_password_or_a_control_byte(a_packet, kit):
    text = kit("packet", "IN/a.pkt", status=1).text
    for shown in ("3:250/1.5", "with a password", "Ann\\x07 Sender -> All: Greetings", "conf 1 #2, reply to #1",
                  "duplicate conf 1 #1", "MSGID    2:250/1 2", "no conference carries its area"):
        assert shown in text
    assert "SECRET" not in text and "Hello" not in text
    assert "\x1b" in json_text(a_packet, kit)


def json_text(site, kit) -> str:
    """The JSON has the subject, with its escapes, but not the body."""
    site.inbound("b.pkt", Packet([echomail("FIDO", subject="\x1b[2J\x7f")]))
    return packets(kit, "IN/b.pkt")[0]["messages"][0]["subject"]


@pytest.mark.parametrize("arguments, shown, hidden", [
    (("--text",), ("Hello \\x1B[2J ä", "Answer", "For you"), ()),
    (("--text", "3"), ("Answer",), ("Hello", "For you")),
])
def test_texts_are_shown_decoded_and_escaped(a_packet, kit, arguments, shown, hidden):
    text = kit("packet", "IN/a.pkt", *arguments, status=1).text
    assert all(f"| {line}\n" in text for line in shown) and not any(line in text for line in hidden)
    assert kit("packet", *arguments, "IN/a.pkt", status=1).text == text


def test_raw_shows_the_packed_bytes(a_packet, kit):
    rows = kit("packet", "IN/a.pkt", "--raw", "4").text.splitlines()
    assert bytes.fromhex("".join(row[10:58] for row in rows)) == MAIL.messages[3].pack()
    assert "6" in kit("packet", "IN/a.pkt", "--raw", "6", status=2).errors


def test_the_option_without_leaves_messages_out_of_the_packet(a_packet, kit):
    (a_packet.root / "AWAY").mkdir()
    answer = kit("packet", "IN/a.pkt", "--without", "2,4", "-o", "AWAY/b.pkt")
    assert answer.text == "AWAY/b.pkt: 3 message(s) kept of 5\n"
    written = a_packet.read("AWAY/b.pkt")
    assert written == Packet([MAIL.messages[index] for index in (0, 2, 4)]).pack()
    assert kit("packet", "IN/a.pkt", "--without", "2", "-o", "AWAY/b.pkt", status=2).errors.startswith("cvkit: ")
    assert a_packet.read("AWAY/b.pkt") == written
    kit("packet", "IN/a.pkt", "--without", "1", "-o", "AWAY/b.pkt", "--force")
    assert len(read_packet(a_packet.read("AWAY/b.pkt")).messages) == 4


@pytest.mark.parametrize("arguments", [
    ("--without", "2"), ("--without", "0", "-o", "AWAY/b"), ("--without", "9", "-o", "AWAY/b"),
    ("--without", "x", "-o", "AWAY/b"), ("--without", "1", "-o", "GONE/b"), ("--without", "1", "--raw", "1"),
    ("--extract", "AWAY"), ("--config", "none.cfg"), ("IN/none.pkt",), ("--without", "1", "-o", "AWAY/b", "AWAY/b"),
])
def test_a_failure_is_reported_and_nothing_is_written(a_packet, kit, arguments):
    (a_packet.root / "AWAY").mkdir()
    answer = kit("packet", "IN/a.pkt", *arguments, status=2)
    assert answer.text == "" and answer.errors
    assert list((a_packet.root / "AWAY").iterdir()) == []


@pytest.mark.parametrize("place", ["IN/b", "IN/processed/b", "CONF/b", "CONF/WORK/b", "MSG/b", "OUT/b",
                                   "AWAY/../IN/b", "IN/processed/../../OUT/b"])
def test_nothing_is_ever_written_into_the_site(a_packet, kit, place):
    (a_packet.root / "AWAY").mkdir()
    (a_packet.root / "IN/processed").mkdir()
    before = a_packet.snapshot()
    assert "within the site" in kit("packet", "IN/a.pkt", "--without", "1", "-o", place, "--force", status=2).errors
    kit("packet", "IN/a.pkt", "--extract", place, status=2)
    assert a_packet.snapshot() == before


def test_every_message_that_can_be_found_in_a_damaged_packet_is_kept(a_packet, kit):
    data = bytearray(MAIL.pack())
    fourth = data.index(MAIL.messages[3].pack())
    second = data.index(MAIL.messages[1].pack())
    data[second] = 0x77  # no message, and not the end
    away = write_out(a_packet, bytes(data))
    one, = packets(kit, away)
    assert one["fault"]["offset"] == second
    assert [told["verdict"] for told in one["messages"]] == ["stored"] + ["damaged"] * 4
    assert one["messages"][3]["offset"] == fourth
    kit("packet", away, "--without", "2,4", "-o", "AWAY/b.pkt")
    assert a_packet.read("AWAY/b.pkt") == Packet([MAIL.messages[index] for index in (0, 2, 4)]).pack()


def test_a_refused_message_holds_up_those_after_it_in_its_packet(ready, kit):
    ready.inbound("a.pkt", Packet([echomail("FIDO"), echomail(""), echomail("FIDO")]))
    file, = kit.json("packet", "IN/a.pkt", status=1)["files"]
    first, bad, behind = file["packets"][0]["messages"]
    assert [told["verdict"] for told in (first, bad, behind)] == ["stored", "refused", "refused"]
    assert "AREA" in bad["reason"] and "message 2" in behind["reason"]
    assert file["fate"] == "retained"


def test_a_run_that_would_not_start_stores_nothing(ready, kit):
    ready.inbound("a.pkt", Packet([echomail("FIDO")]))
    ready.write("MSG/CVMSG01.DAT", b"x" * 127)
    file, = kit.json("packet", "IN/a.pkt", status=1)["files"]
    assert file["fate"] == "left" and "conference 1 is unsound" in file["packets"][0]["messages"][0]["reason"]


@pytest.mark.parametrize("change", [lambda site: site.write("MSG/CVTOSS.BSY", ""),
                                    lambda site: site.nodes(Node(user=7, mode=1))])
def test_beside_a_run_or_a_caller_the_answer_is_unsettled(ready, kit, change):
    ready.inbound("a.pkt", Packet([echomail("FIDO")]))
    change(ready)
    assert kit.json("packet", "IN/a.pkt")["unsettled"]
    assert "Unsettled: " in kit("packet", "IN/a.pkt").text


def central_directory(*entries: Entry, offsets: list[int], at: int) -> bytes:
    """The central directory and its end record, as other programs write them."""
    directory = b""
    for entry, offset in zip(entries, offsets):
        data, name = entry.stored_data(), entry.name.encode()
        directory += b"PK\x01\x02" + b"".join(value.to_bytes(size, "little") for value, size in (
            (20, 2), (20, 2), (entry.flags, 2), (entry.method, 2), (0, 4), (zlib.crc32(entry.content), 4),
            (len(data), 4), (len(entry.content), 4), (len(name), 2), (0, 8), (0, 2), (0, 2), (offset, 4))) + name
    end = b"".join(value.to_bytes(size, "little") for value, size in (
        (0, 4), (len(offsets), 2), (len(offsets), 2), (len(directory), 4), (at, 4), (0, 2)))
    return directory + b"PK\x05\x06" + end


def extracted(site, kit, data: bytes, status: int = 0) -> dict[str, bytes]:
    away = write_out(site, data, "b.su0")
    kit("packet", away, "--extract", "AWAY/out", status=status)
    return {path.name: path.read_bytes() for path in (site.root / "AWAY/out").iterdir()}


def test_bundles_that_the_toss_reads_are_unpacked(ready, kit):
    data = bundle(Entry("a.pkt", b"first"), Entry("b.pkt", b"second" * 99, DEFLATED))
    assert extracted(ready, kit, data) == {"a.pkt": b"first", "b.pkt": b"second" * 99}


def test_sizes_that_follow_the_data_are_read(ready, kit):
    pair = [Entry(name, content, DEFLATED, DATA_DESCRIPTOR, crc=0, compressed=0, uncompressed=0)
            for name, content in (("a.pkt", b"first" * 50), ("b.pkt", b"second" * 99))]
    descriptor = b"PK\x07\x08" + bytes(12)
    locals_ = [entry.pack() + descriptor for entry in pair]
    everything = {entry.name: entry.content for entry in pair}
    assert extracted(ready, kit, b"".join(locals_)) == everything
    for path in (ready.root / "AWAY/out").iterdir():
        path.unlink()
    whole = b"".join(locals_) + central_directory(*pair, offsets=[0, len(locals_[0])], at=sum(map(len, locals_)))
    assert extracted(ready, kit, whole) == everything


def test_a_central_directory_that_is_right_where_local_headers_are_not_is_followed(ready, kit):
    entry = Entry("a.pkt", b"first" * 50, DEFLATED)
    wrong = Entry("a.pkt", b"", 9, data=deflate(entry.content), compressed=3, uncompressed=2**31)
    data = wrong.pack()
    assert extracted(ready, kit, data + central_directory(entry, offsets=[0], at=len(data))) == {"a.pkt": entry.content}


def test_an_entry_that_is_damaged_is_unpacked_as_far_as_it_goes(ready, kit):
    data = bundle(Entry("a.pkt", b"first", crc=1), after=b"")
    assert extracted(ready, kit, data, status=1) == {"a.pkt": b"first"}


@pytest.mark.parametrize("name, safe", [
    ("../../evil.pkt", "evil.pkt"), ("C:\\x\\evil.pkt", "evil.pkt"), ("..", "_"), ("", "_"), (".hidden", "_.hidden"),
    ("nul.pkt", "_nul.pkt"), ("COM1", "_COM1"), ("a\x1b[2J.pkt", "a_[2J.pkt"), ("a:b", "a_b"), ("a. .", "a._"),
    ("-rf", "_-rf"), ("x/", "_"),
])
def test_names_of_entries_never_lead_out_of_the_directory(ready, kit, name, safe):
    assert extracted(ready, kit, bundle(Entry(name, b"x"))) == {safe: b"x"}


@pytest.mark.parametrize("second, kept", [("b/x.pkt", "2-x.pkt"), ("X.Pkt", "2-X.Pkt")])
def test_two_entries_whose_names_are_the_same_on_some_systems_are_both_kept(ready, kit, second, kept):
    data = bundle(Entry("a/x.pkt", b"1"), Entry(second, b"2"))
    assert extracted(ready, kit, data) == {"x.pkt": b"1", kept: b"2"}


@posix_only("a pseudo-terminal")
def test_a_terminal_shows_the_progress(a_packet, kit):
    a_packet.inbound("b.pkt", MAIL)
    shown = kit.errors_on_terminal("packet", "IN/a.pkt", "IN/b.pkt")
    assert "\rjudging [" + "#" * 15 + "-" * 15 + "]  50%" in shown and shown.endswith(" \r")


def test_every_file_has_its_own_verdicts_in_the_order_given(a_packet, kit):
    a_packet.inbound("b.pkt", MAIL)
    files = kit.json("packet", "IN/b.pkt", "IN/a.pkt", status=1)["files"]
    assert [file["path"] for file in files] == ["IN/b.pkt", "IN/a.pkt"]
    assert [one["verdict"] for one in files[1]["packets"][0]["messages"]] == [
        "duplicate", "duplicate", "duplicate", "dropped", "stored"]


def test_a_message_can_be_left_out_of_a_bundle_of_one_packet(ready, kit):
    away = write_out(ready, bundle(Entry("a.pkt", MAIL.pack(), DEFLATED)))
    kit("packet", away, "--without", "1", "-o", "AWAY/b.pkt")
    assert read_packet(ready.read("AWAY/b.pkt")).messages[0].subject == b"The same"


def test_a_full_conference_refuses(ready, kit):
    base = MessageBase(1)
    base.add(b"x")
    base.dat += bytes(65535 * 128)
    ready.put(base)
    ready.inbound("a.pkt", Packet([echomail("FIDO")]))
    told = packets(kit, "IN/a.pkt")[0]["messages"][0]
    assert (told["verdict"], told["conference"], told["message_number"]) == ("refused", 1, None)
    assert "full" in told["reason"]
