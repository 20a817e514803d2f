"""What every test of the real program stands on: a desktop of its own, and what must hold whatever was done."""

import base64
import contextlib
import datetime
import json
import os
import pathlib
import resource
import sqlite3
import stat
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from desktop import Desktop, until  # noqa: E402  (found through the line above)

BUILD = pathlib.Path(sys.argv.pop(1))
STALL_LIMIT = 0.25
EPOCH = 978307200  # 2001, from which stored sessions count


class MachineWatch(threading.Thread):
    """How long the machine keeps everybody waiting: measured beside the program, by a thread that only sleeps and by
    the time that the program's main thread was ready to run and did not."""

    PERIOD = 0.02

    def __init__(self, desktop):
        super().__init__(daemon=True)
        self.desktop = desktop
        self.delays = []  # (when it woke, by how much it was late, for how long the main thread waited meanwhile)
        self.start()

    def run(self):
        waited = {}  # by process, the seconds that its main thread has waited for a processor so far
        while True:
            began = time.monotonic()
            time.sleep(self.PERIOD)
            late = time.monotonic() - began - self.PERIOD
            process = getattr(self.desktop.program, "pid", None)
            before = waited.get(process)
            with contextlib.suppress(OSError):  # there is none, or it has just ended
                waited[process] = int(pathlib.Path(f"/proc/{process}/schedstat").read_text().split()[1]) / 1e9
            self.delays.append((time.time(), late, waited[process] - before if before is not None else 0))

    def delay(self, since, to):
        """The seconds between the two moments for which the machine, and not the program, is to blame."""
        within = [delays for when, *delays in self.delays if since <= when <= to + self.PERIOD]
        return max(sum(late for late, _ in within), sum(waited for _, waited in within))


class RealProgram(unittest.TestCase):
    clock = session = None
    clock_lead = 0
    wayland = False

    def setUp(self):
        # In memory where that can be: a disk that other programs keep busy is no stall of this one's making.
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        folder = tempfile.TemporaryDirectory(prefix="velmora-e2e-", dir=memory)
        self.addCleanup(folder.cleanup)
        self.desktop = Desktop(BUILD, folder.name, clock=self.clock, session=self.session, wayland=self.wayland)
        self.addCleanup(self.desktop.close)
        self.desktop.point_at_backend()
        self.found_there = set(self.private_files())
        self.machine = MachineWatch(self.desktop)

    def tearDown(self):
        if self._outcome.result.failures or self._outcome.result.errors:
            print(self.desktop.program_log[-6000:])

    # Steps.

    def started(self, then):
        self.desktop.start_program()
        self.desktop.wait_for(then, 20)

    def signed_in(self, then="#startTracking"):
        self.started(then="#loginEmail")
        self.desktop.sign_in()
        self.desktop.wait_for(then, 20)

    def tracking(self):
        self.signed_in()
        self.desktop.press("#startTracking")
        self.desktop.wait_for("#stopTracking")

    def hang(self, path):
        """The next request of that path gets no answer."""
        self.desktop.backend.post("/control/faults", {"path": path, "kind": "hang"})

    def wait_for_completed(self, sessions=1, seconds=60):
        backend = self.desktop.backend
        until("the session's end at the backend", lambda: backend.summary()["completed"] >= sessions, seconds)
        return backend.summary()

    def wait_for_empty_queue(self):
        until("every row at the backend", lambda: not self.queue(), 60)

    # What is on disk.

    def rows(self, sql):
        with sqlite3.connect(f"file:{self.desktop.data / 'timetracker.sqlite'}?mode=ro", uri=True) as database:
            return database.execute(sql).fetchall()

    def queue(self):
        """The queued rows: by id their type, session, file, status and count of failures."""
        return {row[0]: row[1:] for row in self.rows(
            "SELECT id, type, session_id, file_path, status, retry_count FROM upload_queue")}

    def active_session(self):
        rows = self.rows("SELECT payload FROM sessions")
        return json.loads(rows[0][0]) if rows else None

    def last_mark(self, session):
        """When the program last proved that the session was alive, as stored sessions count; 0 when it did not."""
        preferences = json.loads(self.desktop.preferences_file.read_text())
        return preferences.get(f"com.velmora.timetracker.heartbeat.{session['id']}", EPOCH) - EPOCH

    def private_files(self):
        """All that the program may have made: in the home, in its temporary folder, and by its name in the runtime
        folder, which others use too."""
        for folder, pattern in (("home", "*"), ("tmp", "*"), ("runtime", "velmora*")):
            yield from (self.desktop.folder / folder).rglob(pattern)

    # What must hold.

    def check_privacy(self):
        """Nothing that the program made is open to others, and no token lies where others or a backup may find it."""
        made = [path for path in self.private_files() if path not in self.found_there]
        own = [path for path in self.found_there if "velmora-timetracker" in path.parts]
        self.assertTrue(made and own)
        for path in made + own:
            mode = stat.S_IMODE(path.lstat().st_mode)
            self.assertEqual(mode & 0o077, 0, f"{path} has mode {mode:o}")
        tokens = json.loads(self.desktop.run("secret-tool", "lookup", "service", "com.velmora.timetracker", "account",
                                             "auth_tokens"))
        canaries = {form for key in ("accessToken", "refreshToken") for form in every_form(tokens[key])}
        self.assertEqual(resource.prlimit(self.desktop.program.pid, resource.RLIMIT_CORE)[0], 1)  # no core file
        process = pathlib.Path(f"/proc/{self.desktop.program.pid}")
        places = [self.desktop.folder / "program.log", process / "cmdline", process / "environ",
                  *filter(pathlib.Path.is_file, self.private_files())]
        for place in places:
            content = place.read_bytes()
            self.assertFalse([form for form in canaries if form in content], f"a token lies in {place}")

    def check_no_stall(self):
        """No logged stall is the program's own: what the machine took meanwhile is left out."""
        log = self.desktop.data / "mainthread-stalls.log"
        for line in log.read_text().splitlines() if log.exists() else []:
            written, milliseconds = line.split(",")
            seconds = int(milliseconds) / 1000
            # Written in whole seconds, rounded down, so the stall ended within the second that follows.
            second = datetime.datetime.fromisoformat(written.replace("Z", "+00:00")).timestamp() - self.clock_lead
            own = seconds - self.machine.delay(second - seconds, second + 1)
            print(f"stall: {line}, of which {max(0, own):.3f} s the program's own", flush=True)
            self.assertLess(own, STALL_LIMIT, line)


def every_form(secret):
    """The bytes of a secret as they may lie in a file: raw, wide, URL-encoded, and in base 64 wherever it began."""
    raw = secret.encode()
    yield from (raw, secret.encode("utf-16-le"), urllib.parse.quote(secret, safe="").encode())
    for before in range(3):
        # Without the ends, which share their characters with what stands beside.
        yield base64.b64encode(b"-" * before + raw)[4:-4]
        yield base64.urlsafe_b64encode(b"-" * before + raw)[4:-4]
