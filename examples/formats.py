"""The files of the sample BBS and of its network, byte for byte.

Every multi-byte number is little-endian. A "Pascal string" is a length byte, then a field of fixed size.
"""

import struct
import zlib

LINE_END = b"\x01"  # ends a line of a stored message
IDLE_NODE = 0xFFFF
PTR_SIZE, DAT_SIZE, DAT_TEXT = 256, 128, 127


def pascal(text, size):
    """A Pascal string with room for size bytes of text."""
    data = text.encode("cp437")[:size]
    return bytes([len(data)]) + data.ljust(size, b"\0")


def from_pascal(field):
    return field[1:1 + min(field[0], len(field) - 1)].decode("cp437")


# The BBS -------------------------------------------------------------------------------------------------------

def conference_record(name, tag, flags):
    """One 128-byte record of CVMCONF.DAT."""
    record = bytearray(128)
    record[2] = "netmail" in flags
    record[3:44] = pascal(name, 40)
    record[45] = "public" in flags
    struct.pack_into("<H", record, 51, 79)  # line width
    record[110] = "routed" in flags
    record[112:128] = pascal(tag, 15)
    return bytes(record)


def conferences_of(data):
    """(name, tag) of every record of CVMCONF.DAT."""
    records = [data[at:at + 128] for at in range(0, len(data), 128)]
    return [(from_pascal(record[3:44]), from_pascal(record[112:128])) for record in records]


def node_status(user=IDLE_NODE, mode=0):
    """One 6-byte record of CVWHOSON.DAT."""
    return struct.pack("<HBxxx", user, mode)


def ptr_record(conference, number, message, where, records, thread_ref, is_reply):
    """One 256-byte message header of CVMSGnn.PTR. The message is a dictionary of texts."""
    flags = message["Flags"].split()
    record = bytearray(PTR_SIZE)
    record[0:18] = pascal(message["Date"], 17)
    record[18:49] = pascal(message["From"], 30)
    record[49:80] = record[80:111] = pascal(message["To"], 30)
    record[111:152] = pascal(message["Subject"], 40)
    record[152] = "netmail" in flags
    record[153] = "sent" in flags
    record[155] = is_reply
    record[156] = not is_reply
    record[157] = "private" in flags
    record[158] = "deleted" in flags
    record[159] = 1
    struct.pack_into("<HHHii", record, 160, where, records, conference, number, thread_ref)
    return bytes(record)


def message_of(record):
    """What the report needs of a 256-byte message header."""
    where, records, _, number, thread_ref = struct.unpack_from("<HHHii", record, 160)
    return {"date": from_pascal(record[0:18]), "from": from_pascal(record[18:49]), "to": from_pascal(record[49:80]),
            "subject": from_pascal(record[111:152]), "sent": bool(record[153]), "deleted": bool(record[158]),
            "parent": thread_ref if record[155] else None, "number": number, "where": where, "records": records}


def idx_record(message, number, thread_ref):
    """One 16-byte record of CVMSGnn.IDX."""
    crcs = [zlib.crc32(message[name].encode("cp437")) for name in ("From", "To")]
    return struct.pack("<IIii", *crcs, number, thread_ref)


def dat_records(text):
    """The 128-byte records of CVMSGnn.DAT that hold a text, a str of lines."""
    data = b"".join(line.encode("cp437") + LINE_END for line in text.splitlines())
    chunks = [data[at:at + DAT_TEXT] for at in range(0, len(data), DAT_TEXT)] or [b""]
    return [bytes([len(chunk)]) + chunk.ljust(DAT_TEXT, b"\0") for chunk in chunks]


def text_of(data, where, records):
    """The text that some records of CVMSGnn.DAT hold."""
    pieces = [data[at * DAT_SIZE:(at + 1) * DAT_SIZE] for at in range(where, where + records)]
    text = b"".join(piece[1:1 + min(piece[0], DAT_TEXT)] for piece in pieces)
    return text.replace(LINE_END, b"\n").decode("cp437")


# The network ---------------------------------------------------------------------------------------------------

def packet_header(origin, destination, date):
    """The 58 bytes before the first message. Addresses are (zone, net, node); date is a datetime."""
    fields = (origin[2], destination[2], date.year, date.month - 1, date.day, date.hour, date.minute, date.second,
              0, 2, origin[1], destination[1])
    head = struct.pack("<12H", *fields) + bytes(2) + bytes(8)  # product, password
    head += struct.pack("<4H", origin[0], destination[0], 0, 0) + bytes(2)
    return head + struct.pack("<5H", 0, origin[0], destination[0], 0, 0) + bytes(4)


def packed_message(origin, destination, message, text):
    """One message of a packet. The text is bytes, its lines end in CR."""
    head = struct.pack("<7H", 2, origin[2], destination[2], origin[1], destination[1],
                       int(message.get("Attribute", "0")), 0)
    names = [message[name].encode("cp437") + b"\0" for name in ("Date", "To", "From", "Subject")]
    return head + b"".join(names) + text + b"\0"


PACKET_END = bytes(2)
