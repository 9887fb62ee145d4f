"""Drives the command-line tool: queries on a database file, through a data link file and through an ODBC data source,
and the list of providers. QUARNOFWK_BINARY names the program."""
import csv
import io
import json
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

TOOL = os.environ.get("QUARNOFWK_BINARY", str(REPOSITORY / "build/dev/bin/quarnofwk"))
SQLITE_DRIVER = next(pathlib.Path("/usr/lib").glob("*/odbc/libsqlite3odbc.so"), None)
UDL_HEAD = "[oledb]\r\n; Everything after this line is an OLE DB initstring\r\n"


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.database = self.folder / "a.db"
        with sqlite3.connect(self.database) as connection:
            connection.executescript("""
                CREATE TABLE T(ID INTEGER PRIMARY KEY, S VARCHAR(40), D DATETIME, X DOUBLE, C CURRENCY, B BOOLEAN,
                               Z BLOB);
                INSERT INTO T VALUES(1, 'a,"b"' || char(13, 10) || 'è😀\\' || char(27), 42009.5, 0.1, 12.5, -1, x'00ff');
                INSERT INTO T VALUES(2, '', NULL, NULL, NULL, NULL, NULL);""")
        # Nothing of this machine's own settings.
        site = self.put("site.ini", "")
        self.environment = dict(os.environ, ODBCSYSINI=str(self.folder), QUARNOFWK_PROVIDERS=str(site))
        self.environment.pop("ODBCINI", None)

    def put(self, name, content, encoding="utf-8"):
        path = self.folder / name
        path.write_bytes(content.encode(encoding))
        return path

    def run_tool(self, *words, code=0, stdin="", **environment):
        done = subprocess.run([TOOL, *map(str, words)], capture_output=True, timeout=60, input=stdin.encode(),
                              env=self.environment | environment, cwd=self.folder)
        self.assertEqual(done.returncode, code, done)
        self.assertEqual(done.stderr == b"", code == 0, done)
        return (done.stderr if code else done.stdout).decode()

    def query(self, *words, **more):
        return self.run_tool("query", *words, **more)

    def test_formats(self):
        jet = ("--kind", "jet", "--database", self.database)
        text = 'a,"b"\r\nè😀\\\x1b'
        lines = self.query(*jet, "--format", "jsonl", "SELECT * FROM T").splitlines()
        self.assertEqual([json.loads(line) for line in lines], [
            {"ID": 1, "S": text, "D": "2015-01-05T12:00:00", "X": 0.1, "C": 12.5, "B": True, "Z": "00ff"},
            {"ID": 2, "S": "", "D": None, "X": None, "C": None, "B": None, "Z": None}])
        raw = self.query(*jet, "--format", "csv", "SELECT * FROM T")
        self.assertEqual(list(csv.reader(io.StringIO(raw, newline=""), strict=True)), [
            ["ID", "S", "D", "X", "C", "B", "Z"],
            ["1", text, "2015-01-05T12:00:00", "0.1", "12.5", "true", "00ff"], ["2", "", "", "", "", "", ""]])
        self.assertTrue(raw.endswith('\r\n2,"",,,,,\r\n'), raw)  # an empty text is not a null
        self.assertEqual(self.query(*jet, "SELECT ID, S, X FROM T").splitlines(), [
            "ID  S                   X", "--  ------------------  ---",
            ' 1  a,"b"\\x0d\\nè😀\\\\x1b  0.1', " 2", "(2 rows)"])
        self.assertEqual(self.query(*jet, "--format", "csv", "SELECT ID FROM T WHERE 1=0"), "ID\r\n")
        self.assertEqual(self.query(*jet, "DELETE FROM T WHERE ID=2"), "")
        self.assertIn("(1 row)", self.query("--kind", 2, "--database", self.database, "SELECT ID FROM T"))

    def test_data_link_files(self):
        line = f"Provider=Microsoft.Jet.OLEDB.4.0;Data Source={self.database}"
        udl = self.put("a.udl", UDL_HEAD + line, "utf-16")
        self.assertIn("(2 rows)", self.query("--udl", udl, "SELECT ID FROM T"))
        for content, message in [(line, "Invalid UDL file"), (UDL_HEAD + "File Name=b.udl", "another data link file")]:
            self.assertIn(message, self.query("--udl", self.put("a.udl", content), "SELECT 1", code=1))
        self.assertIn("missing.udl", self.query("--udl", "missing.udl", "SELECT 1", code=1))

    @unittest.skipUnless(SQLITE_DRIVER, "the SQLite ODBC driver is not there")
    def test_odbc(self):
        self.put("odbcinst.ini", f"[SQLite3]\nDriver={SQLITE_DRIVER}\n")
        self.put("odbc.ini", f"[lite]\nDriver=SQLite3\nDatabase={self.database}\n")
        self.put("site.ini", "[drivers]\nMySQL ODBC 5.1 Driver = SQLite3\n[providers]\nSQLOLEDB = DSN=lite\n")
        statement = ("--format", "csv", "SELECT ID FROM T ORDER BY 1")
        for words in [("odbc", "--server", "lite"), ("mysql5", "--database", self.database),
                      ("sql", "--server", "elsewhere")]:
            self.assertEqual(self.query("--kind", *words, *statement), "ID\r\n1\r\n2\r\n", words)
        # The password goes to the driver as it is, so it shows here by the word it brings along.
        other = self.folder / "other.db"
        with sqlite3.connect(other) as connection:
            connection.executescript("CREATE TABLE T(ID INTEGER); INSERT INTO T VALUES(7)")
        login = ("--kind", "odbc", "--server", "lite", "--user", "u")
        secret = f"p;DATABASE={other}"
        self.assertEqual(self.query(*login, *statement, QUARNOFWK_PASSWORD=secret), "ID\r\n7\r\n")
        self.assertEqual(self.query(*login, "--password-stdin", *statement, stdin=secret + "\n"), "ID\r\n7\r\n")
        for kind, message in [("odbc", "-2147467259 (QuarnoFwk ODBC Provider): "), ("mysql", "-2146824582 ")]:
            told = self.query("--kind", kind, "--server", "none", "SELECT 1", code=1, QUARNOFWK_PASSWORD="hush")
            self.assertIn(message, told)
            self.assertNotIn("hush", told)
        self.assertFalse((self.folder / "QuarnoLog.txt").exists())

    def test_lists_providers(self):
        lines = self.run_tool("providers").splitlines()
        self.assertEqual([line.split()[:2] for line in lines[1:]], [
            [str(i), name] for i, name in enumerate("sql odbc jet as400 dbase udl mysql oracle sybase mysql5".split())])
        self.assertRegex(lines[7], "not available: .*MySQL ODBC 3.51 Driver, MariaDB.*Debian package: odbc-mariadb")
        self.put("odbcinst.ini", "[MariaDB Unicode]\nDriver=x.so\n[FreeTDS]\nDriver=y.so\n")
        self.put("site.ini", "[providers]\nOraOLEDB.Oracle = DSN=ora\n")
        lines = self.run_tool("providers").splitlines()
        for number, reached in [(0, "ODBC: FreeTDS"), (6, "ODBC: MariaDB Unicode"), (7, "ODBC: ora")]:
            self.assertTrue(lines[number + 1].endswith(reached), lines)
        self.put("site.ini", "oops\n")
        self.assertIn("Line 1", self.run_tool("providers", code=1))

    def test_refuses(self):
        jet = ("query", "--kind", "jet", "--database", self.database)
        for words, message in [
                ([], "no command"), (["sing"], "no command"), (["providers", "x"], "too much"),
                (["query", "S"], "--kind"), ([*jet], "statement"), ([*jet, "S", "T"], "two statements"),
                ([*jet, "--color", "red", "S"], "--color"),
                ([*jet, "--format", "xml", "S"], "xml"), (["query", "--kind", "10", "S"], "--kind"),
                (["query", "--kind", "sqlite", "S"], "no kind"), ([*jet, "--timeout", "1x", "S"], "--timeout"),
                ([*jet, "--password", "p", "S"], "QUARNOFWK_PASSWORD")]:
            self.assertIn(message, self.run_tool(*words, code=2), words)
        self.assertRegex(self.run_tool(*jet, "SELECT nosuch FROM T", code=1), r"error -21472\d+ \(.+\): .*nosuch")
        self.assertIn("Usage:", self.run_tool("--help"))
        self.assertRegex(self.run_tool("--version"), r"^quarnofwk \d+\.\d+")


if __name__ == "__main__":
    report.main()
