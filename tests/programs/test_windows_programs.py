"""The Windows programs need no other files: every DLL that they import is one of Windows."""

import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
OF_WINDOWS = re.compile(r"(kernel32|advapi32|msvcrt|ntdll|user32|ucrtbase|api-ms-win-crt-[a-z0-9-]+)\.dll")


def check(folder, name, architecture, objdump):
    program = ROOT / "build" / folder / f"{name}.exe"
    assert program.is_file()
    dump = subprocess.run([objdump, "-x", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    assert f"file format {architecture}" in dump
    dlls = re.findall(r"DLL Name: (\S+)", dump)
    assert dlls, "no import table was found"
    assert [dll for dll in dlls if not OF_WINDOWS.fullmatch(dll.lower())] == []
    assert "(Windows CUI)" in dump, "not a console program"


@pytest.mark.parametrize("name", ["cvtoss32", "cvkit"])
def test_64_bit_program_stands_alone(name):
    check("windows", name, "pei-x86-64", "x86_64-w64-mingw32-objdump")


@pytest.mark.parametrize("name", ["cvtoss32", "cvkit"])
def test_32_bit_program_stands_alone(name):
    check("windows32", name, "pei-i386", "i686-w64-mingw32-objdump")
