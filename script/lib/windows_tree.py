"""Lays out the content of a Windows package: the programs, the ready files, and the documents as text with CR LF.

    windows_tree.py PLATFORM PROGRAMS DIRECTORY     PLATFORM is windows-x64 or windows-x86
    windows_tree.py installer DIRECTORY             the files below it, as the installer's script includes them
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys

import package_facts
from package_facts import ROOT

LINK = re.compile(r"(?<=\]\()([\w./-]+)\.md(?=[#)])")
PICTURE = re.compile(r"(?m)^!\[.*\]\(.*\)\n\n?")
READY = ["packaging/cvtoss32-exchange.cmd", "packaging/cvtoss32-task.xml", "examples/CVTOSS32.CFG"]


def write_text(path, text):
    """Adds the byte order mark of UTF-8 unless the text is ASCII: older editors assume another code page."""
    path.parent.mkdir(parents=True, exist_ok=True)
    text = text.replace("\r\n", "\n").replace("\n", "\r\n")
    path.write_bytes(text.encode("ascii" if text.isascii() else "utf-8-sig"))


def lay_out(platform, programs, target):
    for name in ("cvtoss32.exe", "cvkit.exe"):
        target.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(programs / name, target / name)
    for name in READY:
        write_text(target / name, (ROOT / name).read_text(encoding="utf-8"))
    for document in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), ROOT / "LICENSE"]:
        text = PICTURE.sub("", document.read_text(encoding="utf-8"))
        text = LINK.sub(r"\1.txt", text).replace("(LICENSE)", "(LICENSE.txt)")
        write_text((target / document.relative_to(ROOT)).with_suffix(".txt"), text)
    for page in ROOT.glob("docs/*.[15]"):
        shown = subprocess.run(["groff", "-man", "-Tascii", "-rLL=78n", "-P-cbou", page], stdout=subprocess.PIPE,
                               text=True, check=True).stdout
        write_text(target / "docs" / f"{page.stem}.txt", shown)
    for name, text in package_facts.licences(platform):
        write_text(target / "licences" / f"{name}.txt", text)
    write_text(target / "sbom.spdx.json", json.dumps(package_facts.sbom(platform), indent=2) + "\n")


def installer(directory):
    """Two macros: one installs every file, the other removes them and the directories that are then empty."""
    files = sorted(path.relative_to(directory) for path in directory.rglob("*") if path.is_file())
    folders = sorted({path.parent for path in files if path.parent.name})

    def windows(path):
        return str(path).replace("/", "\\")

    yield f"!macro INSTALL_{directory.name}"
    for folder in [pathlib.Path(), *folders]:
        yield f'  SetOutPath "$INSTDIR\\{windows(folder)}"' if folder.name else '  SetOutPath "$INSTDIR"'
        yield from (f'  File "{directory / file}"' for file in files if file.parent == folder)
    yield "!macroend"
    yield f"!macro REMOVE_{directory.name}"
    yield from (f'  Delete "$INSTDIR\\{windows(file)}"' for file in files)
    yield from (f'  RMDir "$INSTDIR\\{windows(folder)}"' for folder in reversed(folders))
    yield "!macroend"


if __name__ == "__main__":
    if sys.argv[1] == "installer":
        print("\n".join(installer(pathlib.Path(sys.argv[2]))))
    else:
        lay_out(sys.argv[1], *map(pathlib.Path, sys.argv[2:]))
