"""cvkit verify: bundles whose messages are unsent, and bundles that were fetched too early."""

import pytest
from harness.kit import found
from smallest_bases import DAMAGE
from smallest_sites import bundle_fetched, mark_unsent, scanned


def test_a_bundle_of_unsent_messages_is_found_by_each_of_its_conferences(site, kit):
    scan = scanned(site)
    path = site.snapshot("OUT").popitem()[0]
    assert found(kit, 0) == []
    fido, mail = scan.bases
    lines = fido.sig.splitlines(keepends=True)
    fido.sig = b"".join(lines[:3])  # killed with the second line written and its message not marked
    mark_unsent(site, fido, 2, 3)
    mail.sig = b""
    mark_unsent(site, mail, 0)
    assert found(kit) == [("bundle-unsent", DAMAGE, path, None)] * 2
    texts = [finding["text"] for finding in kit.json("verify", status=1)["findings"]]
    assert [text.split(" of ")[0] for text in texts] == ["2 messages", "1 message"]


def test_a_message_written_after_the_bundle_is_not_taken_for_one_in_it(site, kit):
    fido = scanned(site).bases[0]
    fido.add(b"same\x01", sent=0)
    site.put(fido)
    assert found(kit, 0) == []


def test_a_bundle_that_was_fetched_too_early_is_found_in_a_rotated_log(ready, kit):
    bundle_fetched(ready)
    before = found(kit, None)
    ready.path("TOSSER.LOG").rename(ready.path("TOSSER.LOG.1"))
    assert found(kit, None) == before != []


def test_the_lines_of_sent_messages_are_taken_from_their_bundle(site, kit):
    """As after a power cut that has lost the lines; zeros are in the place of one."""
    fido = scanned(site).bases[0]
    lines = fido.sig.splitlines(keepends=True)
    ours = [line for line in lines if line.endswith(b"\r\n")]
    fido.sig = b"".join(line for line in lines if line not in ours[:2]) + bytes(len(ours[1]))
    site.put(fido)
    codes = [code for code, *_ in found(kit)]
    assert sorted(codes) == ["sig-cut", "sig-missing", "sig-missing"]
    assert kit.json("verify", "--repair")["findings"] == []
    assert sorted(site.read("MSG/CVMSG01.SIG").splitlines(keepends=True)) == sorted(lines)


@pytest.mark.parametrize("then", ["=== cvtoss32 -scan run complete: 1 message(s) exported and committed ===", None])
def test_a_bundle_that_was_marked_or_is_there_was_not_fetched(ready, kit, then):
    bundle_fetched(ready)
    if then:
        ready.write("TOSSER.LOG", ready.read("TOSSER.LOG") + f"[2026-11-22 01:45:00] {then}\n".encode())
    else:
        ready.write("OUT/6917f02c.su0", b"")
    assert found(kit, 0) == []


def test_a_message_is_not_taken_for_an_earlier_one_whose_line_is_lost(site, kit):
    """Either may be the one in the bundle; marked by mistake, the unsent one would never be sent."""
    fido = scanned(site).bases[0]
    fido.add(b"same\x01", sent=0)
    fido.sig = b""
    site.put(fido)
    assert [(code, record) for code, _, _, record in found(kit)] == [("sig-none", 0), ("sig-missing", 3)]
