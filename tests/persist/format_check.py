#!/usr/bin/env python3
"""Reads saved recordsets by the rules of their format alone. SNAPSHOT_PROBE_BINARY names the program that saves them;
files given as arguments are checked in place of its own."""
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests/support"))
import report  # noqa: E402, it lies in a folder beside this one

PROBE = os.environ.get("SNAPSHOT_PROBE_BINARY", str(REPOSITORY / "build/dev/tests/persist/snapshot_probe"))
SCHEMA, TYPE = "{uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882}", "{uuid:C2F41010-65B3-11d1-A29F-00AA00C14882}"
ROWSET, ROWS = "{urn:schemas-microsoft-com:rowset}", "{#RowsetSchema}"
HEAD = (b"<xml xmlns:s='uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882'\r\n"
        b"\txmlns:dt='uuid:C2F41010-65B3-11d1-A29F-00AA00C14882'\r\n"
        b"\txmlns:rs='urn:schemas-microsoft-com:rowset'\r\n\txmlns:z='#RowsetSchema'>\r\n"
        b"<s:Schema id='RowsetSchema'>\r\n")
DAY = r"(?!0000)\d{4}-(0[1-9]|1[0-2])-(0[1-9]|[12]\d|3[01])"
TIME = r"([01]\d|2[0-3]):[0-5]\d:[0-5]\d"
NUMBER = r"-?(\d+(\.\d+)?|\.\d+)"
REAL = r"-?\d+(\.\d+)?(E[+-]\d{2,3})?"
WIDTHS = {"i1": (8, True), "i2": (16, True), "int": (32, True), "i8": (64, True), "ui1": (8, False), "ui2": (16, False),
          "ui4": (32, False), "ui8": (64, False)}
FORMS = {("r4", None): REAL, ("float", None): REAL, ("boolean", None): "True|False",
         ("number", "currency"): r"-?\d+(\.\d{0,3}[1-9])?", ("number", "decimal"): r"-?\d+(\.\d*[1-9])?",
         ("number", "numeric"): NUMBER, ("number", "varnumeric"): NUMBER,
         ("dateTime", "variantdate"): f"{DAY}T{TIME}", ("dateTime", "timestamp"): rf"{DAY}T{TIME}(\.\d{{9}})?",
         ("dateTime", "filetime"): rf"{DAY}T{TIME}(\.\d{{9}})?", ("date", None): DAY, ("time", None): TIME,
         ("uuid", None): r"\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}", ("bin.hex", None): "([0-9a-f]{2})*"}
SIZES = {"i1": 1, "ui1": 1, "i2": 2, "ui2": 2, "int": 4, "ui4": 4, "i8": 8, "ui8": 8, "r4": 4, "float": 8, "boolean": 2,
         "date": 6, "time": 6, "uuid": 16, "dateTime": 16}
FLAGS = ("number rowid nullable maydefer cachedeferred rowver write writeunknown basecatalog baseschema basetable "
         "basecolumn keycolumn hidden autoincrement").split()
TYPE_WORDS = [TYPE + "type", ROWSET + "dbtype", TYPE + "maxLength", ROWSET + "scale", ROWSET + "precision",
              ROWSET + "fixedlength", ROWSET + "long", ROWSET + "maybenull"]


class Kind:
    """A row's columns and chapters, as the schema has them."""

    def __init__(self, test, element):
        self.test, self.columns, self.chapters, self.relation = test, {}, {}, []
        numbers = []
        for child in element:
            if child.tag == SCHEMA + "AttributeType":
                numbers.append(self.add_column(child))
            elif child.tag == SCHEMA + "ElementType":
                self.add_chapter(child)
            else:
                test.assertEqual((child.tag, child.get("type")), (SCHEMA + "extends", "rs:rowbase"))
        test.assertEqual(element[-1].tag, SCHEMA + "extends")
        count = len(numbers) + len(self.chapters)
        test.assertEqual(numbers, sorted(set(numbers)))
        test.assertTrue(set(numbers) <= set(range(1, count + 1)), "a chapter takes a number of its own")
        for chapter in self.chapters.values():
            for parent, child, flag in chapter.relation:
                test.assertIn(parent, numbers)
                test.assertIn(flag, (0, 1))
                test.assertIn(child, range(1, len(chapter.columns) + 1))

    def add_column(self, element):
        name, (datatype,) = element.get("name"), element
        order = [word.removeprefix(ROWSET) for word in element.keys() if word not in ("name", ROWSET + "name")]
        self.test.assertEqual(order, [word for word in FLAGS if word in order])
        self.test.assertEqual(list(datatype.keys()), [word for word in TYPE_WORDS if word in datatype.keys()])
        self.test.assertNotIn(name.lower(), [key.lower() for key in self.columns])
        self.test.assertRegex(name, r"\A(?!xml)[A-Za-z_][A-Za-z0-9_]*\Z")
        if element.get(ROWSET + "name") is not None:
            self.test.assertEqual(name, f"c{int(element.get(ROWSET + 'number')) - 1}")
        kind = datatype.get(TYPE + "type")
        if kind in SIZES:
            self.test.assertEqual(int(datatype.get(TYPE + "maxLength")), SIZES[kind])
        self.columns[name] = (datatype, element.get(ROWSET + "nullable") == "true" or
                              datatype.get(ROWSET + "maybenull") != "false")
        return int(element.get(ROWSET + "number"))

    def add_chapter(self, element):
        kind = Kind(self.test, element)
        words = bytes.fromhex("".join(element.get(ROWSET + "relation").split()))
        self.test.assertEqual(len(words) % 12, 0)
        kind.relation = list(struct.iter_unpack("<3I", words))
        self.chapters[element.get("name")] = kind

    def check(self, row, whole):
        values = {key: value for key, value in row.items() if not key.startswith(ROWSET)}
        self.test.assertTrue(set(values) <= set(self.columns), values)
        for key, value in values.items():
            self.check_value(key, value)
        nulls = row.get(ROWSET + "forcenull", "").split()
        self.test.assertTrue(set(nulls) <= set(self.columns) - set(values), nulls)
        if whole:
            for key, (_, may_be_absent) in self.columns.items():
                self.test.assertTrue(may_be_absent or key in values, key)
        for child in row:
            self.chapters[child.tag].check(child, True)
        return 1

    def check_value(self, key, value):
        datatype = self.columns[key][0]
        kind, source = datatype.get(TYPE + "type"), datatype.get(ROWSET + "dbtype")
        size = int(datatype.get(TYPE + "maxLength", 0))
        if kind in WIDTHS:
            width, signed = WIDTHS[kind]
            least = -(1 << width - 1) if signed else 0
            self.test.assertRegex(value, r"\A(0|-?[1-9]\d*)\Z")
            self.test.assertTrue(least <= int(value) < least + (1 << width), value)
        elif kind == "string":
            self.test.assertIn(source, (None, "str", "variant"))
            self.test.assertTrue(source == "variant" or len(value) <= size, value)
            if datatype.get(ROWSET + "fixedlength") == "true":
                self.test.assertEqual(len(value), size)
        else:
            self.test.assertRegex(value, rf"\A({FORMS[kind, source]})\Z", key)
        if source == "numeric":
            scale = int(datatype.get(ROWSET + "scale"))
            self.test.assertRegex(value, rf"\A-?([1-9]\d*)?\.\d{{{scale}}}\Z")
        if kind == "bin.hex":
            self.test.assertTrue(0 < len(value) <= 2 * size)


def check(test, path):
    """How many rows of each part there are."""
    raw = path.read_bytes()
    test.assertTrue(raw.startswith(HEAD) and raw.endswith(b"\r\n</rs:data>\r\n</xml>"))
    test.assertEqual(raw.count(b"\n"), raw.count(b"\r\n"))
    test.assertNotIn(b'"', raw)
    for value in re.findall(rb"='([^']*)'", raw):
        test.assertNotRegex(value, rb"[\t\r\n<>]|&(?!#x(26|27|22|3c|3e|9|a|d);)")
    schema, data = ElementTree.fromstring(raw)
    test.assertEqual((schema.tag, schema.get("id"), data.tag), (SCHEMA + "Schema", "RowsetSchema", ROWSET + "data"))
    (element,) = schema
    test.assertEqual((element.get("name"), element.get("content")), ("row", "eltOnly"))
    kind = Kind(test, element)
    counts = dict.fromkeys(("row", "insert", "update", "delete"), 0)
    for part in data:
        word = part.tag.removeprefix(ROWSET).removeprefix(ROWS)
        if word == "row":
            counts[word] += kind.check(part, True)
        elif word == "update":
            original, changed = part
            test.assertEqual((original.tag, len(original), changed.tag), (ROWSET + "original", 1, ROWS + "row"))
            kind.check(original[0], True)
            test.assertTrue(changed.keys())
            counts[word] += kind.check(changed, False)
        else:
            counts[word] += sum(kind.check(row, word == "delete") for row in part)
    return counts


class Format(unittest.TestCase):
    def test_what_is_saved_keeps_to_the_format(self):
        with tempfile.TemporaryDirectory(prefix="qf-") as folder:
            subprocess.run([PROBE, folder], check=True, timeout=30)
            for name, counts in (("types.xml", (2, 0, 0, 0)), ("pending.xml", (0, 1, 1, 1)),
                                 ("hierarchy.xml", (1, 0, 0, 0))):
                with self.subTest(name):
                    path = pathlib.Path(folder, name)
                    self.assertEqual(tuple(check(self, path).values()), counts)
            types = ElementTree.parse(pathlib.Path(folder, "types.xml"))
            (row, empty) = types.getroot()[1]
            named = {a.get(ROWSET + "name", a.get("name")): a.get("name")
                     for a in types.iter(SCHEMA + "AttributeType")}
            for name, value in (("Größe", str(-2**63)), ("s_wide", "\tone\r\ntwo "), ("s_var", "a&b'c\"d<e>f"),
                                ("s_empty", ""), ("s_wide_long", "한글 𝄞"), ("r8", str(repr(3.1415899999999999)))):
                read = row.get(named[name])
                self.assertEqual(str(float(read)) if name == "r8" else read, value)
            self.assertEqual(list(empty.keys()), ["plain"])
            forced = ElementTree.parse(pathlib.Path(folder, "pending.xml")).find(f".//{ROWSET}insert")[0]
            self.assertEqual(len(forced.get(ROWSET + "forcenull").split()), len(named))


if __name__ == "__main__":
    if len(sys.argv) > 1:
        for argument in sys.argv[1:]:
            print(argument, check(Format(), pathlib.Path(argument)))
    else:
        report.main()
