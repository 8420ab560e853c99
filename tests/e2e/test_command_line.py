"""Command line and modes: the order in which files are read, and what ends a run before it starts."""

import subprocess

import pytest

from formats.conference_table import echo
from harness.compare import assert_refused, assert_run, banner, head, tail
from harness.target import WINDOWS

USAGE = [
    "  -toss   inbound: scan packets into the Corvane message base",
    "  -scan   outbound: scan the message base and build packets to send",
    "  -check  read-only: validate config, node status, and FTN message bases",
    "With no config-file-path, looks for CVTOSS32.CFG in the current directory.",
]
INBOUND_MISSING = "Config missing required INBOUND directive (needed for -toss)"
CONFDIR_MISSING = "Config missing required CONFDIR directive"
MSGDIR_MISSING = "Config missing required MSGDIR directive"
SCAN_MISSING = [
    "Config missing required ADDRESS directive (needed for -scan)",
    "Config missing required HUB directive (needed for -scan)",
    "Config missing required SYSTEM directive (needed for -scan)",
    CONFDIR_MISSING,
    MSGDIR_MISSING,
    "Config missing required OUTDIR directive (needed for -scan)",
]
SCAN_CONFIG = "ADDRESS 2:250/1\nHUB 2:250/0\nSYSTEM Here\nCONFDIR CONF\nMSGDIR MSG\nOUTDIR OUT\n"


def unknown(mode: str) -> str:
    return f"Unknown mode '{mode}' -- expected -toss, -scan, or -check"


def test_no_argument_shows_the_usage_without_reading_a_configuration(site):
    site.config("ADDRESS nonsense\n")
    run = site.run()
    first, *others = run.stderr.split("\n")
    if WINDOWS:
        assert first.startswith("Usage: ") and first.endswith("cvtoss32.exe -toss|-scan|-check [config-file-path]")
    else:
        assert first == f"Usage: {site.program} -toss|-scan|-check [config-file-path]"
    assert others == [*USAGE, ""]
    assert run.lines == []
    assert run.status == 1
    assert not site.path("TOSSER.LOG").exists()


@pytest.mark.skipif(WINDOWS, reason="POSIX only: the caller chooses the program's own name freely there")
def test_usage_names_the_program_as_it_was_called(site):
    done = subprocess.run(["toss it"], executable=site.program, cwd=site.root, stderr=subprocess.PIPE, check=False)
    assert done.stderr.split(b"\n")[0] == b"Usage: toss it -toss|-scan|-check [config-file-path]"
    assert done.returncode == 1


def test_modes_are_compared_exactly_and_case_counts(site):
    before = site.snapshot()
    for mode in ("-TOSS", "-Toss", "toss", "--toss", "-tos", "-tosss", "-toss ", "-SCAN", "-CHECK", "", "%s%n"):
        assert_refused(site.run(mode), unknown(mode))
    assert site.snapshot() == before
    assert not site.path("TOSSER.LOG").exists()


def test_an_unknown_mode_is_reported_only_for_a_configuration_that_loads(site):
    site.config("ADDRESS x\n")
    assert_refused(site.run("-TOSS"), "Invalid ADDRESS value: x")
    site.path("CVTOSS32.CFG").unlink()
    assert_refused(site.run("-TOSS"), "Could not open config file: CVTOSS32.CFG")


def test_an_unknown_mode_needs_no_directive(site):
    site.config("")
    assert_refused(site.run("-what"), unknown("-what"))


def test_toss_names_every_missing_directive_inbound_first(site):
    site.config("OUTDIR OUT\n")
    assert_refused(site.run("-toss"), INBOUND_MISSING, CONFDIR_MISSING, MSGDIR_MISSING)
    site.config("CONFDIR CONF\n")
    assert_refused(site.run("-toss"), INBOUND_MISSING, MSGDIR_MISSING)
    site.config("INBOUND IN\nMSGDIR MSG\n")
    assert_refused(site.run("-toss"), CONFDIR_MISSING)
    assert not site.path("TOSSER.LOG").exists()


def test_scan_names_every_missing_directive_in_order(site):
    site.config("")
    assert_refused(site.run("-scan"), *SCAN_MISSING)
    directives = SCAN_CONFIG.splitlines()
    for index, message in enumerate(SCAN_MISSING):
        site.config("\n".join(directives[:index] + directives[index + 1 :]))
        assert_refused(site.run("-scan"), message)
    assert not site.path("TOSSER.LOG").exists()


def test_scan_without_msgdir_and_outdir_names_msgdir_first(site):
    site.config("ADDRESS 2:250/1\nHUB 2:250/0\nSYSTEM Here\nCONFDIR CONF\n")
    assert_refused(site.run("-scan"), SCAN_MISSING[4], SCAN_MISSING[5])


def test_check_needs_confdir_and_msgdir_only(site):
    site.config("INBOUND IN\nOUTDIR OUT\nADDRESS 1:2/3\nHUB 1:2/3\nSYSTEM x\n")
    assert_refused(site.run("-check"), CONFDIR_MISSING, MSGDIR_MISSING)
    site.config("CONFDIR CONF\nMSGDIR MSG\n")
    site.conferences(echo("FIDO"))
    run = site.run("-check")
    assert run.stderr == ""
    assert run.lines != []


def test_toss_needs_neither_outdir_nor_addresses(site):
    site.config("INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\n")
    site.conferences(echo("FIDO"))
    assert_run(site.run("-toss"), 0, head(1) + tail(0))


def test_a_directive_that_was_refused_is_an_error_and_not_a_missing_one(site):
    site.config("INBOUND\nCONFDIR CONF\n")
    assert_refused(site.run("-toss"), "Config directive INBOUND has an empty value")


def test_second_argument_names_the_configuration_and_others_are_ignored(site):
    site.config("ADDRESS broken\n")
    site.write("cfg/a.cfg", "INBOUND IN\nCONFDIR CONF\nMSGDIR MSG\n")
    site.conferences(echo("FIDO"))
    assert_run(site.run("-toss", "cfg/a.cfg", "extra", "-scan"), 0, head(1) + tail(0))


def test_a_named_configuration_that_is_not_there_is_an_error(site):
    assert_refused(site.run("-toss", "no/such.cfg"), "Could not open config file: no/such.cfg")
    assert_refused(site.run("-toss", ""), "Could not open config file: ")


def test_configuration_is_looked_for_in_the_current_directory_not_beside_the_program(site):
    (site.root / "elsewhere").mkdir()
    run = site.run("-toss", cwd=site.root / "elsewhere", log=False)
    assert_refused(run, "Could not open config file: CVTOSS32.CFG")


def test_a_run_that_does_not_get_the_lock_leaves_it_alone(site):
    site.conferences(echo("FIDO"))
    site.write("MSG/CVTOSS.BSY", "somebody\n")
    before = site.snapshot()
    run = site.run("-toss")
    assert run.status == 1
    assert run.lines[:3] == banner()
    assert site.snapshot() == before
