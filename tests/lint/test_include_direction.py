"""Which folder of src may include which.

    app/main, app/command_line -> toss, scan, check -> bbs -> app services -> ftn -> base -> platform

A file may include files of its own step and of those to its right, but the three runs (toss, scan, check) must not
include each other. src/kit, the companion, is on the step of the entry; of the runs it may include only what reads and
judges. "App services" are the files of src/app except main and command_line.
"""

from source_tree import SRC, fail_on, files_under, includes_of, shown

STEPS = {"platform": 0, "base": 1, "ftn": 2, "services": 3, "bbs": 4, "toss": 5, "scan": 5, "check": 5, "entry": 6,
         "kit": 6}
ENTRY = ("app/main", "app/command_line")
# The files of the three runs that cvkit may use: those that only read and judge, and neither log nor write.
FOR_KIT = ("toss/inbound_listing.h", "toss/inbound_message.h", "toss/inbound_text.h", "toss/route_judge.h")


def group_of(name):
    """The group of a file name relative to src/, or None when the folder is not known."""
    folder = name.split("/")[0]
    if folder == "app":
        return "entry" if name.rsplit(".", 1)[0] in ENTRY else "services"
    return folder if folder in STEPS else None


def may_include(group, other, name=""):
    if group == "kit" and STEPS[other] == 5:
        return name in FOR_KIT
    return group == other or STEPS[other] < STEPS[group]


def test_every_file_has_its_place():
    fail_on([f"{shown(path)}: in no known folder" for path in files_under("src")
             if group_of(path.relative_to(SRC).as_posix()) is None])


def test_quoted_includes_name_a_file_of_src():
    fail_on([f'{shown(path)}:{number}: "{quoted}" is no file under src/ (write the path from there)'
             for path in files_under("src") for number, quoted, _ in includes_of(path)
             if quoted and not (SRC / quoted).is_file()])


def test_includes_point_one_way():
    complaints = []
    for path in files_under("src"):
        group = group_of(path.relative_to(SRC).as_posix())
        for number, quoted, _ in includes_of(path):
            other = quoted and group_of(quoted)
            if group and other and not may_include(group, other, quoted):
                complaints.append(f'{shown(path)}:{number}: {group} must not include "{quoted}" of {other}')
    fail_on(complaints)


def test_the_rule_itself():
    assert may_include("entry", "toss") and may_include("toss", "bbs") and may_include("bbs", "services")
    assert may_include("services", "ftn") and may_include("ftn", "base") and may_include("scan", "scan")
    assert not may_include("toss", "scan") and not may_include("check", "toss")
    assert not may_include("platform", "base") and not may_include("base", "ftn") and not may_include("services", "bbs")
    assert may_include("kit", "bbs") and may_include("kit", "toss", "toss/route_judge.h")
    assert not may_include("kit", "entry") and not may_include("entry", "kit") and not may_include("toss", "kit")
    assert not may_include("kit", "toss", "toss/toss_run.h") and not may_include("kit", "check", "check/check_run.h")
    assert group_of("app/config.h") == "services" and group_of("app/command_line.h") == "entry"
