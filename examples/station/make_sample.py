#!/usr/bin/env python3
"""Writes a sample of hourly gas-turbine measurements as CSV; the same arguments always give the same file."""
import argparse
import math
import random

# Name as in the header (one keeps the blank that real files have), mean, daily swing, noise, digits.
COLUMNS = [
    ("AT", 17.7, 6.0, 1.5, 5), ("AP", 1013.1, 2.0, 3.0, 5), ("AH", 77.9, 12.0, 4.0, 5), ("AFDP ", 3.93, 0.3, 0.4, 5),
    ("GTEP", 25.6, 2.0, 2.0, 5), ("TIT", 1081.4, 9.0, 6.0, 5), ("TAT", 546.2, 2.5, 3.0, 5), ("TEY", 133.5, 8.0, 7.0, 5),
    ("CDP", 12.1, 0.6, 0.5, 5), ("CO", 2.37, 0.8, 0.7, 5), ("NOX", 65.3, 6.0, 5.0, 5),
]


def rows(hours, seed):
    noise = random.Random(seed)
    for hour in range(hours):
        day = math.sin(2 * math.pi * (hour % 24 - 9) / 24)
        yield [format(max(0.01, mean + swing * day + noise.gauss(0, spread)), f".{digits}g")
               for _, mean, swing, spread, digits in COLUMNS]


def spoil(table):
    """Three rows as damaged loggers write them: a cell that is no number, a row cut short, a column too many."""
    table[10][-1] = "n.d."
    table[20] = table[20][:4]
    table[30].insert(3, "7")


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("file")
    arguments.add_argument("--hours", type=int, default=744)
    arguments.add_argument("--seed", type=int, default=1)
    arguments.add_argument("--bad", action="store_true", help="spoil rows 11, 21 and 31 (needs 31 hours)")
    arguments.add_argument("--crlf", action="store_true", help="lines end with CR LF instead of LF")
    given = arguments.parse_args()
    if given.hours < (31 if given.bad else 1):
        arguments.error("too few hours")
    table = list(rows(given.hours, given.seed))
    if given.bad:
        spoil(table)
    with open(given.file, "w", encoding="ascii", newline="\r\n" if given.crlf else "\n") as out:
        print(*(column[0] for column in COLUMNS), sep=",", file=out)
        for row in table:
            print(*row, sep=",", file=out)


if __name__ == "__main__":
    main()
