"""Programs, manual pages, documents and changelog have the same version."""

import re

import package_facts
import pytest
from source_tree import ROOT

HEADER = (ROOT / "src/app/version.h").read_text(encoding="utf-8")
VERSION, LABEL = re.search(r'kVersion\[\] = "(.*)";\n.*kReleaseLabel\[\] = "(.*)";', HEADER).groups()
PAGES = sorted((ROOT / "docs").glob("*.[15]"))
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("packaging/*")])


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_a_manual_page_names_the_programs_version(page):
    title = re.match(r'\.TH \S+ [15] "\d{4}-\d\d-\d\d" "(.*?)" ', page.read_text(encoding="ascii"))
    assert title and title.group(1) == f"cvtoss32 {VERSION} {LABEL}"


def test_every_document_that_names_a_version_names_this_one():
    named = [(path.name, version) for path in DOCUMENTS if path.is_file()
             for version in re.findall(r"(\d\.\d\d Beta \d+)", path.read_text(encoding="utf-8"))]
    assert named and {version for _, version in named} == {f"{VERSION} {LABEL}"}
    assert f"VERSION {VERSION} " in (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")


def test_the_changelog_has_releases_newest_first_each_with_its_number_its_date_and_changes():
    releases = [release for release in package_facts.releases() if release[0] != "Unreleased"]
    numbers = [tuple(map(int, number.split("."))) for number, _, _ in releases]
    assert numbers == sorted(set(numbers), reverse=True) and all(len(number) == 3 for number in numbers)
    dates = [date for _, date, _ in releases]
    assert dates == sorted(dates, reverse=True) and all(entries for _, _, entries in releases)
    kinds = set(re.findall(r"(?m)^### (.*)$", (ROOT / "CHANGELOG.md").read_text(encoding="utf-8")))
    assert kinds <= {"Added", "Changed", "Deprecated", "Removed", "Fixed", "Security"}


def test_no_document_names_the_number_of_a_release_that_will_be_outdated():
    number = re.compile(r"cvtoss32[-_]\d+\.\d+")
    assert [path.name for path in DOCUMENTS if path.is_file() and number.search(path.read_text(encoding="utf-8"))] == []
