"""Drives the station example as a nightly job would and compares what it stored and printed with an independent
calculation. STATION_BINARY names the program; QUARNOFWK_SHARED_DATA the folder with gt_2015.csv."""
import datetime
import math
import os
import pathlib
import sqlite3
import subprocess
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPOSITORY / "tests/support"))
import report  # noqa: E402, it lies in a folder beside this one

STATION = os.environ.get("STATION_BINARY", str(REPOSITORY / "build/release/bin/station"))
REAL_FILE = pathlib.Path(os.environ.get("QUARNOFWK_SHARED_DATA", REPOSITORY.parent / "shared/data")) / "gt_2015.csv"
START = datetime.datetime(2015, 1, 1)
VALID = ("VAL", 1)


def run(*words):
    return subprocess.run([STATION, *map(str, words)], capture_output=True, text=True, timeout=120)


def stored(database):
    with sqlite3.connect(database) as connection:
        return sorted(connection.execute("SELECT DT_MeasureCod, DT_DATE, DT_HOUR, DT_VALUE, DT_STATUS, DT_Custom1 "
                                         "FROM MISURE WHERE DT_STATIONCODE = 'E1'"), key=str)


def measured(csv):
    """(time, parameter, value) straight from a clean CSV."""
    lines = csv.read_text(encoding="ascii").splitlines()
    names = [name.strip() for name in lines[0].split(",")]
    for hour, line in enumerate(lines[1:]):
        for name, cell in zip(names, line.split(","), strict=True):
            yield START + datetime.timedelta(hours=hour), name, float(cell)


class StationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.db = self.folder / "station.db"

    def sample(self, *options):
        csv = self.folder / "sample.csv"
        subprocess.run([sys.executable, REPOSITORY / "examples/station/make_sample.py", csv, *options], check=True,
                       timeout=60)
        return csv

    def written(self, content, name="input.csv"):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def import_file(self, csv, db=None):
        return run("import", csv, "--db", db or self.db, "--station", "E1", "--from", "2015-01-01")

    def report(self, *options, code=0):
        """Cells of each printed line by its first word."""
        done = run("report", *options, "--db", self.db, "--station", "E1")
        self.assertEqual((done.returncode, done.stderr), (code, ""))
        return {line.split()[0]: line.split()[1:] for line in done.stdout.splitlines()[2:]}

    def assert_reports_match(self, csv):
        values = list(measured(csv))
        names = {name for _, name, _ in values}
        for option, text, pattern in [("--month", "2015-01", "%Y-%m"), ("--month", "201502", "%Y%m"),
                                      ("--day", "2015-01-05", "%Y-%m-%d"), ("--day", "20150228", "%Y%m%d")]:
            report = self.report(option, text)
            self.assertEqual(set(report), names)
            for name in names:
                chosen = [v for time, n, v in values if n == name and time.strftime(pattern) == text]
                expected = [math.fsum(chosen) / len(chosen), max(chosen), min(chosen)]
                for cell, value in zip(report[name][:3], expected, strict=True):
                    self.assertAlmostEqual(float(cell), value, delta=1e-6, msg=f"{name} {text}")
                self.assertEqual(report[name][3:], [str(len(chosen))])

    def test_stores_and_reports_a_file(self):
        for options in [["--hours", "1416"], ["--hours", "1416", "--crlf"]]:
            with self.subTest(options):
                csv = self.sample(*options)
                self.db.unlink(missing_ok=True)
                done = self.import_file(csv)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertRegex(done.stdout, r"hours +1416\nmeasurements +15576\nwith errors +0\n")
                expected = [(n, t.strftime("%Y%m%d"), t.strftime("%H.00"), v, *VALID) for t, n, v in measured(csv)]
                self.assertEqual(stored(self.db), sorted(expected, key=str))
                self.assert_reports_match(csv)
        log = "".join(path.read_text() for path in (self.folder / "log").iterdir())
        self.assertEqual((log.count(" begins"), log.count(" ends: 15576 measurements, 0 with errors")), (2, 2))

    def test_real_file(self):
        if not REAL_FILE.exists():
            self.skipTest(f"{REAL_FILE} is not there")
        done = self.import_file(REAL_FILE)
        self.assertEqual((done.returncode, len(stored(self.db))), (0, 81224), done.stderr)
        self.assert_reports_match(REAL_FILE)
        month, day = self.report("--month", "2015-01"), self.report("--day", "2015-01-05")
        self.assertEqual([month["NOX"][0], month["CO"][0], *day["NOX"][:2]],
                         ["68.487208", "3.759680", "86.716292", "119.680000"])

    def test_keeps_and_reports_bad_rows(self):
        done = self.import_file(self.sample("--hours", "48", "--bad"))
        self.assertRegex(done.stdout, r"hours +48\nmeasurements +528\nwith errors +23\n")
        event_file, = (self.folder / "Errori").iterdir()
        problems = ['line 12 of .*: NOX "n.d." is no number', "line 22 of .*: has 4 columns instead of 11",
                    "line 32 of .*: has 12 columns instead of 11"]
        for text in (done.stderr, event_file.read_text()):
            for line, problem in zip(text.splitlines(), problems, strict=True):
                self.assertRegex(line, problem)
        bad = [row for row in stored(self.db) if row[3:] == (None, "ERR", 1)]
        self.assertEqual(len(bad), 23)
        self.assertEqual({row[1:3] for row in bad},
                         {("20150101", "10.00"), ("20150101", "20.00"), ("20150102", "06.00")})
        # What is not valid is not reported, and a parameter without any valid value is not 0.
        self.assertEqual(self.report("--hour", "2015-01-01", "10")["NOX"], ["no", "data"])
        self.assertEqual(self.report("--hour", "2015-01-01", "20", code=1)["AT"], ["no", "data"])
        self.assertEqual(self.report("--day", "2015-01-01")["NOX"][3], "22")
        self.assertEqual(self.report("--month", "2015-02", "--parameters", "CO", code=1), {"CO": ["no", "data"]})

    def test_reads_lines_of_every_kind(self):
        first = [("A", "20150101", "00.00", 1.5, *VALID), ("B", "20150101", "00.00", -2.0, *VALID)]

        def second(hour, a, b):
            return [(n, "20150101", hour, v, "ERR" if v is None else "VAL", 1) for n, v in (("A", a), ("B", b))]

        rows = [
            ("no line end at the end", b"A, B\n1.5,-2\n3,4", "01.00", 3.0, 4.0),
            ("CR", b"A,B\r1.5,-2\r3,4\r", "01.00", 3.0, 4.0),
            ("LF and CR LF", b"A,B\n1.5,-2\r\n3,4\r\n", "01.00", 3.0, 4.0),
            ("empty lines are no hours", b"A,B\n\n1.5,-2\n\n\n3,4\n\n", "01.00", 3.0, 4.0),
            ("forms of numbers", b"A,B\n1.5,-2\n +.25e1 ,1E-05", "01.00", 2.5, 0.00001),
            ("no numbers", b"A,B\n1.5,-2\n1e,inf\n", "01.00", None, None),
            ("no numbers", b"A,B\n1.5,-2\n0x10,--1\n", "01.00", None, None),
            ("out of range, empty", b"A,B\n1.5,-2\n1e999,\n", "01.00", None, None),
            ("comma at the end", b"A,B\n1.5,-2\n3,4,\n", "01.00", 3.0, 4.0),
            ("decimal comma", b"A,B\n1.5,-2\n3,1,4\n", "01.00", None, None),
            ("NUL in a number", b"A,B\n1.5,-2\n3\0003,4\n", "01.00", None, None),
            ("NUL, CR LF", b"A,B\r\n1.5,-2\r\n3\0003,4\r\n", "01.00", None, None),
            ("a line of NULs is an hour", b"A,B\n1.5,-2\n" + bytes(4096) + b"\n3,4\n", "02.00", 3.0, 4.0),
            ("10 MB line", b"A,B\n1.5,-2\n" + b"7" * 10_000_000 + b",1\n3,4\n", "02.00", 3.0, 4.0),
            ("10 million columns", b"A,B\n1.5,-2\n" + b"," * 10_000_000 + b"\n3,4\n", "02.00", 3.0, 4.0),
        ]
        for name, content, hour, a, b in rows:
            with self.subTest(name):
                self.db.unlink(missing_ok=True)
                done = self.import_file(self.written(content))
                self.assertEqual(done.returncode, 0, done.stderr)
                rest = [row for row in stored(self.db) if hour == "01.00" or row[2] != "01.00"]
                self.assertEqual(rest, sorted(first + second(hour, a, b), key=str))
                self.assertEqual(done.stderr == "", name in ("no line end at the end", "CR", "LF and CR LF",
                                                             "forms of numbers"), done.stderr)

    def test_refuses_what_it_cannot_store(self):
        good = self.sample("--hours", "24")
        self.assertEqual(self.import_file(good).returncode, 0)
        before = stored(self.db)
        rows = [
            (self.folder / "missing.csv", "no such file"), (self.folder, "is no file"),
            (self.written(b"", "empty.csv"), "is empty"), (self.written(b"A,B\n\n", "header.csv"), "holds no rows"),
            (self.written(b"A,\n1,2\n", "unnamed.csv"), "parameter name"),
            (self.written(b"A,O'B\n1,2\n", "quote.csv"), "apostrophe"),
            (self.written(b"A,B\n1,2\r3,4\n", "mixed.csv"), "line ends"),
            (self.written(b"N,N\n1,2\n", "twice.csv"), "Duplicated Key!"),
            # A year of new parameters before the one that is there: the whole file must go.
            (self.written(b"X,NOX\n" + b"1,2\n" * 8760, "again.csv"), "Duplicated Key!"), (good, "Duplicated Key!"),
        ]
        for csv, message in rows:
            with self.subTest(csv.name):
                done = self.import_file(csv)
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertIn(message, done.stderr)
                self.assertEqual("nothing is stored" in done.stderr, message in ("holds no rows", "Duplicated Key!"))
                self.assertEqual(stored(self.db), before)
        event_file, = (self.folder / "Errori").iterdir()
        self.assertEqual(event_file.read_text().count(" failed: "), len(rows))
        no_database = self.written(b"no database at all " * 100, "text.db")
        for db in (no_database, self.folder, self.folder / "missing/x.db"):
            self.assertEqual(self.import_file(good, db).returncode, 1, db)
        self.assertEqual(no_database.read_bytes(), b"no database at all " * 100)
        done = run("report", "--day", "2015-01-01", "--db", self.folder / "none.db", "--station", "E1")
        self.assertEqual((done.returncode, (self.folder / "none.db").exists()), (1, False), done.stderr)

    def test_exports_a_day(self):
        csv = self.sample("--hours", "48", "--bad")
        self.assertEqual(self.import_file(csv).returncode, 0)
        out = self.folder / "regional.txt"
        words = ["export", "--day", "2015-01-01", "--db", self.db, "--station", "E1", "--parameters", "CO,NOX",
                 "--file"]
        for times in (1, 2):  # a second export is appended
            self.assertEqual(run(*words, out).returncode, 0)
            self.assertEqual(len(out.read_bytes().split(b"\r\n")), times * 48 + 1)
        records = [line.split("|") for line in out.read_text().splitlines()][:48]
        for record, row in zip(records, [row for row in stored(self.db) if row[:2] in (
                ("CO", "20150101"), ("NOX", "20150101"))], strict=True):
            code = {"CO": "10", "NOX": "11"}[row[0]]
            valid = row[4] == "VAL"
            self.assertEqual(record[:8], ["E1", f"01/01/2015 {row[2]}", code, "5", "1", "S" if valid else "N",
                                          "100" if valid else "0", "0"])
            self.assertEqual([float(text) for text in record[8:]], [row[3] or 0] * 2)
        done = run(*words, self.folder / "missing/regional.txt")
        self.assertEqual((done.returncode, done.stderr.count("0 of 48 records")), (1, 1))
        self.assertEqual(run(*words[:2], "2015-03-01", *words[3:], out).returncode, 1)

    def test_usage(self):
        self.assertIn("station import", run("--help").stdout)
        common = ["--db", self.db, "--station", "E1"]
        rows = [
            ([], "the command is missing"), (["sing"], "no command"), (["report", *common], "one of --day"),
            (["import", *common, "--from", "2015-01-01"], "file to import is missing"),
            (["import", "x.csv", *common, "--from", "2015-02-29"], "no day"),
            (["import", "x.csv", *common, "--from"], "--from needs"),
            (["import", "x.csv", "y.csv", *common, "--from", "2015-01-01"], "too many"),
            (["report", *common, "--day", "2015-01-01", "--month", "2015-01"], "one of --day"),
            (["report", *common, "--month", "2015-13"], "no month"),
            (["report", *common, "--hour", "2015-01-01", "24"], "no hour"),
            (["report", *common, "--day", "20150101", "--parameters", "A,,B"], "is empty"),
            (["report", *common, "--day", "20150101", "--color", "red"], "--color does not belong"),
            (["report", "--db", "x", "--station", "A'--", "--day", "20150101"], "apostrophe"),
            (["export", *common, "--day", "20150101"], "--file is missing"),
        ]
        for words, message in rows:
            with self.subTest(words):
                done = run(*words)
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertIn(message, done.stderr.splitlines()[0])
        self.assertFalse(self.db.exists())


if __name__ == "__main__":
    report.main()
