#!/usr/bin/env python3
"""Counts what the test programs of one or more runs reported and prints "N passed, N failed, N skipped".

usage: test_summary.py JUNIT_FILE=REPORT_FOLDER ...

JUNIT_FILE is what ctest wrote, REPORT_FOLDER holds a JSON report for each program that counts its own cases. A program
that ended without a report, or that ctest calls failed although its report names no failure, counts as one failure.
"""

import json
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def own_counts(report: Path):
    """Passed, failed and skipped cases of one program, or None without a readable report."""
    try:
        data = json.loads(report.read_text())
    except (OSError, ValueError):
        return None
    skipped = data.get("skipped")
    if skipped is None:
        cases = [case for suite in data.get("testsuites", []) for case in suite["testsuite"]]
        skipped = sum(case.get("result") == "SKIPPED" for case in cases)
    failed = data["failures"] + data.get("errors", 0)
    return data["tests"] - failed - skipped - data.get("disabled", 0), failed, skipped


def run_counts(junit: Path, folder: Path):
    passed = failed = skipped = 0
    for case in ElementTree.parse(junit).getroot().iter("testcase"):
        status = case.get("status")
        counts = own_counts(folder / f"{case.get('name')}.json")
        if counts is None:
            counts = (int(status == "run"), int(status == "fail"), int(status not in ("run", "fail")))
        elif status == "fail" and counts[1] == 0:
            counts = (counts[0], 1, counts[2])
        passed, failed, skipped = passed + counts[0], failed + counts[1], skipped + counts[2]
    return passed, failed, skipped


def main() -> int:
    runs = [argument.split("=", 1) for argument in sys.argv[1:]]
    totals = [sum(column) for column in zip(*(run_counts(Path(junit), Path(folder)) for junit, folder in runs))]
    print(f"{totals[0]} passed, {totals[1]} failed, {totals[2]} skipped")
    return 1 if totals[1] > 0 or totals[0] == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
