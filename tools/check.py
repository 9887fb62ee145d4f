#!/usr/bin/env python3
"""What ./run check does, in the repository's root: formatting, clang-tidy, derived pages, the share of test lines.

usage: check.py BUILD_FOLDER
"""

import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

PRODUCT = ("src/", "include/", "python/quarnofwk/", "examples/", "tools/")
TESTS = ("tests/", "python/tests/")
CODE = (".cpp", ".hpp", ".h", ".c", ".py")


def tracked(*endings: str) -> list[str]:
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], check=True, capture_output=True, text=True)
    return [name for name in names.stdout.split("\n") if name.endswith(endings) and Path(name).is_file()]


def formatting() -> bool:
    files = tracked(".cpp", ".hpp", ".h", ".c")
    return subprocess.run(["clang-format", "--dry-run", "--Werror", *files]).returncode == 0


def tidy(build: str) -> bool:
    files = [name for name in tracked(".cpp") if name.startswith("src/")]

    def one(name: str) -> bool:
        result = subprocess.run(["clang-tidy", "--quiet", "-p", build, name], capture_output=True, text=True, timeout=300)
        if result.returncode != 0:
            print(result.stdout)
        return result.returncode == 0

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        return all(list(pool.map(one, files)))


def derived(build: str) -> bool:
    return subprocess.run([f"{build}/bin/derive", "--check", "docs/reference"]).returncode == 0


def lines(prefixes: tuple[str, ...]) -> int:
    files = [name for name in tracked(*CODE) if name.startswith(prefixes)]
    return sum(len(Path(name).read_text(encoding="utf-8").splitlines()) for name in files)


def share() -> bool:
    product, tests = lines(PRODUCT), lines(TESTS)
    print(f"test lines: {tests} for {product} product lines, {100 * tests // product} % (meant: 25 to 33 %)")
    return True


def main() -> int:
    build = sys.argv[1]
    steps = {"formatting": formatting, "derived pages": lambda: derived(build), "clang-tidy": lambda: tidy(build),
             "share of test lines": share}
    failed = [name for name, step in steps.items() if not step()]
    print("check: " + ("failed: " + ", ".join(failed) if failed else "all good"))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
