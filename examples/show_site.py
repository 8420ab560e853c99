#!/usr/bin/env python3
"""Shows what the runs did to the sample BBS or to its hub.

    show_site.py remember DIRECTORY                prints what the message base holds now, in one line
    show_site.py report DIRECTORY REMEMBERED       prints what has changed since
    show_site.py conferences DIRECTORY REMEMBERED  the same of the conferences alone
"""

import json
import pathlib
import sys
import zipfile

import formats
import make_site


def messages_of(site, conference):
    """(header, text) of every message of a conference."""
    path = site / "MSGS" / f"CVMSG{conference:02}.PTR"
    if not path.exists():
        return []
    ptr, dat = path.read_bytes(), path.with_suffix(".DAT").read_bytes()
    headers = [formats.message_of(ptr[at:at + formats.PTR_SIZE]) for at in range(0, len(ptr), formats.PTR_SIZE)]
    return [(header, formats.text_of(dat, header["where"], header["records"])) for header in headers]


def conferences(site):
    """(number, name, tag) of every conference."""
    return [(number, *names) for number, names
            in enumerate(formats.conferences_of((site / "CVMCONF.DAT").read_bytes()), start=1)]


def remember(site):
    state = {str(number): [header["sent"] for header, _ in messages_of(site, number)]
             for number, _, _ in conferences(site)}
    state["outbound"] = sorted(path.name for path in (site / "FTN" / "OUTBOUND").iterdir())
    state["bad"] = sorted(path.name for path in (site / "FTN" / "INBOUND").glob("badmsgs/*"))
    return state


def nature(source):
    if source.is_dir():
        return f"bundle, {len(list(source.iterdir()))} packets, deflated"
    if not source.name.endswith(".pkt.txt"):
        return "neither bundle nor packet"
    (head, _), *messages = make_site.parts_of(source)
    kind = "packet" if "Cut" not in head else "packet, its end missing"
    return f"{kind}, {len(messages)} message{'s' if len(messages) > 1 else ''}"


def show_inbound(site, before):
    inbound = site / "FTN" / "INBOUND"
    print("What became of the inbound files\n")
    bad = {path.read_bytes(): path.name for path in sorted(inbound.glob("badmsgs/*")) if path.name not in before["bad"]}
    for name, source in make_site.inbound_files():
        if (inbound / name).exists():
            fate = "left in place"
        elif (inbound / "processed" / name).exists():
            fate = "moved to processed"
            review = bad.get((inbound / "processed" / name).read_bytes())
            fate += f", copy for review in badmsgs/{review}" if review else ""
        else:
            fate = "gone"
        print(f"  {name:<18} {nature(source):<36} {fate}")
    areas = site / "MSGS" / "BADAREAS.LST"
    if areas.exists():
        print("\n  Areas nobody knows, in BADAREAS.LST:")
        for line in areas.read_text(encoding="cp437").splitlines():
            print(f"    {line}")


def thread_order(messages):
    """(depth, header, text): every reply below its parent, in the order of the numbers."""
    by_parent = {}
    numbers = {header["number"] for header, _ in messages}
    for header, text in messages:
        parent = header["parent"] if header["parent"] in numbers else None
        by_parent.setdefault(parent, []).append((header, text))

    def below(parent, depth):
        for header, text in by_parent.get(parent, []):
            yield depth, header, text
            yield from below(header["number"], depth + 1)

    return below(None, 0)


def show_conferences(site, before):
    print("\nWhat each conference holds now (+ came in with this run, > went out, x deleted)\n")
    for number, name, tag in conferences(site):
        messages = messages_of(site, number)
        sent_before = before[str(number)]
        came = len(messages) - len(sent_before)
        count = f"{len(messages)} message{'' if len(messages) == 1 else 's'}" + (f", {came} new" if came else "")
        print(f"  {number}  {tag or '-':<11} {name:<29} {count}")
        for depth, header, text in thread_order(messages):
            index = header["number"] - 1
            is_new = index >= len(sent_before)
            went_out = not is_new and header["sent"] and not sent_before[index]
            mark = "+" if is_new else ">" if went_out else "x" if header["deleted"] else " "
            title = f"{'   ' * depth}#{header['number']} {header['from']} to {header['to']}: {header['subject']}"
            print(f"     {mark} {title:<84} {header['date']}")
            if is_new:
                print(f"       {'   ' * depth}   \"{text.strip().splitlines()[0]}\"")
        print()


def show_outbound(site, before):
    outbound = site / "FTN" / "OUTBOUND"
    print("What waits for the mailer\n")
    bundles = sorted(outbound.iterdir())
    if not bundles:
        print("  nothing")
    for path in bundles:
        with zipfile.ZipFile(path) as bundle:
            entries = ", ".join(f"{entry.filename} of {entry.file_size} bytes" for entry in bundle.infolist())
        print(f"  {path.name:<18} bundle holding {entries}{'' if path.name in before['outbound'] else '  (new)'}")


def main():
    sys.stdout.reconfigure(encoding="utf-8")
    if len(sys.argv) < 3 or sys.argv[1] not in ("remember", "report", "conferences"):
        sys.exit(__doc__)
    site = pathlib.Path(sys.argv[2])
    if sys.argv[1] == "remember":
        print(json.dumps(remember(site)))
    else:
        before = json.loads(sys.argv[3])
        if sys.argv[1] == "conferences":
            show_conferences(site, before)
            return
        show_inbound(site, before)
        show_conferences(site, before)
        show_outbound(site, before)


if __name__ == "__main__":
    main()
