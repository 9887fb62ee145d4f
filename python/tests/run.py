#!/usr/bin/env python3
"""Runs every test beside this file."""
import os
import sys
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent), str(HERE.parents[1] / "tests/support")]
import report  # noqa: E402, it lies in a folder of its own

if __name__ == "__main__":
    os.environ.setdefault("QUARNOFWK_UI", "none")
    suite = unittest.defaultTestLoader.discover(str(HERE), top_level_dir=str(HERE))
    report.finish(unittest.TextTestRunner(verbosity=2 if "-v" in sys.argv else 1).run(suite))
