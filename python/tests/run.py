#!/usr/bin/env python3
"""Runs every test beside this file. With QUARNOFWK_TEST_REPORT naming a file, the counts are written there as JSON."""

import json
import os
import sys
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent


def main() -> int:
    os.environ.setdefault("QUARNOFWK_UI", "none")
    sys.path[:0] = [str(HERE), str(HERE.parent)]
    suite = unittest.defaultTestLoader.discover(str(HERE), top_level_dir=str(HERE))
    result = unittest.TextTestRunner(verbosity=2 if "-v" in sys.argv else 1).run(suite)
    # Rows of a table fail one by one, yet count as the one test they belong to.
    failed = {getattr(test, "test_case", test) for test, _ in result.failures + result.errors}
    failed.update(result.unexpectedSuccesses)
    report = {"tests": result.testsRun, "failures": len(failed), "skipped": len({test for test, _ in result.skipped})}
    if os.environ.get("QUARNOFWK_TEST_REPORT"):
        Path(os.environ["QUARNOFWK_TEST_REPORT"]).write_text(json.dumps(report) + "\n")
    return 1 if failed or result.testsRun == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
