#!/usr/bin/python3
"""The real program, from the sign-in to what arrives at the backend, used by its accessible names."""

import contextlib
import ctypes
import datetime
import glob
import os
import pathlib
import random
import re
import signal
import time
import unittest

import Xlib.display

from harness import EPOCH, RealProgram
from desktop import ACCOUNT, MONITORS, TASK, shifted_clock, until

KILLS = int(os.environ.get("VELMORA_KILLS", "20"))
MANAGER = "org.freedesktop.login1.Manager"
PTRACE_ATTACH, PTRACE_DETACH = 16, 17


class EndToEnd(RealProgram):
    def test_a_session_reaches_the_backend(self):
        desktop = self.desktop
        os.umask(0)
        self.addCleanup(os.umask, 0o022)
        self.started(then="#loginEmail")
        desktop.sign_in((ACCOUNT[0], "wrong password"))
        until("the refusal", lambda: desktop.shows("Login failed. Check your credentials and connection."))
        desktop.sign_in()
        desktop.wait_for("#startTracking", 20)
        self.assertIn(TASK, desktop.pick_task(1))
        desktop.press("#startTracking")
        desktop.wait_for("#stopTracking")
        began = time.monotonic()

        self.check_second_start()
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
        self.assertGreater(min(session["key_press_count"], session["mouse_movements"]), 10)
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
        self.started(then="#startTracking")

    def check_second_start(self):
        """It brings the first one's window up from below another program's, and ends without a look at the data."""
        desktop = self.desktop
        display = Xlib.display.Display(desktop.environment["DISPLAY"])
        root = display.screen().root
        above = root.create_window(0, 0, 1000, 1000, 0, display.screen().root_depth)
        above.map()
        own = int(desktop.window())

        def is_in_front():
            stacked = [window.id for window in root.query_tree().children]
            return stacked.index(own) > stacked.index(above.id)

        self.assertFalse(is_in_front())
        second = desktop.start_another()
        users = set()
        while second.poll() is None:
            users.update(self.users_of_the_database())
        self.assertEqual((second.returncode, users), (0, {desktop.program.pid}))
        until("the first one's window in front", is_in_front)
        display.close()

    def users_of_the_database(self):
        for file in glob.glob("/proc/[0-9]*/fd/*"):
            with contextlib.suppress(OSError):  # another user's, or closed just now
                if os.readlink(file).startswith(str(self.desktop.data / "timetracker.sqlite")):
                    yield int(file.split("/")[2])

    def test_signals_close_the_interval_and_the_session_is_offered_again(self):
        """Also while an answer is waited for: the row that waits is not charged for it, and arrives later."""
        desktop = self.desktop
        self.hang("sessions/start")
        self.tracking()
        for signal_number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            until("an upload under way", lambda: [row[3] for row in self.queue().values()] == ["inProgress"])
            time.sleep(1.5)
            began = time.monotonic()
            self.assertEqual(desktop.stop_program(signal_number), 0)
            self.assertLess(time.monotonic() - began, 5)
            closed = self.active_session()
            self.assertIn("stoppedAt", closed["intervals"][-1], signal_number)
            self.assertEqual([(row[0], row[4]) for row in self.queue().values()], [("startSession", 0)])
            self.started(then="#resumeInterrupted")
            self.assertTrue(desktop.shows("Unfinished Session Found"))
            self.wait_for_empty_queue()
            self.assertEqual(desktop.backend.summary()["session_starts"], 1)
            self.hang("sessions/start")
            desktop.press("#resumeInterrupted")
            desktop.wait_for("#stopTracking")
            self.assertEqual(self.active_session()["id"], closed["id"])
        self.check_no_stall()

    def test_a_stall_of_the_program_is_found(self):
        """What all the others rely on: the machine is well, and the main thread alone stands still."""
        self.started(then="#loginEmail")
        main_thread = self.desktop.program.pid
        ptrace = ctypes.CDLL(None).ptrace
        self.assertEqual(ptrace(PTRACE_ATTACH, main_thread, None, None), 0)
        os.waitpid(main_thread, 0)
        time.sleep(3)
        self.assertEqual(ptrace(PTRACE_DETACH, main_thread, None, None), 0)
        log = self.desktop.data / "mainthread-stalls.log"
        until("the stall's line", lambda: log.exists() and log.read_text().endswith("\n"))
        self.assertRaises(self.failureException, self.check_no_stall)

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
        [saved] = self.active_session()["intervals"]
        self.assertIn("stoppedAt", saved)
        time.sleep(2)
        prepare_for_sleep(False)
        until("tracking after the sleep", lambda: len(self.active_session()["intervals"]) == 2)
        before, after = self.active_session()["intervals"]
        self.assertEqual(before, saved)
        self.assertGreaterEqual(after["startedAt"] - before["stoppedAt"], 2)
        until("the next sleep to be held back", held)
        self.check_no_stall()

    def test_kill_at_random_moments(self):
        """Each restart offers the session and bills it up to a mark at most 60 running seconds old; all rows arrive."""
        desktop = self.desktop
        chance = random.Random(7)
        queued = {}
        self.tracking()
        began = time.time()
        for kill in range(1, KILLS + 1):
            lives_long = kill % 50 == 10  # past the mark of the first minute, and the first pictures
            if lives_long:
                self.hang("/screenshots")
            time.sleep(chance.uniform(64, 75) if lives_long else chance.uniform(0.05, 2.0))
            desktop.stop_program(signal.SIGKILL)
            killed = time.time() - EPOCH
            queued.update(self.queue())
            left = self.active_session()
            running = left["intervals"][-1]
            mark = self.last_mark(left)
            self.assertNotIn("stoppedAt", running)
            self.assertLessEqual(killed - max(mark, running["startedAt"]), 60 + 3)  # three late ticks
            self.assertTrue(mark > running["startedAt"] + 59 or not lives_long)

            self.started(then="#resumeInterrupted")
            if kill < KILLS and kill % 50 != 9 and chance.random() < 0.5:
                self.hang("sessions/start")  # a row that waits for the next kill
            desktop.press("#resumeInterrupted")
            desktop.wait_for("#stopTracking")
            *before, settled, _ = self.active_session()["intervals"]
            self.assertEqual(before, left["intervals"][:-1])
            self.assertEqual((settled["id"], settled["startedAt"]), (running["id"], running["startedAt"]))
            end = max(running["startedAt"], min(mark, time.time() - EPOCH))
            self.assertAlmostEqual(settled["stoppedAt"], end, delta=1e-6)
            if kill % 20 == 0:
                print(f"\n{kill} of {KILLS} kills, {len(queued)} rows queued at one", end=" ", flush=True)
        desktop.press("#stopTracking")
        summary = self.wait_for_completed()
        self.wait_for_empty_queue()
        self.check_arrival(queued, summary)
        self.assertLessEqual(summary["sessions"][0]["total_seconds"], time.time() - began)
        self.check_no_stall()

    def check_arrival(self, queued, summary):
        """Each of the rows arrived, or the log tells why it was dropped; in this test nothing asks for that."""
        log = self.desktop.program_log
        self.assertEqual(re.findall(r"Task .* (?:dropping|discarding)\.", log), [])
        sessions = {session["session_uuid"]: session for session in summary["sessions"]}
        files = {shot["file_name"] for shot in summary["screenshot_files"]}
        arrived = {"startSession": lambda session, _: sessions[session]["started"],
                   "heartbeat": lambda session, _: sessions[session]["heartbeats"],
                   "screenshot": lambda _, file: pathlib.Path(file).name in files,
                   "activitySegment": lambda *_: summary["segments"]}
        if KILLS >= 10:  # then rows of both kinds were waited for
            self.assertLessEqual({"startSession", "screenshot"}, {row[0] for row in queued.values()})
        for row, (kind, session, file, *_) in queued.items():
            self.assertTrue(arrived[kind](session, file), f"{kind} {row} has not arrived")
        # One was queued at the start and at each resume, and each was answered.
        answers = log.count("API response: POST /api/v1/hr/timetracker/employees/sessions/start -> 200")
        self.assertGreaterEqual(answers, KILLS + 1)


class OnWayland(RealProgram):
    """A session whose pictures and input cannot be had: the program says so and goes on."""

    session = {"XDG_SESSION_TYPE": "wayland"}

    def test_the_permission_screen_comes(self):
        desktop = self.desktop
        self.signed_in(then="#permissionExplanation")
        for _ in range(2):
            self.assertTrue(desktop.shows("Permissions Required"))
            self.assertEqual(desktop.text_of("#permissionExplanation"), "This version offers no screen pictures or "
                             "input counting on Wayland.")
            for row in ("#openScreenRecording", "#openInputMonitoring"):
                self.assertEqual(desktop.text_of(row + "State"), "Not granted")
                desktop.press(row)  # no settings program is there to be opened
            desktop.press("#checkPermissionsAgain")
        self.assertEqual(desktop.start_another().wait(20), 0)
        self.assertTrue(desktop.shows("Permissions Required"))
        self.check_privacy()
        self.check_no_stall()
        self.assertEqual(desktop.stop_program(), 0)


class OnWaylandAlone(OnWayland):
    """And no X server is there."""

    wayland = True

    def test_without_any_display_a_line_says_so(self):
        del self.desktop.clocked_environment["WAYLAND_DISPLAY"]
        self.assertEqual(self.desktop.start_another().wait(20), 1)
        self.assertRegex(self.desktop.program_log, r"\Avelmora-timetracker: no display answers; .*\n\Z")
        self.assertFalse(self.desktop.data.exists())


class AcrossMidnight(RealProgram):
    """The company's midnight, in a zone that is not the machine's, soon after the start."""

    LEAD = 40  # seconds: long enough to sign in and start
    zone = datetime.timezone(datetime.timedelta(hours=5, minutes=45))  # Asia/Kathmandu, which keeps it all year
    now = datetime.datetime.now(zone)
    midnight = (now + datetime.timedelta(days=1, seconds=LEAD)).replace(hour=0, minute=0, second=0, microsecond=0)
    clock_lead = int((midnight - now).total_seconds()) - LEAD
    clock = shifted_clock(clock_lead)

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
        cut, goes_on = first[-1]["stopped_at"], second[0]["started_at"]
        self.assertLess(first[0]["started_at"], self.midnight.timestamp())
        self.assertTrue(cut <= self.midnight.timestamp() <= goes_on <= cut + 2, (cut, goes_on))
        self.check_no_stall()


if __name__ == "__main__":
    unittest.main(verbosity=2)
