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


def main() -> int:
    binaries = Path(sys.argv[1]) / "bin"
    quiet = {**os.environ, "QUARNOFWK_UI": "none"}
    print("Calls by name through quarnofwk.hpp, medians of five:", flush=True)
    subprocess.run([binaries / "call_bench", "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
                    "--benchmark_filter=.", "--benchmark_out_format=console"], check=True, env=quiet)
    print("\nReading by name against the engine's C interface, medians of five:", flush=True)
    subprocess.run([binaries / "read_bench"], check=True, env=quiet)
    print("\nImport of measurements against the sqlite3 shell:", flush=True)
    return subprocess.run([sys.executable, HERE / "import_ratio.py", "--station", binaries / "station", *sys.argv[2:]],
                          env=quiet).returncode


if __name__ == "__main__":
    sys.exit(main())
