"""cvkit report: the page has the right contents, and a browser shows all of it."""

import datetime
import re
import shutil
import subprocess
from html.parser import HTMLParser
from pathlib import Path

import pytest
from formats.conference_table import Conference, echo
from formats.conference_table import netmail as netmail_conference
from formats.message_base import DAT_LIMIT
from formats.packet import Packet, echomail, netmail
from harness.browser import Browser
from harness.history import CONFERENCES, DAYS, NETMAIL, TODAY, History, clock
from harness.kit import Kit
from harness.site import Site
from harness.target import PROGRAM, ROOT, WINDOWS, posix_only

GUIDE = (ROOT / "docs" / "operators-guide.md").read_text(encoding="utf-8")
PROBE = Path(__file__).with_name("page_probe.js").read_text(encoding="utf-8")
NOON = f"{TODAY} 12:00:00"


class Page(HTMLParser):
    """The parsed page: its elements must be closed in order; `rows` of each table by its class."""

    EMPTY = {"meta"}

    def __init__(self, text: str):
        super().__init__()
        self.open: list[str] = []
        self.names: set[str] = set()
        self.attributes: set[str] = set()
        self.tables: dict[str, list[list[str]]] = {}
        self.titles: list[str] = []
        self.table = ""
        self.text = ""
        self.feed(text)
        self.close()
        assert self.open == []

    def handle_starttag(self, tag, attrs):
        self.names.add(tag)
        self.attributes |= {name for name, _ in attrs}
        if tag == "table":
            self.table = dict(attrs)["class"]
            self.tables[self.table] = []
        if tag == "tr":
            self.tables[self.table].append([])
        if tag in ("td", "th"):
            self.tables[self.table][-1].append("")
        if tag == "title":
            self.titles.append("")
        if tag not in self.EMPTY:
            self.open.append(tag)

    def handle_startendtag(self, tag, attrs):
        self.names.add(tag)
        self.attributes |= {name for name, _ in attrs}

    def handle_endtag(self, tag):
        assert self.open.pop() == tag

    def handle_data(self, data):
        if self.open and self.open[-1] == "title":
            self.titles[-1] += data
        elif not {"style", "title"} & set(self.open):
            self.text += data
            if {"td", "th"} & set(self.open):
                self.tables[self.table][-1][-1] += data.replace("\xa0", " ")


@pytest.fixture(scope="module")
def history(tmp_path_factory):
    made = History(Site(tmp_path_factory.mktemp("history") / "site"))
    made.make()
    return made


@pytest.fixture(scope="module")
def page_file(history, tmp_path_factory):
    path = tmp_path_factory.mktemp("page") / "report.html"
    Kit(history.site)("report", "-o", path, status=1, **clock(NOON))
    return path


@pytest.fixture(scope="module")
def browser(tmp_path_factory):
    with Browser(tmp_path_factory.mktemp("browser")) as started:
        yield started


def plain(number: int) -> str:
    return f"{number:,}"


faketime = pytest.mark.skipif(
    WINDOWS or b"__asan_init" in PROGRAM.read_bytes(),
    reason="the clock is moved by a library that is loaded before the program, and the sanitizer's has to be first")


@faketime
def test_the_sums_of_three_months(history, page_file):
    facts = Kit(history.site)("report", "--json", status=1, **clock(NOON)).json
    begin = TODAY - datetime.timedelta(DAYS - 1)
    dates = [str(begin + datetime.timedelta(day)) for day in range(DAYS)]
    words = ("in", "out", "duplicates", "dropped", "damaged")
    assert facts["days"] == [{"date": date, **{word: history.days[date][word] for word in words}} for date in dates]
    page = Page(page_file.read_text(encoding="utf-8"))
    weeks = page.tables["weeks"]
    assert weeks[-1] == ["All", *(plain(history.sum(word)) for word in words)]
    last = dates[-7:]
    assert weeks[1] == [last[0], *(plain(sum(history.days[date][word] for date in last)) for word in words)]
    bars = {title for title in page.titles if re.match(r"\d{4}-", title)}
    units = {"in": "stored", "out": "sent", "duplicates": "skipped", "damaged": "damaged packets"}
    assert bars == {f"{date}: {history.days[date][word]} {unit}" for date in dates for word, unit in units.items()
                    if history.days[date][word]}
    # One message of the damaged packet is lost; parked messages count as stored.
    fates = {"stored": "in", "duplicate": "duplicates", "damaged": "damaged"}
    expected = {fate: history.sum(word) for fate, word in fates.items()}
    assert {fate: count for fate, count in facts["ledger"].items() if count and fate != "in"} == expected
    assert f"{plain(sum(expected.values()))} in. Every one is accounted for." in page.text


@faketime
def test_conferences_runs_and_areas(history, page_file):
    page = Page(page_file.read_text(encoding="utf-8"))
    shown = {int(row[0]): row for row in page.tables["conferences"][1:]}
    assert set(shown) == {*CONFERENCES, NETMAIL}
    since = TODAY - datetime.timedelta(90)
    for number, row in shown.items():
        base = history.site.message_base(number)
        assert row[2] == plain(len(base.ptr))
        grown = sum(record.records for record in base.ptr
                    if datetime.datetime.strptime(record.date.decode("ascii")[:8], "%m/%d/%y").date() >= since)
        days = (DAT_LIMIT - base.dat_count()) * 90 // grown
        expected = str(TODAY + datetime.timedelta(days)) if days <= 3650 else "not in sight"
        assert row[5] == expected, number
        assert f"{plain(base.dat_count())} of 65,536 records" in page.titles
    assert [int(row[0]) for row in page.tables["conferences"][1:]] == sorted(
        shown, key=lambda number: -history.site.message_base(number).dat_count())
    runs = page.tables["runs"][1:]
    assert [row[:4] for row in runs[:2]] == [[f"{TODAY} 03:10:30", "scan", "complete", "0 s"],
                                             [f"{TODAY} 03:10:00", "toss", "complete", "0 s"]]
    assert len(runs) == 20 and f"{history.days[str(TODAY)]['in']} stored" in runs[1][4]
    areas = {row[0]: row[1:4] for row in page.tables["areas"][1:]}
    for number, (name, tag) in CONFERENCES.items():
        mail = history.conferences
        assert areas[f"{name} {tag}"][:2] == [plain(mail[number, "in"]), plain(mail[number, "out"])]
    assert areas["Fido Talk FIDO"][2] == plain(history.sum("duplicates"))
    assert {row[0]: int(row[1]) for row in page.tables["unknown"][1:]} == history.unknown


@faketime
def test_attention_comes_first_with_the_guides_remedy(page_file):
    text = Page(page_file.read_text(encoding="utf-8")).text
    assert text.index("1 thing needs attention") < text.index("areas-new") < text.index("Last toss")
    assert "1 new unknown area: NEW.AREA.2" in text and "create the area, or unlink it at the hub." in text


@faketime
@pytest.mark.parametrize("dark", [False, True], ids=["light", "dark"])
@pytest.mark.parametrize("width", [400, 1400])
def test_a_browser_shows_the_whole_page(page_file, browser, width, dark):
    browser.open(page_file, width, dark)
    assert browser.evaluate(PROBE) == []
    browser.evaluate("document.querySelector('details').open = true")
    assert browser.evaluate(PROBE) == []
    assert browser.problems == []
    paper = browser.evaluate("getComputedStyle(document.body).backgroundColor")
    assert (int(re.findall(r"\d+", paper)[0]) < 128) == dark


@faketime
def test_the_probe_finds_each_kind_of_flaw(page_file, browser, tmp_path):
    text = page_file.read_text(encoding="utf-8")
    spoiled = tmp_path / "spoiled.html"
    for style, finding in (("main{width:150vw;max-width:none}", "the page is wider"), (".soft{color:#aaa}", "contrast"),
                           (".strip rect{width:0}", "nothing is drawn"), (".head{margin-bottom:-20px}", "overlap"),
                           ("h2{width:3em;overflow:hidden;white-space:nowrap;display:block}", "cut off")):
        spoiled.write_text(text.replace("</style>", "@media all{" + style + "}</style>"), encoding="utf-8")
        browser.open(spoiled, 400, False)
        assert any(finding in found for found in browser.evaluate(PROBE)), finding


@faketime
def test_a_text_browser_shows_it_in_order(history, page_file):
    if not shutil.which("w3m"):
        pytest.fail("no w3m: script/bootstrap installs it")
    shown = subprocess.run(["w3m", "-dump", "-cols", "100", page_file], stdout=subprocess.PIPE, check=True).stdout
    text = " ".join(shown.decode("utf-8").split())
    places = [text.index(heading) for heading in (
        "The Lodge", "1 thing needs attention", "1. 1 new unknown area", "Last toss", f"In {plain(history.sum('in'))}",
        "7 days from In Out", f"All {plain(history.sum('in'))} {plain(history.sum('out'))}", "is accounted for",
        "No. Conference Messages Size", "1 Fido Talk", "Began Run Result", f"{TODAY} 03:10:30 scan complete",
        "Top areas", "Unknown areas", "NEW.AREA.2 2 2026")]
    assert places == sorted(places)
    assert "a bar a day, a bar" not in text and "{" not in text


HOSTILE = '<script>alert(1)</script>"&\'\x1b[2J'
SHOWN = r"""<script>alert(1)</script>"&'\x1B[2J"""


@pytest.fixture
def hostile(site) -> Site:
    """Markup in every text that comes from outside."""
    site.add_config('ADDRESS 2:250/10\nHUB 3:251/20\nSYSTEM <b onclick="x">&\'\n')
    site.conferences(echo("<I>&'\"X", name=HOSTILE), echo("TALK", name="\xe9<img src=x>".encode("latin-1")),
                     netmail_conference(HOSTILE))
    site.inbound("mail.pkt", Packet([
        echomail("<I>&'\"X", "text", sender=HOSTILE, to=HOSTILE, subject=HOSTILE, msgid="<script>&1"),
        echomail("<I>&'\"X", "text", msgid="<script>&1"), echomail("TALK", "text", msgid=HOSTILE),
        echomail("<SVG/ONLOAD=X>", "text", msgid="3"), netmail("text", subject=HOSTILE, msgid="4")]))
    assert site.toss().status == 0
    if not WINDOWS:
        site.write("IN/<a>&.pkt", Packet([netmail("text")]).pack())
        site.write("TOSSER.LOG", site.read("TOSSER.LOG") + site.read("TOSSER.LOG").replace(b"mail.pkt", b"<a>&.pkt"))
    return site


def test_markup_from_outside_is_escaped(hostile, kit):
    before = hostile.snapshot()
    text = kit("report", status=1).text
    page = Page(text)
    assert hostile.snapshot() == before
    assert page.names <= {"html", "head", "meta", "title", "style", "body", "main", "header", "section", "div", "p",
                          "h1", "h2", "h3", "ol", "ul", "li", "dl", "dt", "dd", "b", "span", "code", "time", "figure",
                          "figcaption", "svg", "rect", "line", "details", "summary", "table", "thead", "tbody", "tfoot",
                          "tr", "th", "td", "footer"}
    assert not [name for name in page.attributes if name.startswith("on") or name in ("src", "href")]
    names = [row[1] for row in page.tables["conferences"][1:]]
    assert names == [f"{SHOWN} <I>&'\"X", "Θ<img src=x> TALK", f"{SHOWN} netmail"]
    assert "the last toss: msg 4: AREA:<SVG/ONLOAD=X> has no matching conference" in page.text
    assert "<SVG/ONLOAD=X>" in page.tables["unknown"][1] and "<b onclick=\"x\">&'" in page.text
    assert WINDOWS or "that the last toss left in INBOUND: <a>&.pkt" in page.text
    assert not re.search(r"https?:|@import|url\(", text)


@posix_only("the browser looks at the same page")
def test_a_browser_shows_markup_as_text(hostile, kit, browser, tmp_path):
    path = tmp_path / "page.html"
    kit("report", "-o", path, status=1)
    browser.open(path, 400, False)
    assert browser.evaluate("document.querySelectorAll('script, img, [onclick], [onload]').length") == 0
    assert browser.evaluate(PROBE) == [] and browser.problems == []


def test_a_site_without_history_says_so(site, kit):
    site.conferences(echo("FIDO"))
    page = Page(kit("report", status=1).text)
    for words in ("no toss", "There is no log", "No file arrived in these days.", "The log has no run.",
                  "No conference had mail", "No mail for unknown areas has arrived.", "none in the log"):
        assert words in page.text
    site.write("TOSSER.LOG", "[2020-01-01 00:00:00] === cvtoss32 v1.05 Beta 5 -toss run starting ===\n")
    site.conferences(Conference())
    text = Page(kit("report", status=1).text).text
    assert "The log has no mail of these days." in text and "No conference is networked." in text
    assert "not ended" in text


def test_the_output_file(ready, kit, tmp_path):
    assert kit("report", status=None).text.startswith("<!DOCTYPE html>")
    path = tmp_path / "page.html"
    kit("report", "-o", path, status=None)
    made = path.read_bytes()
    assert made.startswith(b"<!DOCTYPE html>") and made.endswith(b"</html>\n")
    path.write_text("mine")
    assert "--force replaces it" in kit("report", "-o", path, status=2).errors
    assert path.read_text() == "mine"
    kit("report", "-o", path, "--force", status=None)
    assert path.read_bytes().startswith(b"<!DOCTYPE html>")
    assert "is within the site" in kit("report", "-o", "MSG/page.html", status=2).errors
    assert kit("report", "--config", "nowhere", status=2).errors


def test_lines_of_the_last_toss_and_scan_ask_for_attention(ready, kit):
    asking = ["ERROR: could not seek <b>&amp;", "ERROR: CONFDIR does not exist or is not a directory: x"]
    runs = [("toss", "ERROR: could not seek an older run"), ("scan", asking[1]), ("check", asking[0]),
            ("toss", asking[0], "Found: x", asking[0], asking[0]), ("check", "ERROR: could not seek for a check")]
    ready.write("TOSSER.LOG", "".join(
        f"[{TODAY} 03:10:00] {line}\n" for mode, *lines in runs
        for line in (f"=== cvtoss32 v1.05 Beta 5 -{mode} run starting ===", *lines)))
    told = [one for one in kit.json("report", status=1)["attention"] if one["code"] == "log-line"]
    assert [one["text"] for one in told] == [f"the last toss: {asking[0]} (and 2 lines like it)",
                                             f"the last scan: {asking[1]}"]
    assert [one["remedy"] for one in told] == [kit.json("explain", line, status=1)["lines"][0]["remedy"]
                                               for line in asking]
    text = Page(kit("report", status=1).text).text
    assert all(one["text"] + one["remedy"] in text for one in told)


@posix_only("a pseudo-terminal")
def test_a_terminal_shows_a_progress_bar(ready, kit):
    ready.inbound("mail.pkt", Packet([netmail("text")]))
    shown = kit.errors_on_terminal("report")
    assert "\raccounting [" + "#" * 30 + "] 100%" in shown and shown.endswith(" \r")


def test_what_the_ledger_does_not_find_needs_attention(ready, kit):
    ready.inbound("mail.pkt", Packet([netmail("text", msgid="1:2/3 4")]))
    assert ready.toss().status == 0
    codes = {one["code"] for one in kit.json("report", status=None)["attention"]}
    assert "mail-unaccounted" not in codes
    ready.write("IN/processed/lost.pkt", Packet([netmail("text", msgid="1:2/3 5")]).pack())
    found = {one["code"]: one for one in kit.json("report", status=1)["attention"]}["mail-unaccounted"]
    assert found["text"] == "nothing says what became of 1 message" and found["remedy"]
    assert "| `mail-unaccounted` | " in GUIDE
