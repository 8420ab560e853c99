#!/usr/bin/env python3
"""Makes the sample BBS from the plain texts in site/, and its hub from those in hub/.

    make_site.py site DIRECTORY       the whole BBS; the directory must not exist
    make_site.py hub DIRECTORY        the system that its mail goes to; the directory must not exist
    make_site.py inbound DIRECTORY    only the inbound files, as if the mailer had just been there again
"""

import datetime
import pathlib
import re
import sys
import zipfile

import formats

HERE = pathlib.Path(__file__).resolve().parent
BBS = HERE / "site"
HUB = HERE / "hub"


def parts_of(path):
    """(headers, text) of each part of a text source. Parts are divided by lines of "====", '#' starts a comment."""
    for part in re.split(r"(?m)^====\n", path.read_text(encoding="utf-8")):
        head, _, text = re.sub(r"(?m)\A(#.*\n)+", "", part).partition("\n\n")
        yield dict(re.findall(r"(?m)^([\w-]+): ?(.*)$", head)), text


def address(text):
    return tuple(int(number) for number in re.split("[:/]", text))


# The BBS -------------------------------------------------------------------------------------------------------

def conference_file(sources):
    lines = (sources / "conferences.txt").read_text(encoding="utf-8").splitlines()
    records = []
    for line in lines:
        if not line.startswith("#"):
            _, flags, tag, name = line.split(maxsplit=3)
            records.append(formats.conference_record(name, "" if tag == "-" else tag, flags.split(",")))
    return b"".join(records)


def message_base(sources, directory):
    """Writes the message files of every conference that has messages."""
    conferences = {}
    for message, text in parts_of(sources / "messages.txt"):
        conferences.setdefault(int(message["Conference"]), []).append((message, text))
    for conference, messages in conferences.items():
        ptr, idx, dat, sig = [], [], [], []
        for number, (message, text) in enumerate(messages, start=1):
            parent = int(message.get("Reply-To-Number", "0"))
            body = formats.dat_records(text.rstrip("\n") + "\n")
            ptr.append(formats.ptr_record(conference, number, message, len(dat), len(body), parent or number,
                                          is_reply=parent > 0))
            idx.append(formats.idx_record(message, number, parent or number))
            dat += body
            if "Msgid" in message:
                sig.append(f"{message['Msgid']}\t{number}\n".encode())
        for suffix, records in (("PTR", ptr), ("IDX", idx), ("DAT", dat), ("SIG", sig)):
            if records:
                (directory / f"CVMSG{conference:02}.{suffix}").write_bytes(b"".join(records))


def lay_site(sources, site, **directives):
    site.mkdir(parents=True)
    for name in ("MSGS", "WORK", "FTN/INBOUND", "FTN/OUTBOUND"):
        (site / name).mkdir(parents=True)
    # The sample configuration itself, with the site in the place of the BBS's drive and directory.
    configuration = (HERE / "CVTOSS32.CFG").read_text(encoding="ascii")
    configuration = configuration.replace("C:\\CVBBS", ".")
    for directive, value in directives.items():
        configuration = re.sub(rf"(?m)^({directive} +).*$", rf"\g<1>{value}", configuration)
    (site / "CVTOSS32.CFG").write_text(configuration, encoding="ascii")
    (site / "CVMCONF.DAT").write_bytes(conference_file(sources))
    (site / "WORK" / "CVWHOSON.DAT").write_bytes(3 * formats.node_status())
    message_base(sources, site / "MSGS")


# The inbound files ---------------------------------------------------------------------------------------------

def packet(path):
    """The packet that a text source describes."""
    (head, _), *messages = parts_of(path)
    origin, destination = address(head["From"]), address(head["To"])
    data = formats.packet_header(origin, destination, datetime.datetime.fromisoformat(head["Date"]))
    for message, text in messages:
        charset = "utf-8" if "CHRS: UTF-8" in text else "cp437"
        raw = re.sub(r"(?m)^\^A", "\x01", text).encode(charset).replace(b"\n", b"\r")
        data += formats.packed_message(origin, destination, message, raw)
    data += formats.PACKET_END
    return data[:len(data) - int(head.get("Cut", "0"))]


def inbound_files():
    """(name, source) of every inbound file: a folder is a bundle, a .pkt.txt a packet, the rest is laid as it is."""
    return [(path.name.removesuffix(".txt") if path.name.endswith(".pkt.txt") else path.name, path)
            for path in sorted((BBS / "inbound").iterdir())]


def lay_inbound(site):
    inbound = site / "FTN" / "INBOUND"
    for name, path in inbound_files():
        if path.is_dir():
            with zipfile.ZipFile(inbound / name, "w", zipfile.ZIP_DEFLATED) as bundle:
                for source in sorted(path.glob("*.pkt.txt")):
                    bundle.writestr(source.name.removesuffix(".txt"), packet(source))
        elif path.name.endswith(".pkt.txt"):
            (inbound / name).write_bytes(packet(path))
        else:
            (inbound / name).write_bytes(path.read_bytes())


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("site", "hub", "inbound"):
        sys.exit(__doc__)
    what, directory = sys.argv[1], pathlib.Path(sys.argv[2])
    if what == "hub":
        lay_site(HUB, directory, ADDRESS="2:999/1", HUB="2:999/0", SYSTEM="The hub of the sample net")
        return
    if what == "site":
        lay_site(BBS, directory)
    lay_inbound(directory)


if __name__ == "__main__":
    main()
