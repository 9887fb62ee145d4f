#!/usr/bin/env python3
"""Reads the table of a data source with pyodbc and prints one line, as the other readers do when they are alone: the
checksum's four sums, seconds, and the peak of memory in KB. Starting Python does not count.

usage: pyodbc_read.py DATA_SOURCE TABLE
"""
import datetime
import pathlib
import sys
import time

import pyodbc

HOURS_BEFORE_1970 = datetime.date(1970, 1, 1).toordinal() * 24


def main():
    source, table = sys.argv[1:]
    wholes = hours = text_bytes = 0
    reals = 0.0
    start = time.perf_counter()
    with pyodbc.connect(f"DSN={source}", timeout=30) as connection:
        cursor = connection.cursor()
        cursor.execute(f"SELECT id, station, code, day, hour, value, status, state FROM {table}")
        while rows := cursor.fetchmany(1000):
            for row in rows:
                wholes += row.id + row.state
                # Their characters are all ASCII.
                text_bytes += len(row.station) + len(row.code) + len(row.hour) + len(row.status)
                day = row.day
                hours += day.toordinal() * 24 + day.hour - HOURS_BEFORE_1970
                reals += row.value
    seconds = time.perf_counter() - start
    status = pathlib.Path("/proc/self/status").read_text(encoding="ascii")
    peak = next(line.split()[1] for line in status.splitlines() if line.startswith("VmHWM"))
    print(wholes, f"{reals:.17g}", hours, text_bytes, f"{seconds:.6f}", peak)


if __name__ == "__main__":
    main()
