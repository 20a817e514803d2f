#!/usr/bin/python3
"""The demonstration: a person's session, or an unattended one that proves what arrived at the backend."""

import argparse
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import time

from desktop import ACCOUNT, MONITORS, TASK, Desktop, Failure, until


def tell(text):
    print(text, flush=True)


def attended(desktop):
    tell(f"\nSign in with   {ACCOUNT[0]}   password   {ACCOUNT[1]}")
    tell(f"The employer's view: {desktop.backend.url}/")
    tell("Press Ctrl+Q in the window, or Ctrl+C here, to end.\n")
    desktop.start_program()
    try:
        code = desktop.program.wait()
    except KeyboardInterrupt:
        return tell("ending")
    if code:
        raise desktop.program_ended()


def unattended(desktop):
    started = time.monotonic()

    def stage(name, text):
        desktop.picture(name)
        tell(f"[{time.monotonic() - started:5.1f} s] {text}")

    desktop.start_program()
    desktop.wait_for("#loginEmail", 20)
    stage("1-sign-in", "the program asks for a sign-in")
    desktop.sign_in()
    desktop.wait_for("#startTracking", 20)
    stage("2-ready", "signed in")
    if TASK not in desktop.pick_task(1):
        raise Failure("another task was picked")
    desktop.press("#startTracking")
    desktop.wait_for("#stopTracking")
    desktop.type_for(12)
    stage("3-tracking", f"tracking “{TASK}”, typing and moving")
    desktop.press("#pauseTracking")
    time.sleep(3)
    stage("4-paused", "paused for three seconds")
    desktop.press("#pauseTracking")
    tell(f"[{time.monotonic() - started:5.1f} s] resumed; the first pictures are taken after a minute")
    wanted = len(MONITORS)
    deadline = time.monotonic() + 85
    while desktop.backend.summary()["screenshots"] < wanted:
        if time.monotonic() > deadline:
            raise Failure("no screenshots arrived within 85 s")
        desktop.type_for(3)
    stage("5-captured", "every display was captured, and the pictures arrived")
    desktop.press("#stopTracking")
    desktop.wait_for("#startTracking")
    stage("6-stopped", "stopped")
    return until("the session's end at the backend",
                 lambda: (lambda s: s if s["completed"] else None)(desktop.backend.summary()), 20)


def check_pictures(desktop, summary):
    """Each stored picture decodes, and has the size of its display."""
    sizes = sorted((shot["width"], shot["height"]) for shot in summary["screenshot_files"])
    expected = sorted((w, h) for _, w, h, _, _ in MONITORS)
    files = list((desktop.folder / "backend/data/screenshots").rglob("*.jpg"))
    for file in files:
        subprocess.run(["djpeg", "-outfile", os.devnull, file], check=True)
    return set(sizes) == set(expected) and len(files) == summary["screenshots"]


def show_open_segment(desktop):
    with sqlite3.connect(f"file:{desktop.data / 'timetracker.sqlite'}?mode=ro", uri=True) as database:
        for row in database.execute(
                "SELECT segment_date, segment_number, active_seconds, non_idle_seconds, mouse_movements, "
                "keyboard_movements FROM activity_segments"):
            tell("  segment on this machine: %s #%d, active %d s, tracked %d s, mouse %d, keys %d" % row)


def show(desktop, is_unattended):
    desktop.point_at_backend()
    tell(f"backend: {desktop.backend.url}/   home: {desktop.home}")
    if not is_unattended:
        attended(desktop)
        return 0
    summary = unattended(desktop)
    desktop.stop_program()
    good = check_pictures(desktop, summary)
    if not summary["segments"]:
        show_open_segment(desktop)
    for shot in summary["screenshot_files"]:
        tell(f"  screenshot {shot['width']}x{shot['height']} {shot['file_name']}")
    tell("demo: session-starts=%d heartbeats=%d completed=%d screenshots=%d segments=%d" % tuple(
        summary[key] for key in ("session_starts", "heartbeats", "completed", "screenshots", "segments")))
    arrived = all(summary[key] for key in ("session_starts", "heartbeats", "completed", "screenshots"))
    return 0 if arrived and good else 1


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--folder", required=True)
    parser.add_argument("--unattended", action="store_true")
    arguments = parser.parse_args()
    folder = pathlib.Path(arguments.folder)
    shutil.rmtree(folder, ignore_errors=True)
    display = None if arguments.unattended else os.environ["DISPLAY"]
    try:
        with Desktop(arguments.build, folder, display) as desktop:
            return show(desktop, arguments.unattended)
    except (Failure, OSError, subprocess.SubprocessError) as failure:
        log = folder / "program.log"
        lines = log.read_text(errors="replace").splitlines() if log.exists() else []
        tell("\n".join([*lines[-30:], ""]))
        tell(f"failed: {failure}; next step: {getattr(failure, 'next_step', 'scripts/setup, and try again')}")
        return 1


if __name__ == "__main__":
    sys.exit(main())
