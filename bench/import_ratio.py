#!/usr/bin/env python3
"""How long `station import` takes against the sqlite3 shell importing the same measurements into the same table, and
whether its memory stays level when the file doubles. Runs alternate, each into a fresh database; medians are compared.
"""
import argparse
import csv
import datetime
import pathlib
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import threading
import time

REPOSITORY = pathlib.Path(__file__).resolve().parents[1]
START = datetime.datetime(2015, 1, 1)
TIMEOUT_S = 600


def seconds_of(command, given=""):
    """How long a process runs that must succeed."""
    start = time.perf_counter()
    subprocess.run(command, input=given, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, text=True, check=True,
                   timeout=TIMEOUT_S)
    return time.perf_counter() - start


def peak_memory_of(command):
    """MB that a process held at most. Its own high-water mark is read while it runs: the one that the system keeps for
    a child also counts what this script held when it started it."""
    peak = 0
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        timer = threading.Timer(TIMEOUT_S, process.kill)
        timer.start()
        while process.poll() is None:
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii")
            peak = max([peak, *(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM"))])
            time.sleep(0.005)
        timer.cancel()
    if process.returncode != 0:
        sys.exit(f"{command[0]} failed ({process.returncode})")
    return peak / 1024


def station_import(station, source, database):
    return [station, "import", source, "--db", database, "--station", "E1", "--from", START.date().isoformat()]


def write_measurements(source, target):
    """The rows of the table, as the shell imports them."""
    with open(source, encoding="ascii", newline="") as read, open(target, "w", encoding="ascii", newline="") as written:
        rows, out = csv.reader(read), csv.writer(written, lineterminator="\n")
        names = [name.strip() for name in next(rows)]
        for hour, row in enumerate(rows):
            moment = START + datetime.timedelta(hours=hour)
            for name, cell in zip(names, row, strict=True):
                out.writerow(["E1", name, f"{moment:%Y%m%d}", f"{moment:%H.00}", 1, cell, "VAL"])


def content(database):
    with sqlite3.connect(database) as connection:
        return sorted(connection.execute("SELECT DT_MeasureCod, DT_DATE, DT_HOUR, DT_Custom1, DT_VALUE, DT_STATUS "
                                         "FROM MISURE"))


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("csv", nargs="?", help="file of hourly values (default: a sample of 7384 hours)")
    arguments.add_argument("--station", default=str(REPOSITORY / "build/release/bin/station"), help="the program")
    arguments.add_argument("--runs", type=int, default=7)
    given = arguments.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        source = pathlib.Path(given.csv) if given.csv else folder / "sample.csv"
        if not given.csv:
            subprocess.run([sys.executable, REPOSITORY / "examples/station/make_sample.py", source, "--hours", "7384"],
                           check=True, timeout=60)
        twice = folder / "twice.csv"
        header, rows = source.read_text(encoding="ascii").split("\n", 1)
        twice.write_text(f"{header}\n{rows}{rows}", encoding="ascii")
        write_measurements(source, folder / "measurements.csv")

        database, shell_database = folder / "station.db", folder / "shell.db"
        import_command = station_import(given.station, source, database)
        seconds_of(import_command)  # warms up, and makes the table whose definition both use
        with sqlite3.connect(database) as connection:
            ddl, = connection.execute("SELECT sql FROM sqlite_master WHERE name = 'MISURE'").fetchone()
        script = f"{ddl};\n.mode csv\n.import {folder / 'measurements.csv'} MISURE\n"
        timings = {"station import": [], "sqlite3 shell": []}
        for _ in range(given.runs):
            database.unlink()
            shell_database.unlink(missing_ok=True)
            timings["station import"].append(seconds_of(import_command))
            timings["sqlite3 shell"].append(seconds_of(["sqlite3", "-bail", shell_database], script))
        stored = content(database)
        if stored != content(shell_database):
            sys.exit("the two databases differ")
        database.unlink()
        memory = [peak_memory_of(import_command)]
        memory.append(peak_memory_of(station_import(given.station, twice, folder / "twice.db")))

        print(f"{len(stored)} measurements, {given.runs} alternating runs")
        for label, seconds in timings.items():
            median = statistics.median(seconds)
            spread = f"({min(seconds):.3f} to {max(seconds):.3f})"
            print(f"{label:<16}{median:8.3f} s  {spread}, {len(stored) / median:9.0f} rows/s")
        medians = [statistics.median(seconds) for seconds in timings.values()]
        print(f"ratio           {medians[0] / medians[1]:8.2f}")
        print(f"peak memory     {memory[0]:8.1f} MB; file twice as long: {memory[1]:.1f} MB")


if __name__ == "__main__":
    main()
