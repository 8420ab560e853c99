"""A configuration cut at every length and with every bit flipped: what its lines then say, or the errors in them."""

import pytest

from harness.compare import BANNER as TOSS_BANNER
from harness.compare import DELETED, KEPT, assert_refused
from harness.config_reading import ConfigReading, read_config
from harness.scan import BANNER as SCAN_BANNER
from harness.shrinking import Damage, cuts, damages, flips, some_under_wine
from harness.site import LOG, Site
from harness.start_up import no_lock

CHECK_BANNER = "=== cvtoss32 v1.05 Beta 5 -check starting (read-only diagnostics) ==="
SAMPLE = (
    b"; Us\r\nINBOUND n/ni\nCONFDIR ncf\nMSGDIR nms\r\nOUTDIR nou\nWORKDIR nwk\n"
    b"ADDRESS 2:25/1.7\nHUB 2:2/9\nSYSTEM Us\nKEEPPROCESSED no\nPKTPW pw\n"
)
"""Directories that are not there, so that a run names them and comes to its end without a touch of the site."""


def check_lines(config: ConfigReading) -> list[str]:
    """All lines of a check in which every directory is missing."""
    conf, work, msg = (config.texts[name] for name in (b"CONFDIR", b"WORKDIR", b"MSGDIR"))
    missing = [name for name in (b"CONFDIR", b"WORKDIR", b"MSGDIR", b"INBOUND", b"OUTDIR") if name in config.texts]
    lines = [CHECK_BANNER, f"Config dir: {conf}   Work dir: {work}   Message dir: {msg}"]
    lines += [
        f"ERROR: {name.decode()} does not exist or is not a directory: {config.texts[name]}" for name in missing
    ]
    lines.append(f"ERROR: could not open {work}/CVWHOSON.DAT to verify that all Corvane nodes are free")
    for name, title in ((b"ADDRESS", "Local"), (b"HUB", "Hub")):
        if name in config.addresses:
            lines.append("%s FTN address: %d:%d/%d.%d" % (title, *config.addresses[name]))
    if b"SYSTEM" in config.texts:
        lines.append(f"Origin system name: {config.texts[b'SYSTEM']}")
    return [*lines, f"=== cvtoss32 -check FAILED: {len(missing) + 1} issue(s) require attention ==="]


def toss_lines(config: ConfigReading) -> list[str]:
    inbound, conf, work, msg = (config.texts[name] for name in (b"INBOUND", b"CONFDIR", b"WORKDIR", b"MSGDIR"))
    directories = f"Inbound dir: {inbound}   Config dir: {conf}   Work dir: {work}   Message dir: {msg}"
    return [TOSS_BANNER, directories, KEPT if config.keeps else DELETED, *no_lock(msg)]


def scan_lines(config: ConfigReading) -> list[str]:
    conf, work, msg, out = (config.texts[name] for name in (b"CONFDIR", b"WORKDIR", b"MSGDIR", b"OUTDIR"))
    ours, hub = ("%d:%d/%d" % config.addresses[name][:3] for name in (b"ADDRESS", b"HUB"))
    packet = "password-protected" if b"PKTPW" in config.texts else "no password set"
    return [
        SCAN_BANNER,
        f"Config dir: {conf}   Work dir: {work}   Message dir: {msg}   Outbound dir: {out}",
        f"Our address: {ours}   Hub address: {hub}   System name: {config.texts[b'SYSTEM']}   Packet: {packet}",
        no_lock(msg)[0],
        f"Aborting: another cvtoss32 -toss/-scan instance appears to be running ({msg}/CVTOSS.BSY)",
    ]


LINES = {"-check": check_lines, "-toss": toss_lines, "-scan": scan_lines}


def assert_read(site: Site, mode: str, damage: Damage) -> None:
    """The run says what follows from the damaged bytes."""
    name, data = damage
    site.config(data)
    site.path(LOG).unlink(missing_ok=True)
    config = read_config(data, mode)
    run = site.run(mode)
    if config.refused:
        assert_refused(run, *config.messages)
        return
    assert run.stderr.split("\n") == [*config.messages, ""], name
    assert run.lines == LINES[mode](config), name
    assert run.status == 1, name


def assert_nothing_touched(site: Site) -> None:
    left = {path.name for path in site.root.iterdir()}
    assert left - {LOG} == {"CVTOSS32.CFG", "IN", "CONF", "MSG", "OUT", site.program.name}


def test_the_sample_says_what_was_meant():
    config = read_config(SAMPLE, "-scan")
    assert (config.messages, config.refused, config.keeps) == ([], False, False)
    assert config.addresses == {b"ADDRESS": (2, 25, 1, 7), b"HUB": (2, 2, 9, 0)}
    names = (b"INBOUND", b"CONFDIR", b"MSGDIR", b"OUTDIR", b"WORKDIR", b"SYSTEM", b"PKTPW")
    assert config.texts == dict(zip(names, ("n\\ni", "ncf", "nms", "nou", "nwk", "Us", "pw")))


def test_a_check_reads_a_damaged_configuration_as_it_then_stands(site):
    for damage in some_under_wine(damages(SAMPLE), 13):
        assert_read(site, "-check", damage)
    assert_nothing_touched(site)


@pytest.mark.parametrize("mode", ["-toss", "-scan"])
def test_a_run_that_could_write_reads_a_damaged_configuration_as_it_then_stands(site, mode):
    end = SAMPLE.index(b"KEEPPROCESSED")
    for damage in some_under_wine(cuts(SAMPLE) + flips(SAMPLE, end), 13):
        assert_read(site, mode, damage)
    assert_nothing_touched(site)
