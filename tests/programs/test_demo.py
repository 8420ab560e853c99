"""script/demo, the first impression: it works, and it tells of every kind of mail it promises."""

import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]


def demo(*arguments):
    done = subprocess.run([ROOT / "script" / "demo", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          encoding="utf-8", check=False)
    assert done.returncode == 0, done.stdout
    return done.stdout


def test_first_call_then_second_call_then_fresh(tmp_path):
    site = tmp_path / "site"
    first = demo(site)
    assert first.count("-check PASSED") == 3
    assert "4 file(s) processed" in first
    assert "Ignored 1 unrelated inbound file(s)" in first
    assert first.count("already seen in conf") == 1
    assert "AREA:WINTER.SPORTS has no matching conference -- parked in catch-all conf 6" in first
    assert "copy for review in badmsgs/BAD_" in first
    assert "5c3e1b07.pkt       packet, 1 message                    moved to processed" in first
    assert "network-news.txt   neither bundle nor packet            left in place" in first
    assert '"Crème brûlée à la française ? ' not in first and '"Crème brûlée à la française - "très léger"' in first
    assert "2  FIDO_TECH   Questions of mail and modems  5 messages, 2 new" in first
    assert "2 message(s) exported" in first
    assert re.search(r"\n +[1-9]\d* +[\d-]+ [\d:]+ +[0-9a-f]{8}\.pkt\n", first), "the bundle is not listed"
    hub = first[first.index("carries 1 bundle(s) to the hub"):]
    parent, reply = hub.index("#1 Wendell Pike to All: Which modem"), hub.index("+    #2 Sysop to Wendell Pike")
    assert parent < reply, "the reply did not arrive under its parent"
    assert "+ #1 Sysop to Tilda Marsh: Feed for two more areas" in hub

    second = demo(site)
    assert second.count("already seen in conf") == 8
    assert not re.search(r", \d+ new\n", second), "the second call stored something again"
    assert "Nothing to export" in second
    assert "carries 0 bundle(s)" in second

    fresh = demo("--fresh", site)
    assert fresh.count("already seen in conf") == 1
    assert "carries 1 bundle(s)" in fresh


def test_only_a_sample_site_is_ever_removed(tmp_path):
    precious = tmp_path / "site" / "mail"
    precious.mkdir(parents=True)
    done = subprocess.run([ROOT / "script" / "demo", "--fresh", precious.parent], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, encoding="utf-8", check=False)
    assert done.returncode == 1
    assert "is no sample site; not removing it" in done.stdout
    assert precious.is_dir()
