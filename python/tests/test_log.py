"""Lines of a log when the process that writes them is killed."""

import os
import random
import signal
import tempfile
import time
import unittest
from pathlib import Path

from quarnofwk import Dispatch
from through_library import Case

MODE_APPEND = 2


class Logs(Case):
    def test_confirmed_lines_survive_a_kill(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "app.log"
            log = Dispatch("CSuperLog")
            log.fileName = str(path)
            log.OpenMode = MODE_APPEND
            chance = random.Random(3)
            written = 0
            for _ in range(12):
                results, confirm = os.pipe()
                child = os.fork()
                if child == 0:
                    while log.WriteLog(f"{written} {'perché' * (written % 90)}"):
                        os.write(confirm, b".")
                        written += 1
                    os._exit(1)
                os.close(confirm)
                time.sleep(chance.uniform(0.005, 0.03))
                os.kill(child, signal.SIGKILL)
                self.assertEqual(os.waitpid(child, 0)[1], signal.SIGKILL)
                with os.fdopen(results, "rb") as pipe:
                    written += len(pipe.read())
                lines = path.read_bytes().decode("cp1252").split("\r\n")
                self.assertEqual(lines[:written], [f"{n} {'perché' * (n % 90)}" for n in range(written)])
                # One more may be there, whole or not; the next process goes on behind what was confirmed.
                self.assertLessEqual(len(lines), written + 2)
                path.write_bytes("".join(line + "\r\n" for line in lines[:written]).encode("cp1252"))
            self.assertGreater(written, 200)


if __name__ == "__main__":
    unittest.main()
