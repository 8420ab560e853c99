"""Facts for the packages: version, changes, licences and parts.

    package_facts.py version              the newest release of CHANGELOG.md, with "+dev" when there are changes since
    package_facts.py epoch                the first moment of its day (UTC), in seconds since 1970
    package_facts.py debian-changelog     its releases in Debian's form
    package_facts.py sbom PLATFORM        the parts of the programs for linux, windows-x64 or windows-x86, as SPDX JSON
    package_facts.py licences PLATFORM DIRECTORY   puts the licences of these parts there
"""

import calendar
import datetime
import json
import pathlib
import re
import subprocess
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parents[2]
MAINTAINER = "The cvtoss32 maintainers <cvtoss32@example.invalid>"
SECTION = re.compile(r"(?m)^## \[(?P<name>[^]]+)\](?: - (?P<date>\d{4}-\d\d-\d\d))?$")
NUMBER = re.compile(r"\d+\.\d+\.\d+")

# name, licence, Debian package that it is taken from
HEADERS = [
    ("CLI11", "BSD-3-Clause", "libcli11-dev"),
    ("fmt", "MIT", "libfmt-dev"),
    ("nlohmann-json", "MIT", "nlohmann-json3-dev"),
]
ZLIB = {"linux": "zlib1g-dev", "windows": "libz-mingw-w64-dev"}
MACHINES = {"x64": "x86-64", "x86": "i686"}


def releases():
    """(name, date or None, entries) of each section of the changelog, the newest first."""
    text = (ROOT / "CHANGELOG.md").read_text(encoding="utf-8")
    sections = list(SECTION.finditer(text))
    for section, following in zip(sections, sections[1:] + [None]):
        body = text[section.end():following.start() if following else None]
        entries = re.findall(r"(?m)^- ((?:.+\n)(?:  .+\n)*)", body)
        yield section["name"], section["date"], [" ".join(entry.split()) for entry in entries]


def version_and_date():
    unreleased = ""
    for name, date, entries in releases():
        if name == "Unreleased":
            unreleased = "+dev" if entries else ""
        elif NUMBER.fullmatch(name) and date:
            return name + unreleased, date
        else:
            raise SystemExit(f"CHANGELOG.md: '{name}' is no release number with its date")
    raise SystemExit("CHANGELOG.md: no release")


def epoch(date):
    return calendar.timegm(datetime.date.fromisoformat(date).timetuple())


def debian_changelog():
    newest, newest_date = version_and_date()
    for name, date, entries in releases():
        if name == "Unreleased" and not entries:
            continue
        yield f"cvtoss32 ({name if date else newest}) unstable; urgency=medium\n"
        for entry in entries:
            yield textwrap.fill(entry, 78, initial_indent="  * ", subsequent_indent="    ")
        day = datetime.date.fromisoformat(date or newest_date)
        yield f"\n -- {MAINTAINER}  {day:%a, %d %b %Y} 00:00:00 +0000\n"


def installed(package):
    return subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], stdout=subprocess.PIPE, text=True,
                          check=True).stdout


def upstream(version):
    """A Debian version without the package's epoch, repacking suffix and revision."""
    return re.sub(r"^\d+:|[.+]dfsg.*|[-+].*", "", version)


def linked(platform):
    """(name, licence, Debian package, relationship) of each part of the programs except their own code."""
    system, _, bits = platform.partition("-")
    for header in HEADERS:
        yield *header, "STATIC_LINK"
    yield "zlib", "Zlib", ZLIB[system], "STATIC_LINK" if bits else "DYNAMIC_LINK"
    if bits:  # what the compiler links into every program
        yield ("gcc-runtime", "GPL-3.0-or-later WITH GCC-exception-3.1", f"g++-mingw-w64-{MACHINES[bits]}-posix",
               "STATIC_LINK")
        yield "mingw-w64-runtime", "ZPL-2.1 AND MIT", f"mingw-w64-{MACHINES[bits]}-dev", "STATIC_LINK"


def licences(platform):
    """(name, text) of the licence of each part."""
    for name, _, package, _ in linked(platform):
        yield name, pathlib.Path("/usr/share/doc", package, "copyright").read_text(encoding="utf-8")


def part(name, version, licence, **more):
    return {"SPDXID": f"SPDXRef-{re.sub('[^A-Za-z0-9.-]', '-', name)}", "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION"} | more


def sbom(platform):
    version, date = version_and_date()
    own = part("cvtoss32", version, "MIT", supplier=f"Organization: {MAINTAINER.split(' <')[0]}")
    parts, relationships = [own], [("SPDXRef-DOCUMENT", "DESCRIBES", own["SPDXID"])]
    for name, licence, package, relation in linked(platform):
        made_from = installed(package)
        parts.append(part(name, upstream(made_from), licence, supplier="Organization: Debian",
                          sourceInfo=f"Debian package {package} {made_from}"))
        relationships.append((own["SPDXID"], relation, parts[-1]["SPDXID"]))
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"cvtoss32-{version}-{platform}",
        "documentNamespace": f"https://cvtoss32.example.invalid/spdx/{version}/{platform}",
        "creationInfo": {"created": f"{date}T00:00:00Z", "creators": ["Tool: script/package"]},
        "packages": parts,
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
                          for one, kind, other in relationships],
    }


def main(what, *arguments):
    if what == "version":
        print(version_and_date()[0])
    elif what == "epoch":
        print(epoch(version_and_date()[1]))
    elif what == "debian-changelog":
        print("\n".join(debian_changelog()), end="")
    elif what == "licences":
        platform, directory = arguments
        pathlib.Path(directory).mkdir(parents=True, exist_ok=True)
        for name, text in licences(platform):
            pathlib.Path(directory, f"{name}.txt").write_text(text, encoding="utf-8")
    elif what == "sbom":
        print(json.dumps(sbom(*arguments), indent=2))
    else:
        raise SystemExit(__doc__)


if __name__ == "__main__":
    main(*sys.argv[1:])
