"""The program itself: help, version and usage errors; the manual and the completions agree with it."""

import re

import pytest
from harness.kit import Kit, commands_of, options_of
from harness.target import ROOT, posix_only

kit_alone = Kit()


def test_the_version_is_the_tossers():
    assert kit_alone("--version").text == "cvkit 1.05 Beta 5\n"


@pytest.mark.parametrize("arguments", [(), ("--frobnicate",), ("frobnicate",)])
def test_invalid_arguments_end_with_status_2(arguments):
    answer = kit_alone(*arguments, status=2)
    assert answer.text == "" and answer.errors.endswith("\n")


@posix_only("the completions are for the shells of POSIX systems")
def test_manual_and_completions_know_every_command_and_option():
    manual = (ROOT / "docs" / "cvkit.1").read_text(encoding="ascii")
    bash = (ROOT / "packaging" / "cvkit.bash").read_text(encoding="ascii")
    fish = (ROOT / "packaging" / "cvkit.fish").read_text(encoding="ascii")
    commands = commands_of(kit_alone)
    assert re.search(r'commands="([^"]*)"', bash).group(1).split() == commands
    assert re.findall(r"(?m)^complete .*__fish_use_subcommand -a (\w+)", fish) == commands
    for command in [*commands, None]:
        options = options_of(kit_alone, *([command] if command else []))
        assert "--help" in options
        by_bash = re.search(rf'(?m)^ *{command or "[*]"}\) options="([^"]*)"', bash).group(1).split()
        condition = f'"__fish_seen_subcommand_from {command}"' if command else "__fish_use_subcommand"
        by_fish = re.findall(rf"(?m)^complete -c cvkit .*{re.escape(condition)} -l ([a-z-]+)", fish)
        assert sorted(by_bash) == sorted(options)
        assert sorted(f"--{option}" for option in by_fish) == sorted(options)
        section = manual.partition(f'.SS "{command}')[2].partition("\n.S")[0] if command else manual
        missing = [option for option in options if option not in ("--help", "--config", "--json")
                   and option.replace("-", r"\-") not in section]
        assert not missing, f"not in the manual: {missing}"
