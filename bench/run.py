#!/usr/bin/env python3
"""Runs every measurement and prints its table.

usage: run.py BUILD_FOLDER [CSV]

CSV: the hours whose import is measured; a generated sample when it is left out.
"""

import os
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
TIMEOUT_S = 3600

TABLES = (
    ("Calls by name through quarnofwk.hpp, medians of five",
     ["call_bench", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true", "--benchmark_filter=.",
      "--benchmark_out_format=console"]),
    ("Reading a database file by name against the engine's C interface", ["read_bench"]),
    ("Reading through ODBC by name against raw block fetch", ["odbc_read_bench", HERE / "pyodbc_read.py"]),
    ("Writing in one transaction against prepared single-row inserts", ["write_bench"]),
    ("Access files and dBASE folders against mdb-export and the engine's C interface", ["desktop_bench"]),
    ("Hierarchies against their two statements as plain queries", ["hierarchy_bench"]),
    ("Snapshots in XML against fprintf and expat", ["persist_bench"]),
    ("Delimited text against memchr, and a log against fprintf and fflush", ["text_bench"]),
)


def main() -> int:
    binaries = Path(sys.argv[1]) / "bin"
    quiet = {**os.environ, "QUARNOFWK_UI": "none"}
    for title, (program, *arguments) in TABLES:
        print(f"{title}:", flush=True)
        subprocess.run([binaries / program, *arguments], check=True, env=quiet, timeout=TIMEOUT_S)
        print(flush=True)
    print("Import of measurements against the sqlite3 shell:", flush=True)
    return subprocess.run([sys.executable, HERE / "import_ratio.py", "--station", binaries / "station", *sys.argv[2:]],
                          env=quiet, timeout=TIMEOUT_S).returncode


if __name__ == "__main__":
    sys.exit(main())
