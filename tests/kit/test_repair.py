"""cvkit verify --repair and --undo: lock, idle nodes, backup, what is repaired and what is left."""

import json
import os
import threading
import time
from dataclasses import replace
from pathlib import Path

import pytest
from formats.node_status import Node
from harness.kit import Kit
from harness.site import LOCK, Site, Snapshot
from harness.target import posix_only
from smallest_bases import A, B, DAT, IDX, PTR, SIG, base_of, loose_text, odd_ptr, put
from smallest_sites import SITES, mark_unsent, scanned, stored_without_line

REPAIRED = {  # what becomes of each smallest site that the repair changes, by the code of its finding
    "odd-size", "index-loose", "index-differs", "index-cut", "blank-header", "loose-text", "sig-cut", "sig-zeros",
    "sig-beyond", "sig-missing", "torn", "serial-behind", "lock-abandoned", "outbound-packet", "bundle-temporary",
    "half-copy", "half-saved",
}
LEFT = {  # what no repair can decide
    "no-text", "past-text", "blank-text", "number-range", "number-twice", "number-order", "overlap",
    "sig-missing-twins", "stored-again", "serial-damaged", "too-many-texts", "no-headers",
    "bundle-fetched", "holed-header",
}


def backups(site: Site) -> list[Path]:
    return sorted(site.path("MSG").glob("cvkit-backup-*"))


def without_backups(site: Site) -> Snapshot:
    return {path: data for path, data in site.snapshot().items() if not path.startswith("MSG/cvkit-backup-")}


def repair(kit: Kit, status: int = 0) -> dict:
    return kit.json("verify", "--repair", status=status)


def without_lock(snapshot: Snapshot) -> Snapshot:
    return {path: data for path, data in snapshot.items() if path != LOCK}


@pytest.mark.parametrize("lay, findings", SITES, ids=[lay.__name__ for lay, _ in SITES])
def test_what_can_be_repaired_is_repaired_and_undone(ready, kit, lay, findings):
    lay(ready)
    before = without_backups(ready)
    answer = kit.json("verify", "--repair", status=None)
    left = {finding["code"] for finding in answer["findings"] if finding["severity"] != "note"}
    assert not left & REPAIRED and left <= LEFT
    assert {code for code, severity, _, _ in findings if severity != "note"} - left <= REPAIRED | LEFT
    assert (answer["backup"] is None) == (without_lock(without_backups(ready)) == without_lock(before))
    assert bool(answer["repaired"]) == (without_backups(ready) != before)
    again = without_backups(ready)
    assert repair(kit, int(bool(left)))["repaired"] == []
    assert without_backups(ready) == again
    if answer["backup"]:
        kit("verify", "--undo", answer["backup"], status=None)
        assert without_backups(ready) == without_lock(before)


def test_the_changes_are_shown_and_listed(ready, kit):
    loose_text(ready)
    text = kit("verify", "--repair").text.splitlines()
    assert text[0] == f"repaired {DAT}: cut off what belongs to no header"
    (backup,) = backups(ready)
    assert text[1] == f"The files as they were are in MSG/{backup.name}."
    assert text[2] == "The message base is sound."
    listed = json.loads((backup / "list.json").read_text(encoding="utf-8"))
    assert [item["path"].replace("\\", "/") for item in listed["items"]] == [DAT]
    assert listed["repaired"] == [f"{DAT}: cut off what belongs to no header"]
    assert (backup / listed["items"][0]["before"]).read_bytes() == base_of(A).dat + bytes(256)


def test_a_base_that_needs_no_repair_makes_no_backup(ready, kit):
    ready.put(base_of(A))
    assert repair(kit) == {"sound": True, "unsettled": None, "findings": [], "repaired": [], "backup": None,
                                  "backups": []}
    assert backups(ready) == []


def test_the_index_is_built_from_the_headers_with_the_entries_that_are_right(ready, kit):
    """The sender's name does not fit the header: only the entry that is there knows its checksum."""
    base = base_of(A, replace(B, sender="S" * 40))
    put(ready, base, IDX=b"\xff" + base.idx[0][1:] + base.idx[1])
    repair(kit)
    assert ready.read(IDX) == b"".join(base.idx)


@pytest.mark.parametrize("zeros", [0, 1500])
def test_a_last_line_that_only_lacks_its_end_gets_it(ready, kit, zeros):
    base = base_of(A, B)
    put(ready, base, SIG=base.sig[:-1] + bytes(zeros))
    assert repair(kit)["repaired"] == [f"{SIG}: ended the last line"]
    assert ready.read(SIG) == base.sig


def test_lines_stay_separate_when_a_piece_between_them_is_removed(ready, kit):
    """The header of message 2 is lost, and its number is in the second piece of a line of garbage."""
    base = base_of(A)
    before, behind = base.sig + b"x" * 255, b"1:2/3 packed away\t77\n"
    put(ready, base, IDX=b"".join(base_of(A, B).idx), SIG=before + b"1:2/3 two\t2\n" + behind)
    repair(kit)
    assert ready.read(SIG) == before + b"\n" + behind


@posix_only("the lock's owner has to be a process of this system")
def test_beside_a_run_at_work_nothing_is_repaired(ready, kit):
    loose_text(ready)
    ready.write(LOCK, f"cvtoss32 1.05 Beta 5 mode=-scan pid={os.getpid()} started={int(time.time())}\n")
    before = ready.snapshot()
    assert kit("verify", "--repair", status=2).errors == "cvkit: another run is at work: nothing was changed\n"
    assert ready.snapshot() == before


def test_a_fresh_lock_without_an_owner_is_respected(ready, kit):
    loose_text(ready)
    ready.write(LOCK, b"")
    kit("verify", "--repair", status=2)
    assert ready.path(LOCK).exists() and backups(ready) == []


@pytest.mark.parametrize("nodes", [b"", b"12345"])
def test_nothing_is_repaired_when_the_node_status_cannot_be_read(ready, kit, nodes):
    loose_text(ready)
    ready.write("CONF/WORK/CVWHOSON.DAT", nodes)
    before = ready.snapshot()
    answer = kit("verify", "--repair", "--json", status=2)
    assert (answer.text, answer.errors) == ("", "cvkit: who is on the BBS cannot be told: nothing was changed\n")
    assert ready.snapshot() == before


def test_a_repair_waits_for_the_last_caller(ready, kit):
    loose_text(ready)
    ready.nodes(Node(user=5))

    def leave():
        """Called when the repair has its lock and has read the node status."""
        while not ready.path(LOCK).exists():
            time.sleep(0.05)
        time.sleep(0.5)
        ready.nodes(Node())

    threading.Thread(target=leave, daemon=True).start()
    answer = kit("verify", "--repair")
    assert answer.text.startswith(f"repaired {DAT}")
    assert answer.errors == "cvkit: waiting for the caller on node 1\n"


def test_what_was_changed_after_a_repair_is_not_undone(ready, kit):
    stored_without_line(ready)
    backup = repair(kit)["backup"]
    ready.write(SIG, ready.read(SIG) + b"1:2/3 three\t3\n")
    before = ready.snapshot()
    assert kit("verify", "--undo", backup, status=2).errors.startswith(f"cvkit: {SIG} is not as the repair of ")
    assert ready.snapshot() == before


def test_what_was_partly_restored_is_not_undone(ready, kit):
    loose_text(ready)
    backup = repair(kit)["backup"]
    ready.write(DAT, ready.read(DAT) + bytes(128))
    kit("verify", "--undo", backup, status=2)
    assert ready.read(DAT) == base_of(A).dat + bytes(128)


def test_a_repair_is_undone_once(ready, kit):
    loose_text(ready)
    backup = repair(kit)["backup"]
    assert "loose-text" in kit("verify", "--undo", backup, status=1).text
    assert kit("verify", "--undo", backup, status=2).errors == f"cvkit: the repair of {backup} was undone before\n"


def test_a_directory_without_a_list_is_no_backup(ready, kit):
    assert kit("verify", "--undo", "MSG", status=2).errors == "cvkit: MSG is no backup of a repair\n"


@pytest.mark.parametrize("name, why", [("list.json", "the list of {} is damaged"),
                                       ("001.before", f"the backup {{}} is damaged: {DAT}")])
def test_a_damaged_backup_is_not_used(ready, kit, name, why):
    loose_text(ready)
    backup = repair(kit)["backup"]
    (ready.path(backup) / name).write_bytes(b"{}")
    assert kit("verify", "--undo", backup, status=2).errors == f"cvkit: {why.format(backup)}\n"
    assert ready.read(DAT) == base_of(A).dat


def interrupted(site: Site, kit: Kit) -> str:
    """A repair whose list is complete and whose changes have not been made."""
    backup = repair(kit)["backup"]
    kit("verify", "--undo", backup, status=1)
    for name in ("done", "undoing", "undone"):
        (site.path(backup) / name).unlink()
    return backup


def test_a_repair_that_did_not_end_is_finished_with_its_backup(ready, kit):
    odd_ptr(ready)
    backup = interrupted(ready, kit)
    answer = repair(kit)
    assert (answer["backup"], answer["repaired"]) == (backup, [f"{PTR}: cut off a piece of a header at the end"])
    assert ready.read(PTR) == base_of(A).ptr[0].pack() and len(backups(ready)) == 1


def test_a_repair_that_others_have_overtaken_is_begun_anew(ready, kit):
    """What others have added stays."""
    loose_text(ready)
    first = interrupted(ready, kit)
    base = base_of(A)
    base.dat += bytes(256)
    base.add(b"by the BBS\x01", sent=0)
    base.dat += bytes(128)
    ready.put(base)
    time.sleep(1.1)  # the next backup has another name
    assert repair(kit)["backup"] != first
    assert ready.read(DAT) == base.dat[:-128]


def test_a_repair_that_cannot_write_says_so(ready, kit):
    loose_text(ready)
    ready.write("MSG/CVTOSS.BSY/x", b"")
    assert kit("verify", "--repair", status=2).errors.endswith("nothing was changed\n")


def test_netmail_of_a_scan_that_did_not_end_is_marked_sent(site, kit):
    scan = scanned(site)
    fido, mail = scan.bases
    before = site.snapshot()
    fido.sig = b"".join(fido.sig.splitlines(keepends=True)[:2]) + b"2:250/10 000"
    mark_unsent(site, fido, 2, 3)
    mail.sig = b""
    mark_unsent(site, mail, 0)
    assert repair(kit)["sound"]
    assert without_backups(site) == before
