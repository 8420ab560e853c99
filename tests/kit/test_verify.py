"""cvkit verify: each kind of finding, in the smallest site that shows it."""

import os
import re
from pathlib import Path

import pytest
from harness.kit import found
from harness.target import posix_only
from smallest_bases import A, DAMAGE, NOTE, PTR, SIG, base_of, put
from smallest_sites import SITES

ROOT = Path(__file__).resolve().parents[2]


@pytest.mark.parametrize("lay, findings", SITES, ids=[lay.__name__ for lay, _ in SITES])
def test_each_kind_of_finding_in_the_smallest_site(ready, kit, lay, findings):
    lay(ready)
    before = ready.snapshot()
    attention = any(severity != NOTE for _, severity, _, _ in findings)
    assert found(kit, int(attention)) == findings
    text = kit("verify", status=int(attention)).text
    assert all(f"({code})" in text for code, _, _, _ in findings)
    damaged = any(severity == DAMAGE for _, severity, _, _ in findings)
    assert text.splitlines()[-1] == f"The message base is {'damaged' if damaged else 'sound'}."
    assert ready.snapshot() == before


def test_every_code_has_its_smallest_site_and_is_in_the_manual():
    manual = (ROOT / "docs/cvkit.1").read_text(encoding="utf-8").split('.SS "verify')[1].split(".B \\-\\-repair\n")[0]
    listed = {code.replace("\\-", "-") for code in re.findall(r"(?m)^\.IR ([a-z\\-]+) [,.]$", manual)}
    judges = ("verify_base", "verify_sig", "verify_site", "serial_judge", "leftovers")
    sources = "".join((ROOT / f"src/kit/{name}.cc").read_text(encoding="utf-8") for name in judges)
    assert set(re.findall(r'"([a-z]+(?:-[a-z]+)+)"', sources)) <= listed
    assert listed == {code for _, findings in SITES for code, *_ in findings} | {"bundle-unsent"}


def test_texts_of_mail_are_shown_without_control_bytes(ready, kit):
    base = base_of(A)
    put(ready, base, SIG=base.sig + b"\x1b[31m\x07\xe9")
    answer = kit("verify", status=1)
    assert r"'\x1B[31m\x07Θ'" in answer.text
    assert r"'\x1B[31m\x07Θ'" in kit.json("verify", status=1)["findings"][0]["text"]


def test_a_site_without_conferences_cannot_be_judged(site, kit):
    assert kit("verify", status=2).errors.endswith("CVMCONF.DAT cannot be read\n")


def test_when_a_file_cannot_be_read_there_is_no_answer(ready, kit):
    ready.path(PTR).mkdir()
    assert kit("verify", status=2).errors == "cvkit: MSG/CVMSG01.PTR cannot be read\n"


@posix_only("control bytes in a name")
@pytest.mark.parametrize("name", ["CVMSG01.PTR", "CVOUTBOUND.SEQ"])
def test_configured_paths_are_shown_without_control_bytes(ready, kit, name):
    ready.add_config("MSGDIR M\x1bSG\n")
    path = ready.write(f"M\x1bSG/{name}", b"")
    os.truncate(path, 2**31)  # more than any run reads
    assert kit("verify", status=2).errors == f"cvkit: M\\x1BSG/{name} cannot be read\n"
