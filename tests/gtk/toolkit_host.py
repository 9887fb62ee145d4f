"""A host with an event loop of its own: "gtk", "gtk-late" (which starts it after the library's first window), "qt" or
"qt-no-glib". Reads commands from standard input while the loop runs, and answers each with a line."""
import os
import queue
import sys
import threading

from quarnofwk import Dispatch

toolkit = sys.argv[1]
corvex, system, data = Dispatch("Corvex"), Dispatch("CSysUtils"), Dispatch("CData")
commands, ticks = queue.Queue(), [0, 0]


def message(mode):
    return corvex.VisualizzaMessaggio("Città", "in a host's loop", 0x00FFFF, 0x0000FF, int(mode))


def tick():
    ticks[1] += 1
    return True


def obey():
    """One waiting command; whether there is more to come."""
    try:
        word, *rest = commands.get_nowait()
    except queue.Empty:
        return True
    if word == "end":
        stop()
        return False
    if word == "message":
        answer = message(*rest)
    elif word == "choose":
        ticks[0] = ticks[1]
        answer = repr(system.GetFileName("*", "", 0))
        ticks[0] = ticks[1] - ticks[0]
    elif word == "ticks":
        answer = ticks[0]
    elif word == "boxes":
        answer = boxes(int(rest[0]))
    print(answer, flush=True)
    return True


def read():
    for line in sys.stdin:
        commands.put(line.split())
    commands.put(["end"])


def boxes(count):
    """Failures that are shown, each box answered by a timer of the host's."""
    shown, is_done = 0, False

    def answer():
        nonlocal shown
        for window in Gtk.Window.list_toplevels():
            if isinstance(window, Gtk.Dialog) and window.get_mapped():
                shown += 1
                window.response(Gtk.ResponseType.OK)
        return not is_done

    GLib.timeout_add(1, answer)
    data.SetDBType(data.Conn_Jet)
    data.SetDatabase("/nowhere/none.db")
    for _ in range(count):
        data.Selection(ThisSelect="SELECT 1")
    is_done = True
    return shown >= count


try:
    if toolkit == "gtk-late":
        message(1)
        message(0)
    if toolkit.startswith("gtk"):
        import gi
        gi.require_version("Gtk", "3.0")
        from gi.repository import GLib, Gtk
        window, stop = Gtk.Window(title="host's own"), Gtk.main_quit
        window.show()
        GLib.timeout_add(20, obey)
        GLib.timeout_add(20, tick)
        run = Gtk.main
    else:
        if toolkit == "qt-no-glib":
            os.environ["QT_NO_GLIB"] = "1"
        from PyQt5.QtCore import QTimer
        from PyQt5.QtWidgets import QApplication, QWidget
        application = QApplication([])
        window, stop, timers = QWidget(), application.quit, [QTimer(), QTimer()]
        window.setWindowTitle("host's own")
        window.show()
        for timer, work in zip(timers, (obey, tick)):
            timer.timeout.connect(work)
            timer.start(20)
        run = application.exec_
except ImportError:
    print("missing", flush=True)
    sys.exit()
threading.Thread(target=read, daemon=True).start()
print("ready", flush=True)
run()
