#!/usr/bin/env python3
"""Writes examples/orders: the definitions of a small order-keeping application, as an export folder.

The folder is what `zuk import` reads and what `zuk export` writes again, byte for byte. It is kept in the repository;
run this only to change what the application is. Everything follows from the tables below: no chance, no date.
"""
import os
import shutil
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "orders")

# What the application stores, by resource type.
TEXT_TABLE, MODULE, DATA_TYPE, STRING, FIELD, SOURCE, CODE, MESSAGE, SHORT_NAME = 1, 2, 6, 9, 18, 19, 20, 30, 51

ENTITIES = {
    "Customer": ["number", "name", "street", "postcode", "town", "country", "phone", "credit limit", "discount",
                 "terms", "tax number", "blocked"],
    "Order": ["number", "date", "customer", "status", "net", "tax", "gross", "delivery date", "carrier", "reference",
              "clerk", "printed"],
    "Order line": ["order", "position", "article", "quantity", "unit", "price", "discount", "net", "delivered"],
    "Article": ["number", "description", "group", "unit", "price", "cost", "tax class", "stock", "reserved", "minimum",
                "supplier", "bin"],
    "Supplier": ["number", "name", "street", "town", "lead time", "currency", "contact"],
    "Invoice": ["number", "order", "date", "due date", "net", "tax", "gross", "paid", "reminder level"],
}
MODULES = [
    (2, 100, "Orders", ["Order", "Order line"]),
    (2, 101, "Customers", ["Customer"]),
    (2, 110, "Stock", ["Article", "Supplier"]),
    (3, 22000, "Billing", ["Invoice"]),
]
DATA_TYPES = [("Key", "N", 8, 0), ("Short text", "A", 30, 0), ("Long text", "A", 255, 0), ("Amount", "N", 12, 2),
              ("Quantity", "N", 10, 3), ("Percent", "N", 5, 2), ("Date", "D", 8, 0), ("Flag", "L", 1, 0)]
VERBS = ["show", "add", "change", "remove", "print", "find"]
MESSAGES = [
    "The %s was saved.", "The %s could not be saved: another user holds it.", "There is no such %s.",
    "Remove this %s for good?", "The %s has changed since you read it.", "A %s of that number exists.",
    "Fill in all fields of the %s that bear a star.", "You may not change this %s.",
]


def escape(name):
    out = []
    for byte in name:
        if byte == 0x5C:
            out.append("\\\\")
        elif 0x20 <= byte < 0x7F:
            out.append(chr(byte))
        else:
            out.append("\\x%02X" % byte)
    return "".join(out)


class Module:
    """The resources of one module, by type and identifier."""

    def __init__(self, kind, number, name):
        self.kind, self.number, self.name = kind, number, name
        self.types = {}
        self.put(MODULE, name.encode(), b"", at=number)

    def put(self, resource_type, name, body, at=None, flags=0):
        run = self.types.setdefault(resource_type, {})
        run[at or max(run, default=0) + 1] = (name, body, flags)

    def write(self):
        folder = os.path.join(ROOT, str(self.kind), str(self.number))
        os.makedirs(folder)
        with open(os.path.join(folder, "module.txt"), "w", newline="\n") as out:
            out.write("name %s\n" % escape(self.name.encode()))
        for resource_type, run in sorted(self.types.items()):
            place = os.path.join(folder, str(resource_type))
            os.makedirs(place)
            with open(os.path.join(place, "resources.txt"), "w", newline="\n") as out:
                for number in sorted(run):
                    name, body, flags = run[number]
                    out.write("%d\t%02X\t%s\t%s\n" % (number, flags, "%d.bin" % number if body else "-", escape(name)))
                    if body:
                        with open(os.path.join(place, "%d.bin" % number), "wb") as data:
                            data.write(body)


def field_record(position, name, kind):
    """A field: its place on the form, its data type, and what is shown in front of it."""
    label = name.capitalize().encode()
    return struct.pack("<HHHHB", position, 2 + position * 2, 20, kind, len(label)) + label


def script(entity, verb):
    word = entity.lower()
    return ("procedure %s_%s(key)\n"
            "    local record\n"
            "    record = read %s where number = key\n"
            "    if record is none then\n"
            "        message \"There is no such %s.\"\n"
            "        return false\n"
            "    end if\n"
            "    open form %s with record\n"
            "    return true\n"
            "end procedure\n") % (verb, word.replace(" ", "_"), word.replace(" ", "_"), word, entity.replace(" ", ""))


def compiled(text):
    """A made-up byte code: a head, then a word for each token with its number and its length."""
    words = sorted(set(text.split()))
    code = b"".join(struct.pack("<HB", words.index(token), len(token)) for token in text.split())
    return b"\x7fQS\x01" + struct.pack("<II", len(words), len(code)) + code + b"\x00" * (-len(code) % 8)


def fill(module, entities):
    for name, letter, length, places in DATA_TYPES:
        module.put(DATA_TYPE, name.encode(), struct.pack("<cHB", letter.encode(), length, places) + name.encode())
    for entity in entities:
        for i, field in enumerate(ENTITIES[entity], 1):
            label = "%s %s" % (entity, field)
            module.put(FIELD, label.encode(), field_record(i, field, i % len(DATA_TYPES) + 1))
            module.put(STRING, label.encode(), ("%s:" % field.capitalize()).encode())
            module.put(SHORT_NAME, ("%s%02d" % (entity.replace(" ", "").upper()[:7], i)).encode(), b"")
        for number, text in enumerate(MESSAGES, 1):
            module.put(MESSAGE, ("%s %d" % (entity, number)).encode(), (text % entity.lower()).encode())
        for verb in VERBS:
            text = script(entity, verb)
            module.put(SOURCE, ("%s_%s" % (verb, entity)).encode(), text.encode())
            module.put(CODE, ("%s_%s" % (verb, entity)).encode(), compiled(text))


def odd_ones(module):
    """Names and bodies of the sort that a tool gets wrong first."""
    strings = [
        (b"Stra\xdfe und Hausnummer", b"Stra\xdfe"), (b"Gr\xf6\xdfe", b"Gr\xf6\xdfe in cm"),
        (b" leading blank", b" "), (b"trailing blank ", b"x"), (b"back\\slash", b"\\"), (b"tab\there", b"\t"),
        (b"line\r\nend", b"first\r\nsecond\r\n"), (b"\x01", b"\x00\x01\x02\x03"), (b"../outside", b"not a path"),
        (b"a/b/c", b"slashes"), (b"-", b"-"), (b"\xff\xfe", bytes(range(256))), (b"nul\x00inside", b"\x00"),
        (b"n" * 79, b"seventy-nine"), (b"m" * 80, b"eighty"), (b"long name " + b"l" * 244, b"of 254 bytes"),
        (b"empty body", b""), (b"one byte", b"!"),
    ]
    for number, (name, body) in enumerate(strings, 900):
        module.put(STRING, name, body, at=number, flags=number % 4)
    zones = "".join("%05d;%s;%6.2f\n" % (code, "ABCDEFG"[code * 7 // 100000], 4 + code % 977 / 100)
                    for code in range(1000, 100000, 19))
    module.put(TEXT_TABLE, b"Postcodes and zones", zones.encode())
    module.put(TEXT_TABLE, b"No zones yet", b"")


def main():
    shutil.rmtree(ROOT, ignore_errors=True)
    for kind, number, name, entities in MODULES:
        module = Module(kind, number, name)
        fill(module, entities)
        if name == "Orders":
            odd_ones(module)
        module.write()
    with open(os.path.join(ROOT, "dictionary.txt"), "w", newline="\n") as out:
        out.write("zuk-dictionary 1\nversion 11\n")


main()
