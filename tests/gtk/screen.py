"""A private X server with a window manager, a host that is told what to show, and eyes and hands on the screen."""
import os
import queue
import shutil
import struct
import subprocess
import threading
import time

TOOLS = ("Xvfb", "openbox", "xdotool", "wmctrl", "xprop", "xwd")
LIMIT = int(os.environ.get("LIMIT", 30))  # seconds that anything may take
CLEAN = {name: value for name, value in os.environ.items()
         if name not in ("LD_PRELOAD", "DISPLAY", "WAYLAND_DISPLAY", "QUARNOFWK_UI", "GTK_THEME")}


def missing_tools():
    return [tool for tool in TOOLS if not shutil.which(tool)]


def wait_for(condition, what):
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.02)
    raise AssertionError(f"waited {LIMIT} s in vain for {what}")


class Screen:
    def __init__(self, size="1280x800x24"):
        reading, writing = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-screen", "0", size, "-noreset",
                                        "-nolisten", "tcp"],
                                       pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writing)
        with os.fdopen(reading) as pipe:
            number = pipe.readline().strip()
        assert number, "the X server did not start"
        self.environment = {**CLEAN, "DISPLAY": f":{number}"}
        self.manager = subprocess.Popen(["openbox", "--sm-disable"], env=self.environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        try:
            wait_for(lambda: "window id" in self.run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "the manager")
        except AssertionError:
            self.close()
            raise

    def close(self):
        for process in (self.server, self.manager):
            process.kill()
            process.wait()

    def run(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=LIMIT).stdout

    def windows(self):
        """Identifier by title, of the windows that are shown."""
        rows = (line.split(None, 3) for line in self.run("wmctrl", "-l").splitlines())
        return {row[3] if len(row) > 3 else "": row[0] for row in rows}

    def window(self, title):
        return wait_for(lambda: self.windows().get(title), f"the window {title!r} among {self.windows()}")

    def wait_gone(self, title):
        wait_for(lambda: title not in self.windows(), f"the end of {title!r}")

    def is_above(self, title):
        return "_NET_WM_STATE_ABOVE" in self.run("xprop", "-id", self.window(title), "_NET_WM_STATE")

    def keys(self, title, *keys):
        window = self.window(title)
        wait_for(lambda: "IsViewable" in self.run("xwininfo", "-id", window), title)
        self.run("xdotool", "windowactivate", "--sync", window)
        self.run("xdotool", "key", "--delay", "20", *keys)

    def click(self, title, x, y):
        self.run("xdotool", "mousemove", "--sync", "--window", self.window(title), str(x), str(y), "click", "1")

    def geometry(self, title):
        lines = self.run("xdotool", "getwindowgeometry", "--shell", self.window(title)).splitlines()
        return {name: int(value) for name, value in (line.split("=") for line in lines)}

    def pixels(self, title=None):
        """Rows of (red, green, blue) of a window, or of the whole screen."""
        target = ["-id", self.window(title)] if title else ["-root"]
        dump = subprocess.run(["xwd", "-silent", *target], env=self.environment, capture_output=True, timeout=LIMIT,
                              check=True).stdout
        head = struct.unpack(">25I", dump[:100])
        start, width, height, line = head[0] + head[19] * 12, head[4], head[5], head[12]
        return [[(dump[at + 2], dump[at + 1], dump[at])
                 for at in range(start + y * line, start + y * line + 4 * width, 4)] for y in range(height)]


class Host:
    """A program that reads commands and answers each with a line; every answer is waited for, but not for ever."""

    def __init__(self, command, environment):
        self.process = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)
        self.answers, self.errors = queue.Queue(), []
        for pipe, take in ((self.process.stdout, self.answers.put), (self.process.stderr, self.errors.append)):
            threading.Thread(target=lambda p=pipe, t=take: [t(line) for line in p], daemon=True).start()

    def send(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def answer(self):
        try:
            return self.answers.get(timeout=LIMIT).rstrip("\n")
        except queue.Empty:
            raise AssertionError(f"no answer; ended: {self.process.poll()}, errors: {self.errors}") from None

    def ask(self, line):
        self.send(line)
        return self.answer()

    def memory(self):
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE")

    def finish(self):
        """Its exit code, once it has nothing more to read."""
        self.process.stdin.close()
        try:
            return self.process.wait(LIMIT)
        finally:
            self.process.kill()
            self.process.wait()


class WindowHost(Host):
    def __init__(self, binary, library, environment, **more):
        # An unwatched connection that breaks raises SIGPIPE, which Python would have the host ignore.
        super().__init__(["env", "--default-signal=PIPE", binary, library], {**environment, **more})

    def send(self, command, *words):
        texts = (word if isinstance(word, bytes) else str(word).encode() for word in words)
        super().send(" ".join([command, *("x" + text.hex() for text in texts)]))

    def ask(self, command, *words):
        self.send(command, *words)
        return self.answer()

    def answer(self):
        return bytes.fromhex(super().answer()).decode(errors="surrogateescape")
