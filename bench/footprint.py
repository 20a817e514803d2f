#!/usr/bin/python3
"""What the running program costs: memory, processor time and wake-ups of all its threads, beside a bare window. Fails
when a bound is missed.
"""

import pathlib
import sqlite3
import subprocess
import sys
import tempfile
import time

from Xlib import X
from Xlib.display import Display
from Xlib.ext import xtest
from Xlib.protocol.event import ClientMessage

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "scripts"))
from desktop import Desktop, until  # noqa: E402  (found through the line above)

BUILD = pathlib.Path(sys.argv[1])
MOST_OPEN, MOST_CLOSED = 48, 36  # megabytes
SECONDS = int(sys.argv[2]) if len(sys.argv) > 2 else 60
TICKS_PER_SECOND = 100
missed = []


def resident_megabytes(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0]) / 1024


def wake_ups(pid):
    """How often any of the threads has waited for something and gone on."""
    return sum(int(status.read_text().split("\nvoluntary_ctxt_switches:")[1].split()[0])
               for status in pathlib.Path(f"/proc/{pid}/task").glob("*/status"))


def processor_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS_PER_SECOND


def judged(what, figure, unit, most=None):
    """The figure in words; one that is beyond its bound is remembered."""
    if most is None:
        return f"{figure:.2f} {unit}"
    if figure > most:
        missed.append(what)
    return f"{figure:.2f} {unit} (at most {most})"


def measure(label, pid, during, most_percent, most_wake_ups=None):
    woken, worked, began = wake_ups(pid), processor_seconds(pid), time.monotonic()
    during()
    seconds = time.monotonic() - began
    share = 100 * (processor_seconds(pid) - worked) / seconds
    print(f"{label}: " + ", ".join((
        judged(f"{label}: processor", share, "% of a core", most_percent),
        judged(f"{label}: wake-ups", (wake_ups(pid) - woken) / seconds, "wake-ups a second", most_wake_ups),
        judged(f"{label}: memory", resident_megabytes(pid), "MB", MOST_CLOSED))), flush=True)


def ask_to_close(display, window):
    """What the close button of a window's frame sends."""
    protocols, delete = (display.intern_atom(name) for name in ("WM_PROTOCOLS", "WM_DELETE_WINDOW"))
    target = display.create_resource_object("window", int(window))
    target.send_event(ClientMessage(window=target, client_type=protocols, data=(32, [delete, 0, 0, 0, 0])))
    display.sync()


def move_pointer(display, seconds):
    """500 moves a second."""
    end = time.monotonic() + seconds
    count = 0
    while time.monotonic() < end:
        xtest.fake_input(display, X.MotionNotify, x=200 + count % 50, y=800 + count % 40)
        display.sync()
        count += 1
        time.sleep(0.002)


with tempfile.TemporaryDirectory(prefix="velmora-footprint-") as folder, Desktop(BUILD, folder) as desktop:
    bare = subprocess.Popen([BUILD / "bench/bare-window"], env=desktop.environment)
    time.sleep(2)
    print(f"bare window: {resident_megabytes(bare.pid):.1f} MB", flush=True)
    bare.terminate()
    bare.wait()

    # Signed in by accessible names; then without assistive technology, as on most desktops, and by the mouse.
    desktop.point_at_backend()
    desktop.backend.post("/control/config", {"screenshot_interval_minutes": 10})
    desktop.start_program()
    desktop.wait_for("#loginEmail", 20)
    desktop.sign_in()
    place = desktop.wait_for("#startTracking", 20).get_component_iface().get_extents(0)
    desktop.stop_program()
    desktop.clocked_environment.pop("QT_LINUX_ACCESSIBILITY_ALWAYS_ON")
    desktop.start_program()
    pid = desktop.program.pid
    window = until("the window", desktop.window)
    time.sleep(3)
    print("window open: " + judged("window open", resident_megabytes(pid), "MB", MOST_OPEN), flush=True)
    desktop.run("xdotool", "mousemove", place.x + place.width // 2, place.y + place.height // 2, "click", 1)
    time.sleep(5)
    with sqlite3.connect(f"file:{desktop.data / 'timetracker.sqlite'}?mode=ro", uri=True) as database:
        if not database.execute("SELECT 1 FROM sessions").fetchall():
            sys.exit("tracking did not start")
    figure = judged("tracking, window open", resident_megabytes(pid), "MB", MOST_OPEN)
    print("tracking, window open: " + figure, flush=True)
    display = Display(desktop.environment["DISPLAY"])
    ask_to_close(display, window)
    time.sleep(65)  # past the first pictures; the next ones are ten minutes away
    measure("tracking, window closed, no input", pid, lambda: time.sleep(SECONDS), 0.1, 6)
    measure("tracking, window closed, 500 events a second", pid, lambda: move_pointer(display, SECONDS / 2), 0.3)
if missed:
    sys.exit("missed: " + "; ".join(missed))
