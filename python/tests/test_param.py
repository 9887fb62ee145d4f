"""Parameter files and cipher texts against the rules, read once more here; processes that write at once, that are
killed, and that find the disk full. QUARNOFWK_BINARY names the command-line tool."""

import os
import random
import resource
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from quarnofwk import ByRef, Dispatch
from through_library import Case

PAGE = "".join(bytes([b]).decode("cp1252", "ignore") or chr(b) for b in range(256))
TOOL = os.environ.get("QUARNOFWK_BINARY")


def ansi(text):
    return bytes(PAGE.index(c) if c in PAGE else ord("?") for c in text)


def reading(raw):
    return "".join(PAGE[b] for b in raw)


def matching(lines, wanted):
    return next((i for i, line in enumerate(lines) if wanted.upper() in line.upper()), None)


def value_of(raw, tag):
    """What a reader gives; None when no line holds the tag."""
    lines = reading(raw).replace("\r\n", "\r").split("\r")
    found = matching(lines, tag + "=")
    return None if found is None else lines[found][len(tag) + 1:].strip(" ")


def changed(raw, tag, value):
    if not raw:
        return ansi(f"{tag}={value}")
    lines = reading(raw).split("\r\n")
    found = matching(lines, tag + "=")
    if found is not None:
        lines[found] = f"{tag}={value}"
    new = ansi("".join(line + "\r\n" for line in lines) + (f"\r\n{tag}={value}" if found is None else ""))
    return new + raw[len(new):]


def encrypted(clear, start):
    groups = [f"{start:X}"]
    for i, code in enumerate(ansi(clear)):
        start = (code + start) % 255 ^ b"dorsin"[i % 6]
        groups.append(f"{start:2X}")
    return "".join(groups)


class ParamFiles(Case):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.file = self.folder / "a.ini"
        self.param = Dispatch("CParam")
        self.param.ParamFile = str(self.file)

    def read(self, tag):
        """None when not found; both readers agree and leave the same tag."""
        first, second, value = ByRef(tag), ByRef(tag), ByRef("old")
        found = self.param.GetIniString(first, value)
        self.assertEqual((self.param.GetStringIni(second), first.value, second.value), (value.value, tag + "=", tag + "="))
        return value.value if found else None

    def write(self, tag, value):
        variable = ByRef(tag)
        self.assertIsNone(self.param.SetStringIni(variable, value))
        self.assertEqual(variable.value, tag + "=")

    def test_any_files(self):
        chance = random.Random(32)
        pieces = ["\r\n", "\r\n", "\r", "\n", "=", "=", " ", "A", "a", "b", "É", "é", "ž", "Ž", "ÿ", "Ÿ", "ß", "€", "[", ".*",
                  "?", "\\", "\0", "\x9d", "1", "×", "÷"]
        hits = cuts = 0
        for round in range(400):
            def text(most):
                return "".join(chance.choice(pieces) for _ in range(chance.randrange(most)))
            raw = ansi(text(25))
            if round % 5 == 0:
                raw = b""
            tag = text(3) + chance.choice(["", "", "", "Ж", "="])
            value = text(6) + chance.choice(["", "", "Ж"])
            self.file.write_bytes(raw)
            expected = value_of(raw, tag)
            with self.subTest(raw=raw, tag=tag, value=value):
                self.assertEqual(self.read(tag), expected)
                self.write(tag, value)
                after = changed(raw, tag, value)
                self.assertEqual(self.file.read_bytes(), after)
            hits += expected is not None
            cuts += after.endswith(raw[-1:]) and len(after) == len(raw) > 0
        self.assertGreater(min(hits, cuts), 20, (hits, cuts))

    def test_large_files(self):
        many = b"".join(b"TAG%d= %d \r\n" % (i, i * i) for i in range(10_000))
        line = b"x" * 999 + b"\n"
        long = line * (100 * 1024)
        for raw, tag in ((many, "tag9999"), (many, "none"), (long + b"\r\nend=1", "END"), (b"a" * (1 << 23), "a" * 5000)):
            with self.subTest(size=len(raw), tag=tag[:9]):
                self.file.write_bytes(raw)
                begin = time.monotonic()
                found = self.param.GetStringIni(tag)
                self.assertEqual(found, {"tag9999": "99980001", "END": "1"}.get(tag, ""))
                self.write(tag, "new")
                took = time.monotonic() - begin
                expected = (raw + b"\r\n\r\n" + tag.encode() + b"=new" if not found else
                            raw[:raw.rindex(b"\r\n", 0, -2) + 2] + tag.encode() + b"=new" + b"\r\n" * (1 + raw.endswith(b"\n")))
                expected += raw[len(expected):]
                self.assertTrue(self.file.read_bytes() == expected)
                self.assertLess(took, 60)  # a search that is not linear takes hours

    def start(self, tag, times):
        """A process that sets the tag to 0, 1, 2, ..."""
        child = os.fork()
        if child == 0:
            try:
                for i in range(times):
                    self.param.SetStringIni(tag, str(i))
            finally:
                os._exit(0)
        return child

    def test_two_processes(self):
        running = {self.start(tag, 1000) for tag in ("ONE", "TWO")}
        seen = set()
        while running:
            running = {child for child in running if os.waitpid(child, os.WNOHANG) == (0, 0)}
            if self.file.exists():
                raw = self.file.read_bytes()
                self.assertRegex(raw, rb"^(ONE|TWO)=\d+((\r\n)+(?!\1)(ONE|TWO)=\d+)?(\r\n)*$")
                seen.add(raw)
        self.assertEqual((self.read("ONE"), self.read("TWO")), ("999", "999"))  # none was lost
        self.assertGreater(len(seen), 20)
        self.assertEqual(os.listdir(self.folder), ["a.ini"])

    def test_killed_at_any_moment(self):
        filler = b"".join(b"KEEP%d=%d\r\n" % (i, i) for i in range(20_000))
        chance = random.Random(9)
        left = 0
        for _ in range(25):
            self.file.write_bytes(filler + b"LAST=0")
            child = self.start("LAST", 1_000_000)
            time.sleep(chance.uniform(0.005, 0.08))
            os.kill(child, signal.SIGKILL)
            self.assertEqual(os.waitpid(child, 0)[1], signal.SIGKILL)
            raw = self.file.read_bytes()
            self.assertTrue(raw.startswith(filler))
            self.assertRegex(raw[len(filler):], rb"^LAST=\d+(\r\n)*$")
            names = set(os.listdir(self.folder)) - {"a.ini"}
            self.assertLessEqual(names, {".a.ini.new"})
            left += len(names)
        self.assertGreater(left, 3)
        self.write("LAST", "end")
        self.assertEqual((os.listdir(self.folder), self.read("LAST")), (["a.ini"], "end"))

    def test_full_disk_and_no_right(self):
        script = ('mount -t tmpfs -o size=64k none "$1" && cd "$1" && printf "A=1\\r\\nB=2" > a.ini && '
                  '(cat /dev/zero > fill 2> /dev/null; "$2" param set a.ini A 123456; echo "$?"; cat a.ini; ls -A)')
        unshare = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", script, "sh", str(self.folder), str(TOOL)]
        self.file.write_bytes(b"A=1")
        os.chmod(self.file, 0)
        if not os.access(self.file, os.R_OK):
            self.assert_error(70, self.param.GetStringIni, "A")
        if TOOL is None or subprocess.run(unshare[:4] + ["true"], capture_output=True, timeout=10).returncode:
            self.skipTest("no tool, or no file system of its own can be mounted here")
        done = subprocess.run(unshare, capture_output=True, timeout=60)
        self.assertEqual(done.stdout, b"1\nA=1\r\nB=2a.ini\nfill\n", done)

    def test_a_folder_that_takes_no_file(self):
        # Another user of the machine, where this one may become it.
        os.chmod(self.folder, 0o755)
        self.file.write_bytes(b"A=12345\r\nB=2")
        os.chmod(self.file, 0o666)
        if os.geteuid() != 0:
            os.chmod(self.folder, 0o555)
        child = os.fork()
        if child == 0:
            if os.geteuid() == 0:
                os.setuid(65534)
            self.param.SetStringIni("A", "1")
            self.param.SetStringIni("C", "3")
            # The disk is full where the file ends.
            resource.setrlimit(resource.RLIMIT_FSIZE, (self.file.stat().st_size,) * 2)
            self.param.SetStringIni("A", "longer than before")
            os._exit(0)
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        os.chmod(self.folder, 0o755)
        self.assertEqual(self.file.read_bytes(), changed(changed(b"A=12345\r\nB=2", "A", "1"), "C", "3"))
        os.chmod(self.file, 0o444)
        if not os.access(self.file, os.W_OK):
            self.write("A", "9")
            self.assertEqual(self.read("A"), "1")

    @unittest.skipUnless(TOOL, "QUARNOFWK_BINARY does not name the tool")
    def test_commands(self):
        def run(*words, stdin="", code=0):
            done = subprocess.run([TOOL, *words], input=stdin.encode(), capture_output=True, timeout=60, cwd=self.folder)
            self.assertEqual((done.returncode, done.stderr == b""), (code, code == 0), done)
            return (done.stderr if code else done.stdout).decode()
        self.assertEqual(run("param", "set", "a.ini", "Città", " è € "), "")
        self.assertEqual((run("param", "get", "a.ini", "CITTÀ"), self.file.read_bytes()), ("è €\n", "Città= è € ".encode("cp1252")))
        clear = "perché 5 €\n x"
        ciphers = [run("crypt", stdin=clear + end) for end in ("", "\n", "\r\n") for _ in range(3)]
        self.assertTrue(all(cipher == encrypted(clear, int(cipher[:-1 - 2 * len(clear)], 16)) + "\n" for cipher in ciphers))
        self.assertEqual(run("decrypt", stdin=encrypted(clear, 60) + "\n"), clear + "\n")
        for words, stdin, code, told in (
                (("param", "get", "a.ini", "none"), "", 1, "none is not set"), (("param", "get", "b.ini", "A"), "", 1, "b.ini"),
                (("param", "get", "*.ini", "A"), "", 1, "52"), (("param", "set", "a.ini", "A", "Ж"), "", 1, "a.ini"),
                (("param", "set", "none/a.ini", "A", "1"), "", 1, "none/a.ini"), (("crypt",), "Ж", 1, "error 5 "),
                (("param",), "", 2, "get or set"), (("param", "set", "a.ini", "A"), "", 2, "VALUE"),
                (("crypt", "secret"), "", 2, "too much")):
            self.assertIn(told, run(*words, stdin=stdin, code=code))

    def test_cipher_texts(self):
        crypt, readable = Dispatch("CCrypt"), 0
        for clear in ("", "A", "dorsin dorsin", "perché €\t\x7f", "x" * 1000):
            for cipher in {crypt.Crypt(clear) for _ in range(40)}:
                size = len(cipher) - 2 * len(clear)
                self.assertEqual(encrypted(clear, int(cipher[:size], 16)), cipher)
                if size == 2:
                    self.assertEqual(crypt.Decrypt(cipher), clear)
                    readable += 1
        self.assertGreater(readable, 150)
        self.assertEqual(crypt.Decrypt("00è€00"), "do")  # a group that is no number is 0
        self.assertGreater(len({crypt.Crypt("") for _ in range(300)}), 20)
        self.assert_error(5, crypt.Crypt, "Ж")
