"""script/demo works, and shows every kind of mail that it announces."""

import json
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def call(*arguments, **options):
    return subprocess.run([ROOT / "script" / "demo", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          encoding="utf-8", check=False, **options)


def demo(*arguments, **options):
    done = call(*arguments, **options)
    assert done.returncode == 0, done.stdout
    return done.stdout


def inbound_mail():
    """What becomes of the sample mail when it arrives for the first time: stored, duplicate and damaged messages."""
    sources = ROOT / "examples" / "site"
    packets = [path.read_text(encoding="utf-8") for path in (sources / "inbound").rglob("*.pkt.txt")]
    known = re.findall(r"(?m)^Msgid: (.*)$", (sources / "messages.txt").read_text(encoding="utf-8"))
    damaged = sum("\nCut: " in packet for packet in packets)
    duplicates = sum(msgid in known for packet in packets for msgid in re.findall(r"(?m)^\^AMSGID: (.*)$", packet))
    return sum(packet.count("\n====\n") for packet in packets) - damaged - duplicates, duplicates, damaged


def ledger(site):
    """The sums that are not 0."""
    done = subprocess.run([site / "cvkit", "ledger", "--json"], cwd=site, stdout=subprocess.PIPE, check=True)
    return {fate: count for fate, count in json.loads(done.stdout).items() if isinstance(count, int) and count}


def test_first_call_then_second_call_then_fresh(tmp_path):
    site = tmp_path / "site"
    first = demo(site)
    assert first.count("-check PASSED") == 3
    assert "4 file(s) processed" in first
    assert "Ignored 1 unrelated inbound file(s)" in first
    own, _, hub = first.partition("carries 1 bundle(s) to the hub")
    assert own.count("already seen in conf") == 1
    assert "AREA:WINTER.SPORTS has no matching conference -- parked in catch-all conf 6" in first
    assert "copy for review in badmsgs/BAD_" in first
    assert "5c3e1b07.pkt       packet, 1 message                    moved to processed" in first
    assert "network-news.txt   neither bundle nor packet            left in place" in first
    assert '"Crème brûlée à la française ? ' not in first and '"Crème brûlée à la française - "très léger"' in first
    assert "2  FIDO_TECH   Questions of mail and modems  5 messages, 2 new" in first
    assert "2 message(s) exported" in first
    assert re.search(r"\n +[1-9]\d* +[\d-]+ [\d:]+ +[0-9a-f]{8}\.pkt\n", first), "the bundle is not listed"
    asked, killed = hub.index("$ cvkit packet FTN/INBOUND/"), hub.index("(killed)")
    mended = hub.index("cut off what belongs to no header")
    tossed = hub.rindex("-toss run complete: 1 file(s) processed")
    assert asked < killed < mended < tossed
    assert "reply to #1" in hub[asked:killed] and "already seen in conf 1" in hub[mended:tossed]
    tree = hub[hub.index("$ cvkit messages 1 --threads"):hub.rindex("$ cvkit verify")]
    assert re.search(r"#1 .*Which modem[^\n]*\n[^\n]*#2 ", tree), tree
    assert "The message base is sound." in hub[hub.rindex("$ cvkit verify"):]
    parent, reply = hub.index("#1 Wendell Pike to All: Which modem"), hub.index("+    #2 Sysop to Wendell Pike")
    assert parent < reply, "the reply did not arrive under its parent"
    assert "+ #1 Sysop to Tilda Marsh: Feed for two more areas" in hub

    stored, duplicates, damaged = inbound_mail()
    assert ledger(site) == {"in": stored + duplicates + damaged, "stored": stored, "duplicate": duplicates,
                            "damaged": damaged}
    assert ledger(tmp_path / "site-hub") == {"in": 2, "stored": 2}, "one by the killed toss, and one by the next"

    second = demo(site)
    assert second.count("already seen in conf") == 8
    assert not re.search(r", \d+ new\n", second), "the second call stored something again"
    assert "Nothing to export" in second
    assert "carries 0 bundle(s)" in second

    assert ledger(site) == {"in": 2 * (stored + duplicates + damaged), "stored": stored,
                            "duplicate": stored + 2 * duplicates, "damaged": 2 * damaged}

    fresh = demo("--fresh", site)
    assert fresh.count("already seen in conf") == 2, "one for the site, and one for the hub's toss after the killed one"
    assert "carries 1 bundle(s)" in fresh


@pytest.mark.parametrize("name", ["new/site", "new/site/", "./new//site"])
def test_the_directory_counts_from_where_the_caller_is_and_the_hub_stands_beside_it(tmp_path, name):
    shown = demo(name, cwd=tmp_path)
    assert "A sample site has been made in new/site.\n" in shown
    assert "All of the above is in new/site/TOSSER.LOG and new/site-hub/TOSSER.LOG too.\n" in shown
    assert sorted(path.name for path in (tmp_path / "new").iterdir()) == ["site", "site-hub"]


def contents(directory):
    return {path: path.read_bytes() if path.is_file() else None for path in directory.rglob("*")}


@pytest.mark.parametrize("fresh", [[], ["--fresh"]], ids=["", "fresh"])
@pytest.mark.parametrize("whose", ["site", "site-hub"])
@pytest.mark.parametrize("holds", ["nothing", "a real BBS"])
def test_a_directory_that_is_no_sample_site_is_left_alone(tmp_path, holds, whose, fresh):
    (tmp_path / whose).mkdir()
    if holds != "nothing":
        (tmp_path / whose / "CVTOSS32.CFG").write_text("MSGDIR .\n")
    before = contents(tmp_path)
    done = call(*fresh, "site", cwd=tmp_path)
    assert (done.returncode, done.stdout) == (
        1, f"script/demo: {whose} is there, and is no site that script/demo has made\n")
    assert contents(tmp_path) == before


def test_a_file_in_the_place_of_the_site_is_refused_as_well(tmp_path):
    (tmp_path / "site").write_text("mine")
    done = call("--fresh", "site", cwd=tmp_path)
    assert done.returncode == 1 and "site is there, and is no site that" in done.stdout
    assert (tmp_path / "site").read_text() == "mine"
