"""Runs the tests of the program that calls it, and leaves their counts where QUARNOFWK_TEST_REPORT says."""
import json
import os
import pathlib
import sys
import unittest


def main():
    result = unittest.main(module="__main__", exit=False, verbosity=2).result
    if report_file := os.environ.get("QUARNOFWK_TEST_REPORT"):
        counts = {"tests": result.testsRun, "failures": len(result.failures) + len(result.errors),
                  "skipped": len(result.skipped)}
        pathlib.Path(report_file).write_text(json.dumps(counts))
    sys.exit(not result.wasSuccessful())
