#!/usr/bin/env python3
"""Runs clang-tidy over the sources of a build and writes the outcome as JUnit XML.

    run_clang_tidy.py BUILD_DIRECTORY RESULT_XML

A clean file is not checked again until it, a header, its compile command, the checks or clang-tidy change: clean
files are recorded under BUILD_DIRECTORY/clang-tidy.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
from xml.sax.saxutils import escape, quoteattr

from source_tree import ROOT, SRC, files_under, shown


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    return done.returncode, done.stdout


def common_state():
    """The state on which every file's result depends: the tool, the checks and all headers."""
    state = hashlib.sha256(run("clang-tidy", "--version")[1].encode())
    for path in [ROOT / ".clang-tidy", *files_under("src", suffixes=(".h",))]:
        state.update(shown(path).encode() + b"\0" + path.read_bytes())
    return state.digest()


def sources_of(entry):
    """The sources that a command of the build compiles: several where they are compiled as one."""
    path = pathlib.Path(entry["directory"], entry["file"])
    found = [path]
    if path.is_file() and SRC not in path.parents:
        found = [pathlib.Path(name) for name in re.findall(r'(?m)^#include "(/.*\.cc)"$', path.read_text())]
    return [source for source in found if SRC in source.parents]


def check(entry, sources, build, state):
    """(sources, complaints): complaints is empty when they are clean."""
    path = pathlib.Path(entry["directory"], entry["file"])
    content = b"".join(source.read_bytes() for source in sources)
    key = hashlib.sha256(state + entry["command"].encode() + content).hexdigest()
    clean = build / "clang-tidy" / key
    if clean.exists():
        return sources, ""
    together = ["--checks=-bugprone-suspicious-include", r"--header-filter=.*/src/.*\.(h|cc)$"]
    if sources == [path]:
        together = []
    status, output = run("clang-tidy", "--quiet", "-p", str(build), *together, str(path))
    if status == 0:
        clean.touch()
        return sources, ""
    return sources, output or f"clang-tidy ended with status {status}"


def main():
    build, results = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    (build / "clang-tidy").mkdir(exist_ok=True)
    state = common_state()
    entries = [(entry, sources) for entry in json.loads((build / "compile_commands.json").read_text())
               if (sources := sources_of(entry))]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        outcomes = sorted(pool.map(lambda job: check(*job, build, state), entries))

    xml = ["<testsuite name='clang-tidy'>"]
    for sources, complaints in outcomes:
        xml.append(f"<testcase name={quoteattr(', '.join(map(shown, sources)))}>")
        if complaints:
            print(complaints)
            xml.append(f"<failure>{escape(complaints)}</failure>")
        xml.append("</testcase>")
    results.write_text("\n".join([*xml, "</testsuite>\n"]))
    return 1 if any(complaints for _, complaints in outcomes) else 0


if __name__ == "__main__":
    sys.exit(main())
