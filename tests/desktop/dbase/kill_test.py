"""Kills a program again and again while it writes to dBASE tables; what it had committed is there, and nothing half."""
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "support"))
import report

KILLS = 200


class KillTest(unittest.TestCase):
    pace = 0.01  # seconds that a transaction takes on this machine, as seen last

    def run_once(self, folder, whole, part):
        """What the program found, and the last transaction it said was done. Killed `part` of a transaction after
        `whole` ones."""
        with subprocess.Popen([os.environ["DBASE_KILL_PROBE"], folder], stdout=subprocess.PIPE, text=True) as probe:
            watch = threading.Timer(30, probe.kill)
            watch.start()
            found = probe.stdout.readline().split()
            begin = time.monotonic()
            lines = [probe.stdout.readline() for _ in range(whole)]
            if whole:
                self.pace = (time.monotonic() - begin) / whole
            time.sleep(part * self.pace)
            probe.kill()
            lines += probe.stdout.readlines()
            watch.cancel()
        done = [line.split(" ", 1) for line in lines if line.endswith("\n")]
        self.assertEqual([text for _, text in done if text.strip()], [])
        self.assertEqual(probe.wait(timeout=30), -9)
        return [int(number) for number in found], int(done[-1][0]) if done else None

    def test_nothing_is_lost_or_half(self):
        chance = random.Random(1)
        journals = 0
        with tempfile.TemporaryDirectory(prefix="qf-") as folder:
            promised = 0
            for kill in range(KILLS):
                found, last = self.run_once(folder, chance.randrange(2), chance.random())
                rows, total, done, notes = found
                self.assertEqual((rows, total, notes), (400 + done, 40000, done), f"after kill {kill}")
                self.assertIn(done, (promised, promised + 1), f"after kill {kill}")
                promised = done if last is None else last
                journals += any(name.endswith("-journal") for name in os.listdir(folder))
        self.assertGreater(promised, KILLS / 10)
        self.assertGreater(journals, KILLS / 20)  # it was killed at moments that matter
        print(f"{KILLS} kills, {journals} of them inside a commit, {promised} transactions")


if __name__ == "__main__":
    report.main()
