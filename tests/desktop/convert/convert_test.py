"""Converts whole Access files with the command-line tool: real ones against their checked contents, damaged ones, a
large one that is killed, refused and stopped by a full disk. QUARNOFWK_BINARY names the program."""
import datetime
import os
import pathlib
import random
import resource
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[3]
sys.path.insert(0, str(REPOSITORY / "tests/support"))
import report  # noqa: E402, it lies in a folder beside this one

TOOL = os.environ.get("QUARNOFWK_BINARY", str(REPOSITORY / "build/dev/bin/quarnofwk"))
REAL = pathlib.Path(os.environ.get("QUARNOFWK_SHARED_DATA", REPOSITORY.parent / "shared/data")) / "access"
PAGE = 4096
ESCAPES = str.maketrans({"\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t"})


def truth(path):
    """The tables of a real file as the text beside it has them: rows of texts by name."""
    tables = {}
    for line in path.with_name(path.name + ".txt").read_text(encoding="utf-8").split("\n"):
        cells = line.split("\t")
        if line.startswith("@"):
            rows = tables[cells[0][1:]] = [tuple(cells[1:])]
        elif line:
            rows.append(tuple(cells))
    return {name: (rows[0], sorted(rows[1:])) for name, rows in tables.items()}


def cell_text(value, declared):
    if value is None:
        return "\\N"
    if declared == "BOOLEAN":
        return str(-value)
    if declared == "CURRENCY":
        return f"{value:.4f}"
    if declared == "DATETIME":
        day = datetime.datetime(1899, 12, 30) + datetime.timedelta(days=value)
        return day.strftime("%Y-%m-%d %H:%M:%S.") + f"{day.microsecond // 1000:03}"
    if isinstance(value, bytes):
        return value.hex().upper()
    return f"{value:.15g}" if isinstance(value, float) else str(value).translate(ESCAPES)


def contents(path):
    tables = {}
    with sqlite3.connect(f"file:{path}?mode=ro", uri=True) as database:
        for name, in database.execute("SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%' "
                                      "AND name NOT LIKE 'MSys%'").fetchall():
            columns = [(row[1], row[2]) for row in database.execute("SELECT * FROM pragma_table_info(?)", (name,))]
            rows = [tuple(cell_text(value, column[1]) for value, column in zip(row, columns))
                    for row in database.execute(f'SELECT * FROM "{name}"')]
            tables[name] = (tuple(column[0] for column in columns), sorted(rows))
    database.close()
    return tables


def enlarged(pages):
    """A real file with that many more pages, full of copies of one row of its table; and how many rows it has."""
    data = bytearray((REAL / "jackcess_delColTestV2000.mdb").read_bytes())
    row_page = next(at for at in range(PAGE, len(data), PAGE) if data[at] == 1 and b"foo2" in data[at:at + PAGE])
    owner = struct.unpack_from("<I", data, row_page + 4)[0]
    start = struct.unpack_from("<H", data, row_page + 14)[0] & 0x1FFF
    row = bytes(data[row_page + start:row_page + PAGE])
    count = (PAGE - 14) // (len(row) + 2)
    page = bytearray(data[row_page:row_page + 12] + struct.pack("<H", count)).ljust(PAGE, b"\0")
    for i in range(count):
        at = PAGE - (i + 1) * len(row)
        page[at:at + len(row)] = row
        struct.pack_into("<H", page, 14 + 2 * i, at)
    pointer = struct.unpack_from("<I", data, owner * PAGE + 55)[0]
    map_page = (pointer >> 8) * PAGE
    usage = map_page + (struct.unpack_from("<H", data, map_page + 14 + 2 * (pointer & 0xFF))[0] & 0x1FFF)
    first = len(data) // PAGE
    base = struct.unpack_from("<I", data, usage + 1)[0]
    for number in range(first - base, first - base + pages):
        data[usage + 5 + number // 8] |= 1 << number % 8
    return bytes(data + page * pages), 2 + count * pages


@unittest.skipUnless(REAL.is_dir(), f"no real files at {REAL}")
class ConvertTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.new = self.folder / "new.db"

    def convert(self, *words, code=0, stdin="", password="", **options):
        environment = dict(os.environ, QUARNOFWK_PASSWORD=password)
        done = subprocess.run([TOOL, "convert", *map(str, words)], capture_output=True, timeout=60,
                              input=stdin.encode(), env=environment, cwd=self.folder, **options)
        self.assertEqual(done.returncode, code, done)
        return (done.stderr if code else done.stdout).decode()

    def refused(self, message, *words, code=1, **options):
        """Nothing stays behind, and what was there stays as it was."""
        before = {path: path.read_bytes() for path in self.folder.rglob("*") if path.is_file()}
        self.assertIn(message, self.convert(*words, code=code, **options))
        after = {path: path.read_bytes() for path in self.folder.rglob("*") if path.is_file()}
        self.assertTrue(before == after, sorted(after))

    def damaged(self, name, mark, offset, value):
        """A copy of a real file with bytes written over the first page of rows that holds the mark."""
        data = bytearray((REAL / name).read_bytes())
        page = next(at for at in range(PAGE, len(data), PAGE) if data[at] == 1 and mark in data[at:at + PAGE])
        data[page + offset:page + offset + len(value)] = value
        path = self.folder / "damaged.mdb"
        path.write_bytes(data)
        return path

    def test_real_files_arrive(self):
        files = sorted(path for path in REAL.iterdir() if path.suffix != ".txt")
        self.assertGreater(len(files), 8)
        for path in files:
            with self.subTest(path.name):
                new = self.folder / (path.name + ".db")
                secret = "password" if "password" in path.name else ""
                told = self.convert(path, new, password=secret)
                self.assertEqual(contents(new), truth(path))
                tables, rows = len(truth(path)), sum(len(rows) for _, rows in truth(path).values())
                self.assertRegex(told, rf"^\S+: {tables} tables?, {rows} rows?, ")
                self.refused("already exists", path, new, password=secret)
                self.assertEqual(sorted(self.folder.glob("*.part*")), [])

    def test_new_file_can_be_changed(self):
        self.convert(REAL / "jackcess_indexTestV2000.mdb", self.new)
        with sqlite3.connect(self.new) as database:
            database.execute("PRAGMA foreign_keys = ON")
            keys = database.execute("SELECT \"from\", \"table\", \"to\" FROM pragma_foreign_key_list('Table1')")
            self.assertEqual(sorted(keys.fetchall()), [("otherfk1", "Table2", "id"), ("otherfk2", "Table3", "id")])
            with self.assertRaises(sqlite3.IntegrityError):
                database.execute("INSERT INTO Table1 (id, otherfk1, otherfk2) VALUES (9, 77, 10)")
            database.execute("INSERT INTO Table1 (id, otherfk1, otherfk2) VALUES (9, 2, 10)")
            self.assertEqual(database.execute("SELECT otherfk3 FROM Table1 WHERE id = 9").fetchall(), [(0,)])
        # The greatest number was given to a row that is gone; it is not given again.
        data = bytearray((REAL / "jackcess_testUnicodeCompV2003.mdb").read_bytes())
        table = next(at for at in range(0, len(data), PAGE)
                     if data[at] == 2 and "Unicode".encode("utf-16-le") in data[at:at + PAGE])
        struct.pack_into("<I", data, table + 20, 41)
        (self.folder / "numbers.mdb").write_bytes(data)
        new = self.folder / "numbers.db"
        self.convert("numbers.mdb", new)
        query = [TOOL, "query", "--kind", "jet", "--database", str(new), "--format", "csv"]
        run = lambda text: subprocess.run([*query, text], capture_output=True, timeout=60, check=True).stdout.decode()
        run("INSERT INTO [Table] (Unicode) VALUES ('new')")
        self.assertEqual(run("SELECT ID FROM [Table] WHERE Unicode = 'NEW'").split(), ["ID", "42"])
        # A number that a session gives by default; hex() and "/" mean something else to it than to the engine.
        self.convert(REAL / "jackcess_testV1997.mdb", new := self.folder / "guid.db")
        query[5] = str(new)
        run("INSERT INTO Table4 (name) VALUES ('x')")
        self.assertRegex(run("SELECT data FROM Table4"), r"{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}}")
        self.convert(REAL / "jackcess_queryTestV2000.mdb", self.folder / "q.db")
        with sqlite3.connect(self.folder / "q.db") as database:
            self.assertEqual(database.execute("SELECT count(*) FROM SelectQuery").fetchall(), [(0,)])
            self.assertEqual(database.execute("SELECT count(*) FROM MSysProcedures").fetchall(), [(8,)])

    def test_refuses(self):
        good = REAL / "jackcess_testV1997.mdb"
        secret = REAL / "mdbreader_V2000_with-password.mdb"
        (self.folder / "same.mdb").write_bytes(good.read_bytes())
        (self.folder / "text.mdb").write_text("no Access file" * 400)
        (self.folder / "new.db.part").write_text("mine")
        for message, *words in [
                ("new.db.part is in the way", good, self.new), ("Not a valid password", secret, "b.db"),
                ("Unrecognized database format", "text.mdb", "b.db"), ("File not found", "none.mdb", "b.db"),
                ("Path not found", good, "none/b.db"), ("already exists", "same.mdb", "same.mdb")]:
            self.refused(message, *words)
        self.refused("Not a valid password", secret, "b.db", password="Password")
        for message, *words in [("two files", good), ("two files", good, "b.db", "c.db"), ("--color", "--color", good),
                                ("--code-page", "--code-page", "x", good, "b.db"),
                                ("QUARNOFWK_PASSWORD", "--password", "p", good)]:
            self.refused(message, *words, code=2)
        self.convert("--password-stdin", secret, "b.db", stdin="password\n")
        self.assertEqual(self.convert("--quiet", REAL / "mdbreader_longtext.accdb", "c.db"), "")
        self.convert("--code-page", 936, REAL / "ucanaccess_charsetGBK.mdb", "d.db")
        self.folder.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o700)
        self.refused("Permission denied", good, "e.db", **({"user": 65534} if os.geteuid() == 0 else {}))

    def test_damage(self):
        name = "jackcess_indexTestV2000.mdb"
        # The first row begins where the page's list of rows stands.
        path = self.damaged(name, b"baz11", 14, b"\xff\x0f")
        self.refused("--skip-damage", path, self.new)
        told = self.convert("--skip-damage", path, self.new)
        self.assertRegex(told, r"Table 'Table1': \d rows, \d values and \d pages could not be read\.")
        rows = contents(self.new)["Table1"][1]
        self.assertEqual(set(rows) - set(truth(REAL / name)["Table1"][1]), set())
        self.assertLess(len(rows), 4)

    def test_full_disk(self):
        data, _ = enlarged(200)
        (self.folder / "big.mdb").write_bytes(data)

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (200_000, 200_000))
        # Python ignores the signal that a limit sends, and so does what it starts this way.
        self.refused("error", "big.mdb", self.new, preexec_fn=limit, restore_signals=False)
        small = self.folder / "small"
        small.mkdir()
        mount = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
                 'mount -t tmpfs -o size=200k none "$1" && "$2" convert "$3" "$1/new.db"; code=$?; ls -A "$1"; '
                 "exit $code",
                 "sh", small, TOOL, self.folder / "big.mdb"]
        probe = subprocess.run(["unshare", "--user", "--map-root-user", "--mount", "mount", "-t", "tmpfs", "none",
                                small], capture_output=True, timeout=10)
        if probe.returncode != 0:
            self.skipTest("no file system of its own can be mounted here")
        done = subprocess.run(mount, capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout), (1, b""), done)
        self.assertIn(b"not enough space on disk", done.stderr)

    def test_killed_at_any_moment(self):
        data, count = enlarged(400)
        old = self.folder / "big.mdb"
        old.write_bytes(data)
        begin = time.monotonic()
        progress = subprocess.run([TOOL, "convert", "--progress", old, self.new], capture_output=True, timeout=60)
        whole = time.monotonic() - begin
        self.assertEqual(progress.returncode, 0, progress)
        self.assertRegex(progress.stderr.decode(), r"^copying Table1: \d+ of \d+ rows\n")
        self.assertLessEqual(progress.stderr.count(b"\n"), 1 + 10 * whole)
        self.assertEqual(len(contents(self.new)["Table1"][1]), count)
        self.new.unlink()
        chance = random.Random(5)
        parts = finished = 0
        for _ in range(60):
            # Most of them while rows go in, some at the end, where the file gets its name.
            moment = whole * (chance.uniform(0.1, 0.9) if chance.random() < 0.7 else chance.uniform(0.85, 1.1))
            process = subprocess.Popen([TOOL, "convert", old, self.new], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.PIPE)
            time.sleep(moment)
            process.kill()
            told = process.communicate(timeout=60)[1]
            # A part that was left is taken over, so it ends well or by the signal.
            self.assertIn(process.returncode, (0, -signal.SIGKILL), told)
            names = {path.name for path in self.folder.iterdir()} - {"big.mdb"}
            self.assertLessEqual(len(names), 1, names)
            parts += "new.db.part" in names
            if "new.db" not in names:
                self.assertEqual(process.returncode, -signal.SIGKILL)
                continue
            finished += 1
            with sqlite3.connect(self.new) as database:
                self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
                rows = database.execute("SELECT count(*), count(DISTINCT id) FROM Table1").fetchone()
                self.assertEqual(rows, (count, 2))
            database.close()
            self.new.unlink()
        self.assertGreater(parts, 5)
        self.convert(old, self.new)
        self.assertEqual(old.read_bytes(), data)
        # Two at once: the one that holds the part goes on, and the other never harms it.
        self.new.unlink()
        both = [subprocess.Popen([TOOL, "convert", old, self.new], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                for _ in range(2)]
        told = [process.communicate(timeout=60)[1] for process in both]
        self.assertEqual(sorted(process.returncode for process in both), [0, 1], told)
        self.assertEqual(len(contents(self.new)["Table1"][1]), count)


if __name__ == "__main__":
    report.main()
