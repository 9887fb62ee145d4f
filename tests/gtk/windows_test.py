#!/usr/bin/env python3
"""What the library shows on a screen of its own, looked at and used as a person would. WINDOW_HOST_BINARY names the
program that shows it."""
import os
import pathlib
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
REPOSITORY = HERE.parents[1]
sys.path[:0] = [str(HERE), str(REPOSITORY / "tests/support")]
import report  # noqa: E402, it lies in a folder beside this one
from screen import CLEAN, Host, Screen, WindowHost, missing_tools, wait_for  # noqa: E402

LIBRARY = os.environ.get("QUARNOFWK_LIBRARY", str(REPOSITORY / "build/dev/lib/CorvexFwk.so"))
BINARY = os.environ.get("WINDOW_HOST_BINARY", str(REPOSITORY / "build/dev/tests/window_host"))
FORM = "Città"
YELLOW, RED, NAVY, WHITE = (255, 255, 0), (255, 0, 0), (0, 0, 128), (255, 255, 255)
AS_NUMBER = {YELLOW: 0x00FFFF, RED: 0x0000FF, NAVY: 0x800000, WHITE: 0xFFFFFF}
# Memory of what was freed is not kept back, so that growth shows; leaks of GTK's own are not ours.
SANITIZER = {"ASAN_OPTIONS": "detect_leaks=0:quarantine_size_mb=1"}
# The icons' own colours, and how much of 48 by 48 pixels they cover.
ICONS = {0: None, 1: (250, 201, 28), 2: (204, 26, 26)}


def near(a, b):
    return all(abs(x - y) <= 2 for x, y in zip(a, b))


def python_host(name, environment, **more):
    preload = {name: os.environ[name] for name in ("LD_PRELOAD",) if name in os.environ}
    path = {"PYTHONPATH": str(REPOSITORY / "python"), "QUARNOFWK_LIBRARY": LIBRARY}
    return Host([sys.executable, str(HERE / "toolkit_host.py"), name],
                {**environment, **SANITIZER, **preload, **path, **more})


@unittest.skipIf(missing_tools(), f"not installed: {' '.join(missing_tools())}")
class WindowTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()) if hasattr(self, "enterContext")
                                   else self.temporary_folder())
        (self.folder / "home").mkdir()

    def temporary_folder(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return folder.name

    def new_screen(self, size="1280x800x24"):
        screen = Screen(size)
        self.addCleanup(screen.close)
        screen.environment["HOME"] = str(self.folder / "home")
        return screen

    def keep(self, host):
        self.addCleanup(lambda: (host.process.kill(), host.process.wait(), host.process.stdout.close(),
                                 host.process.stderr.close(), host.process.stdin.close()))
        return host

    def host(self, environment, **more):
        return self.keep(WindowHost(BINARY, LIBRARY, environment, **SANITIZER, **more))

    def test_message_window(self):
        for theme in ("Adwaita", "Adwaita:dark"):
            with self.subTest(theme=theme):
                self.look_at_message_window(self.new_screen(), theme)

    def look_at_message_window(self, screen, theme):
        host = self.host(screen.environment, GTK_THEME=theme)

        def content(back, fore, title=FORM):
            host.ask("content", title, "riga è\n\xff" * 3, AS_NUMBER[back], AS_NUMBER[fore])

        def shares():
            pixels = [pixel for row in screen.pixels(FORM) for pixel in row]
            return [sum(near(pixel, colour) for pixel in pixels) / len(pixels) for colour in (YELLOW, RED, NAVY, WHITE)]

        content(NAVY, WHITE, "hidden")
        content(YELLOW, RED)
        self.assertEqual(screen.windows(), {})
        self.assertEqual(host.ask("show"), "events")
        yellow, red, navy, white = shares()
        self.assertTrue(yellow > 0.9 and 0.0005 < red < 0.1 and navy == white == 0, (yellow, red, navy, white))
        # Each row: what the host does, whether the window is shown then, and whether above all others.
        for command, is_shown, is_above in (("top 1", True, True), ("hide", False, None), ("show", True, True),
                                            ("top 0", True, False), ("hide", False, None), ("top 1", False, None),
                                            ("show", True, True)):
            host.ask(*command.split())
            host.ask("pump")
            wait_for(lambda: (FORM in screen.windows()) == is_shown, command)
            if is_shown:
                wait_for(lambda: screen.is_above(FORM) == is_above, command)
        content(NAVY, WHITE)
        wait_for(lambda: shares()[2] > 0.9 and shares()[3] > 0.0005 and host.ask("pump"), "white on navy")
        # The user: the check box at the foot, then the text.
        height = screen.geometry(FORM)["HEIGHT"]
        screen.click(FORM, 18, height - 20)
        host.ask("pump")
        wait_for(lambda: not screen.is_above(FORM), "the cleared check box")
        screen.click(FORM, 100, 60)
        host.ask("pump")
        screen.wait_gone(FORM)
        host.ask("show")
        screen.run("wmctrl", "-i", "-c", screen.window(FORM))
        host.ask("pump")
        screen.wait_gone(FORM)
        host.ask("show")
        self.assertFalse(screen.is_above(FORM))
        self.assertEqual((host.finish(), host.errors), (0, []))

    def test_boxes(self):
        rows = (("Connessione fallita", "Attenzione", 0), ("«perché» €", "A\tB", 1), ("a\n" * 3, "C", 2),
                ("", "", 1), ("\n".join(map(str, range(3000))), "lines", 1), ("x" * 3900, "word", 2),
                ("testo " * 100_000, "huge", 0), ("y" * 100_000, "huge word", 0), (b"\xff\xfe \0 z", b"\xffbad", 0),
                ("t", "T" * 100_000, 0))
        for scale, size in ((1, "1280x800x24"), (2, "3840x2160x24")):
            screen = self.new_screen(size)
            host = self.host(screen.environment, GDK_SCALE=str(scale))
            for text, title, icon in rows:
                with self.subTest(scale=scale, title=title[:20]):
                    host.send("box", text, title, icon)
                    shown = (title if title != b"\xffbad" else "\ufffdbad") or "QuarnoFwk"
                    window = wait_for(lambda: [name for name in screen.windows() if name[:250] == shown[:250]],
                                      title)[0]
                    self.assertEqual(list(screen.windows()), [window])
                    box = screen.geometry(window)
                    width, height = map(int, size.split("x")[:2])
                    self.assertTrue(0 <= box["X"] and box["X"] + box["WIDTH"] <= width, box)
                    self.assertTrue(0 <= box["Y"] and box["Y"] + box["HEIGHT"] <= height, box)
                    for colour in ICONS.values():
                        expected = colour is not None and colour == ICONS[icon]
                        wait_for(lambda: expected == (sum(near(pixel, colour or ()) for row in screen.pixels(window)
                                                          for pixel in row) > 400 * scale * scale)
                                 if colour else True, f"icon {icon}")
                    screen.keys(window, "Return")
                    host.answer()
            for close in (("key", "Escape"), ("key", "space"), None):
                host.send("box", "x", "end", 0)
                if close:
                    screen.keys("end", close[1])
                else:
                    screen.run("wmctrl", "-i", "-c", screen.window("end"))
                host.answer()
            self.assertEqual((host.finish(), host.errors), (0, []))

    def test_open_file_dialog(self):
        screen = self.new_screen()
        start = self.folder / "città e 'quote'"
        start.mkdir()
        names = ["a b.csv", 'q"uote\'.CSV', "new\nline.csv", "è€.csv", "other.txt", "none"]
        for name in names:
            (start / name).write_text("x")
        host = self.host(screen.environment, QUARNOFWK_DRIVE_C=str(self.folder))
        self.assertEqual(host.ask("content", "parent", "", 0, 0), "events")
        host.ask("show")
        parent = int(screen.window("parent"), 16)
        # Each row: pattern, owner, keys, and the file. Files come by name, after the focus is in the list.
        folder = "C:\\città e 'quote'"
        for pattern, owner, keys, chosen in (
                ("*.txt", 0, ("Down", "Return"), "other.txt"), ("*.csv", parent, ("Escape",), ""),
                ("x;*.TXT", 77, ("Down", "Return"), "other.txt"), ("N*L*.csv", -1, ("Down", "Return"), "new\nline.csv"),
                ("q*", 0, ("Down", "Return"), 'q"uote\'.CSV'), ("È*", 0, ("Down", "Return"), "è€.csv"),
                ("a*;none*", 0, ("Down", "Down", "Return"), "none"), ("*.*", 0, ("End", "Return"), "è€.csv"),
                ("*.csv", 0, None, "")):
            with self.subTest(pattern=pattern, keys=keys):
                host.send("choose", pattern, folder, owner)
                window = screen.window("Select File")
                time.sleep(0.5)  # the folder is read meanwhile
                if keys:
                    screen.keys("Select File", *keys)
                else:
                    screen.run("wmctrl", "-i", "-c", window)
                self.assertEqual(host.answer(), str(start / chosen) if chosen else "")
                screen.wait_gone("Select File")
        for folder in ("C:\\", "C:\\missing", ""):
            host.send("choose", "*", folder, 0)
            screen.window("Select File")
            screen.keys("Select File", "Escape")
            self.assertEqual(host.answer(), "")
            screen.wait_gone("Select File")
        self.assertEqual((host.finish(), host.errors), (0, []))

    def test_without_a_display(self):
        box = "[t] x\n"
        said = "[QuarnoFwk] Windows cannot be shown: "
        rows = (({}, "", [box]), ({"QUARNOFWK_UI": "console", "DISPLAY": ":9"}, "", [box]),
                ({"QUARNOFWK_UI": "none"}, "", []), ({"DISPLAY": ":29999"}, "", [box]),
                ({"QUARNOFWK_UI": "gtk"}, "no display\n", [box]),
                ({"QUARNOFWK_UI": "gtk", "DISPLAY": ":29999"}, "no display\n", [box]),
                ({"QUARNOFWK_UI": "gtk", "module": "/nowhere/x.so"}, "/nowhere/QuarnoGtk.so", [box]))
        for variables, complaint, errors in rows:
            with self.subTest(**variables):
                library = variables.pop("module", LIBRARY)
                host = self.keep(WindowHost(BINARY, library, CLEAN, **SANITIZER, **variables))
                for command in (("box", "x", "t", 0), ("content", "t", "x", 0, 0), ("show",),
                                ("choose", "*", "C:\\", 0)):
                    self.assertEqual(host.ask(*command), "")
                self.assertEqual(host.finish(), 0)
                wait_for(lambda: len(host.errors) == len(errors) + bool(complaint), host.errors)
                self.assertTrue(not complaint or host.errors[0].startswith(said + complaint), host.errors)
                self.assertEqual(host.errors[bool(complaint):], errors)

    def test_display_that_is_lost(self):
        for command, answer, last in ((("box", "x", "t", 0), "", True), (("choose", "*", "C:\\", 0), "", False),
                                      (("show",), None, False), (("pump",), None, False)):
            with self.subTest(command=command):
                screen = self.new_screen()
                host = self.host(screen.environment)
                host.ask("content", "form", "x", 0, 0)
                host.ask("show")
                if answer is None:
                    screen.close()
                    answer = host.ask(*command)
                else:
                    host.send(*command)
                    screen.window("t" if last else "Select File")
                    screen.close()
                    self.assertEqual(host.answer(), answer)
                for again in (("show",), ("content", "a", "b", 0, 0), ("pump",), ("box", "y", "u", 0),
                              ("choose", "*", "", 0), ("hide",)):
                    self.assertEqual(host.ask(*again), "", again)
                self.assertEqual(host.finish(), 0)
                wait_for(lambda: host.errors[-1:] == ["[u] y\n"], host.errors)
                self.assertEqual([line for line in host.errors if line == "[t] x\n"], ["[t] x\n"] * last)

    def test_other_threads_get_the_console(self):
        screen = self.new_screen()
        host = self.host(screen.environment)
        host.ask("content", "form", "x", 0, 0)
        host.ask("box_elsewhere", "x", "t", 0)
        wait_for(lambda: host.errors == ["[t] x\n"], host.errors)
        host.send("box", "x", "here", 0)
        screen.keys("here", "Return")
        host.answer()

    def test_host_with_a_toolkit_of_its_own(self):
        for toolkit in ("gtk", "gtk-late", "qt", "qt-no-glib"):
            with self.subTest(toolkit=toolkit):
                screen = self.new_screen()
                host = self.keep(python_host(toolkit, screen.environment))
                if host.answer() == "missing":
                    self.skipTest(f"{toolkit} is not installed")
                screen.window("host's own")
                # Shown, and drawn by the host's loop if it turns GLib's.
                self.assertEqual(host.ask("message 2"), "False")
                wait_for(lambda: screen.is_above(FORM), "the window above")
                wait_for(lambda: sum(near(pixel, YELLOW) for row in screen.pixels(FORM) for pixel in row) > 20_000,
                         "yellow")
                if toolkit != "qt-no-glib":
                    screen.click(FORM, 100, 60)
                    screen.wait_gone(FORM)
                # Meanwhile the host's own timers run.
                host.send("choose")
                screen.window("Select File")
                host.send("ticks")
                time.sleep(0.5)
                screen.keys("Select File", "Escape")
                self.assertEqual(host.answer(), "''")
                # Without GLib only its windows live on.
                self.assertEqual(int(host.answer()) > 5, toolkit != "qt-no-glib")
                if toolkit.startswith("gtk"):
                    # Boxes, each answered by the host's timer as soon as it is there.
                    host.ask("boxes 100")
                    before = host.memory()
                    for _ in range(10):
                        self.assertEqual(host.ask("boxes 100"), "True")
                    self.assertLess(host.memory() - before, 3_000_000)
                self.assertEqual(host.ask("message 0"), "False")
                self.assertEqual(host.finish(), 0)


if __name__ == "__main__":
    report.main()
