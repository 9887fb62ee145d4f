"""Compares the functions that the C header declares with those that the library exports.

Usage: exports.py HEADER LIBRARY NM
"""
import re
import subprocess
import sys


def main(header, library, nm):
    with open(header, encoding="utf-8") as file:
        declared = set(re.findall(r"^QF_API\b[^;(]*?\b(\w+)\(", file.read(), re.MULTILINE))
    listing = subprocess.run([nm, "-D", "--defined-only", library], capture_output=True, text=True, timeout=60,
                             check=True).stdout
    exported = {line.split()[-1] for line in listing.splitlines()}
    for name in sorted(declared - exported):
        print(f"declared but not exported: {name}")
    for name in sorted(exported - declared):
        print(f"exported but not declared: {name}")
    print(f"{len(declared)} functions declared, {len(exported)} symbols exported")
    return 0 if declared and declared == exported else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
