"""Leaves the counts of a run of tests where QUARNOFWK_TEST_REPORT says, and ends the program with their outcome."""
import json
import os
import pathlib
import sys
import unittest


def finish(result):
    # Rows of a table fail one by one, yet count as the one test they belong to.
    failed = {getattr(test, "test_case", test) for test, _ in result.failures + result.errors}
    failed.update(result.unexpectedSuccesses)
    counts = {"tests": result.testsRun, "failures": len(failed), "skipped": len({test for test, _ in result.skipped})}
    if report_file := os.environ.get("QUARNOFWK_TEST_REPORT"):
        pathlib.Path(report_file).write_text(json.dumps(counts))
    sys.exit(bool(failed) or result.testsRun == 0)


def main():
    finish(unittest.main(module="__main__", exit=False, verbosity=2).result)
