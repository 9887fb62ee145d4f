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


def main() -> int:
    binaries = Path(sys.argv[1]) / "bin"
    quiet = {**os.environ, "QUARNOFWK_UI": "none"}
    print("Calls by name through quarnofwk.hpp, medians of five:", flush=True)
    subprocess.run([binaries / "call_bench", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
                    "--benchmark_filter=.", "--benchmark_out_format=console"], check=True, env=quiet, timeout=TIMEOUT_S)
    print("\nReading a database file by name against the engine's C interface:", flush=True)
    subprocess.run([binaries / "read_bench"], check=True, env=quiet, timeout=TIMEOUT_S)
    print("\nReading through ODBC by name against raw block fetch:", flush=True)
    subprocess.run([binaries / "odbc_read_bench", HERE / "pyodbc_read.py"], check=True, env=quiet, timeout=TIMEOUT_S)
    print("\nWriting in one transaction against prepared single-row inserts:", flush=True)
    subprocess.run([binaries / "write_bench"], check=True, env=quiet, timeout=TIMEOUT_S)
    print("\nAccess files and dBASE folders against mdb-export and the engine's C interface:", flush=True)
    subprocess.run([binaries / "desktop_bench"], check=True, env=quiet, timeout=TIMEOUT_S)
    print("\nImport of measurements against the sqlite3 shell:", flush=True)
    return subprocess.run([sys.executable, HERE / "import_ratio.py", "--station", binaries / "station", *sys.argv[2:]],
                          env=quiet, timeout=TIMEOUT_S).returncode


if __name__ == "__main__":
    sys.exit(main())
