#!/usr/bin/python3
"""The real program, from the sign-in to what arrives at the backend, used by its accessible names."""

import datetime
import json
import os
import pathlib
import random
import signal
import sqlite3
import stat
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from desktop import ACCOUNT, MONITORS, TASK, Desktop, shifted_clock, until  # noqa: E402  (found through the line above)

BUILD = pathlib.Path(sys.argv.pop(1))
KILLS = int(os.environ.get("VELMORA_KILLS", "20"))
STALL_LIMIT_MS = 250
MANAGER = "org.freedesktop.login1.Manager"


class EndToEnd(unittest.TestCase):
    clock = None

    def setUp(self):
        # In memory where that can be: a disk that other programs keep busy is no stall of this one's making.
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        self.folder = tempfile.TemporaryDirectory(prefix="velmora-e2e-", dir=memory)
        self.addCleanup(self.folder.cleanup)
        self.desktop = Desktop(BUILD, self.folder.name, clock=self.clock)
        self.addCleanup(self.desktop.close)
        self.desktop.point_at_backend()

    def tearDown(self):
        if self._outcome.result.failures or self._outcome.result.errors:
            print(self.desktop.program_log[-6000:])

    def signed_in(self):
        self.desktop.start_program()
        self.desktop.wait_for("#loginEmail", 20)
        self.desktop.sign_in()
        self.desktop.wait_for("#startTracking", 20)

    def tracking(self):
        self.signed_in()
        self.desktop.press("#startTracking")
        self.desktop.wait_for("#stopTracking")

    def wait_for_completed(self, sessions=1, seconds=60):
        def summary():
            found = self.desktop.backend.summary()
            return found if found["completed"] >= sessions else None

        return until("the session's end at the backend", summary, seconds)

    def wait_for_empty_queue(self):
        until("every row at the backend", lambda: self.rows("SELECT count(*) FROM upload_queue") == [(0,)], 60)

    def rows(self, sql):
        with sqlite3.connect(f"file:{self.desktop.data / 'timetracker.sqlite'}?mode=ro", uri=True) as database:
            return database.execute(sql).fetchall()

    def active_session(self):
        rows = self.rows("SELECT payload FROM sessions")
        return json.loads(rows[0][0]) if rows else None

    def check_privacy(self):
        """Nothing below the home is open to others, and no token lies in any file."""
        tokens = self.desktop.run("secret-tool", "lookup", "service", "com.velmora.timetracker", "account",
                                  "auth_tokens")
        canaries = [json.loads(tokens)[key].encode() for key in ("accessToken", "refreshToken")]
        files = [self.desktop.folder / "program.log"]
        own = ("velmora-timetracker", "Velmora TimeTracker")
        for path in self.desktop.home.rglob("*"):
            if any(part in own for part in path.parts):
                mode = stat.S_IMODE(path.lstat().st_mode)
                self.assertEqual(mode & 0o077, 0, f"{path} has mode {mode:o}")
            if path.is_file():
                files.append(path)
        for file in files:
            content = file.read_bytes() if file.exists() else b""
            for canary in canaries:
                self.assertNotIn(canary, content, f"a token lies in {file}")

    def check_no_stall(self):
        log = self.desktop.data / "mainthread-stalls.log"
        stalls = log.read_text().splitlines() if log.exists() else []
        self.assertEqual([line for line in stalls if int(line.split(",")[1]) >= STALL_LIMIT_MS], [])

    def test_a_session_reaches_the_backend(self):
        desktop = self.desktop
        os.umask(0)
        self.addCleanup(os.umask, 0o022)
        desktop.start_program()
        desktop.wait_for("#loginEmail", 20)
        desktop.sign_in((ACCOUNT[0], "wrong password"))
        until("the refusal", lambda: desktop.shows("Login failed. Check your credentials and connection."))
        desktop.sign_in()
        desktop.wait_for("#startTracking", 20)
        self.assertIn(TASK, desktop.pick_task(1))
        desktop.press("#startTracking")
        desktop.wait_for("#stopTracking")
        began = time.monotonic()

        # A second start brings the first one's window up and ends.
        second = subprocess.run([BUILD / "Velmora_TimeTracker/velmora-timetracker"], env=desktop.environment,
                                timeout=20, stdout=desktop.log, stderr=desktop.log)
        self.assertEqual(second.returncode, 0)

        desktop.press("#pauseTracking")
        time.sleep(2)
        desktop.press("#pauseTracking")
        wanted = len(MONITORS)
        until("a picture of every display at the backend",
              lambda: desktop.type_for(2) and desktop.backend.summary()["screenshots"] >= wanted, 100)
        desktop.press("#stopTracking")
        desktop.wait_for("#startTracking")
        summary = self.wait_for_completed()
        tracked = time.monotonic() - began - 2

        session = summary["sessions"][0]
        self.assertEqual(len(session["intervals"]), 2)
        self.assertLess(abs(session["total_seconds"] - tracked), 8)
        self.assertGreater(session["key_press_count"], 10)
        self.assertGreater(session["mouse_movements"], 10)
        self.assertGreaterEqual(summary["session_starts"], 1)
        self.assertGreaterEqual(summary["heartbeats"], 1)
        sizes = {(shot["width"], shot["height"]) for shot in summary["screenshot_files"]}
        self.assertEqual(sizes, {(w, h) for _, w, h, _, _ in MONITORS})
        self.wait_for_empty_queue()
        self.assertEqual(self.rows("SELECT count(*) FROM sessions"), [(0,)])
        self.assertEqual(self.rows("SELECT count(*) FROM session_history"), [(1,)])
        self.check_privacy()
        self.check_no_stall()
        self.assertEqual(desktop.stop_program(), 0)

        # The stored sign-in serves the next start.
        desktop.start_program()
        desktop.wait_for("#startTracking", 20)

    def test_signals_close_the_interval_and_the_session_is_offered_again(self):
        desktop = self.desktop
        self.tracking()
        for signal_number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            time.sleep(1.5)
            self.assertEqual(desktop.stop_program(signal_number), 0)
            closed = self.active_session()
            self.assertIn("stoppedAt", closed["intervals"][-1], signal_number)
            desktop.start_program()
            desktop.wait_for("#resumeInterrupted", 20)
            self.assertTrue(desktop.shows("Unfinished Session Found"))
            desktop.press("#resumeInterrupted")
            desktop.wait_for("#stopTracking")
            self.assertEqual(self.active_session()["id"], closed["id"])
        self.check_no_stall()

    def test_the_machine_sleeps_when_the_interval_is_saved(self):
        logind = self.desktop.start_logind()

        def held():
            return any(what == "sleep:shutdown" for what, *_ in logind.ListInhibitors(dbus_interface=MANAGER))

        def prepare_for_sleep(begins):
            logind.EmitSignal(MANAGER, "PrepareForSleep", "b", [begins],
                              dbus_interface="org.freedesktop.DBus.Mock")

        self.tracking()
        until("the program to hold the sleep back", held)
        time.sleep(1.5)
        prepare_for_sleep(True)
        until("the sleep to be allowed", lambda: not held(), pause=0.001)
        before = self.active_session()["intervals"]
        self.assertEqual(len(before), 1)
        self.assertIn("stoppedAt", before[0])
        time.sleep(2)
        prepare_for_sleep(False)
        until("tracking after the sleep", lambda: len(self.active_session()["intervals"]) == 2)
        after = self.active_session()["intervals"]
        self.assertEqual(after[0], before[0])
        self.assertGreaterEqual(after[1]["startedAt"] - before[0]["stoppedAt"], 2)
        until("the next sleep to be held back", held)
        self.check_no_stall()

    def test_kill_at_random_moments(self):
        """Each restart offers the session and bills it up to a mark at most 60 running seconds old; all rows arrive."""
        desktop = self.desktop
        chance = random.Random(7)
        self.tracking()
        began = time.time()
        for _ in range(KILLS):
            time.sleep(chance.uniform(0.05, 2.0))
            desktop.stop_program(signal.SIGKILL)
            self.assertIsNotNone(self.active_session())
            desktop.start_program()
            desktop.press("#resumeInterrupted", 20)
            desktop.wait_for("#stopTracking")
        session = self.active_session()
        self.assertEqual(len(session["intervals"]), KILLS + 1)
        epoch = 978307200
        previous_end = began - 2 - epoch
        for interval in session["intervals"][:-1]:
            self.assertGreaterEqual(interval["startedAt"], previous_end)
            self.assertGreaterEqual(interval["stoppedAt"], interval["startedAt"])
            previous_end = interval["stoppedAt"]
        desktop.press("#stopTracking")
        summary = self.wait_for_completed()
        self.wait_for_empty_queue()
        self.assertLessEqual(summary["sessions"][0]["total_seconds"], time.time() - began)
        self.check_no_stall()


class AcrossMidnight(EndToEnd):
    """The company's midnight, in a zone that is not the machine's, soon after the start."""

    LEAD = 40  # seconds: long enough to sign in and start
    zone = datetime.timezone(datetime.timedelta(hours=5, minutes=45))  # Asia/Kathmandu, which keeps it all year
    now = datetime.datetime.now(zone)
    midnight = (now + datetime.timedelta(days=1, seconds=LEAD)).replace(hour=0, minute=0, second=0, microsecond=0)
    clock = shifted_clock(int((midnight - now).total_seconds()) - LEAD)

    def test_a_session_is_cut_at_midnight(self):
        desktop = self.desktop
        desktop.backend.post("/control/config", {"app_timezone": "Asia/Kathmandu"})
        self.tracking()
        self.wait_for_completed(seconds=90)
        time.sleep(2)
        desktop.press("#stopTracking")
        summary = self.wait_for_completed(2)
        first, second = sorted((session["intervals"] for session in summary["sessions"]),
                               key=lambda intervals: intervals[0]["started_at"])
        midnight = self.midnight.timestamp()
        self.assertLess(first[0]["started_at"], midnight)
        self.assertLessEqual(first[-1]["stopped_at"], midnight)
        self.assertGreaterEqual(second[0]["started_at"], midnight)
        self.assertLessEqual(second[0]["started_at"] - first[-1]["stopped_at"], 2)
        self.check_no_stall()


if __name__ == "__main__":
    unittest.main(verbosity=2)
