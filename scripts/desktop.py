"""A private desktop for the real program: display, buses, keyring, backend, and hands that use it by accessible names.

Everything that is started is stopped by its process id; nothing of the person's own session is touched.
"""

import glob
import json
import os
import pathlib
import signal
import subprocess
import time
import urllib.request

MONITORS = (("left", 1920, 1080, 0, 0), ("right", 1280, 1024, 1920, 0))
ACCOUNT = ("demo@velmora.example", "demo1234")
TASK = "Website relaunch"  # the first entry below "No task"


class Failure(AssertionError):
    """A step did not come out as it must; `next_step` is what a person can do about it."""

    def __init__(self, cause, next_step="read the log above"):
        super().__init__(cause)
        self.next_step = next_step


def launch(command, **options):
    """A started process; a Failure where there is no such program."""
    try:
        return subprocess.Popen([str(part) for part in command], **options)
    except OSError as error:
        raise Failure(f"{command[0]} cannot be started: {error.strerror}", "scripts/setup, and build again") from error


def ended(name, process, log):
    """What to say of a process that was to run on."""
    lines = pathlib.Path(log).read_text(errors="replace").splitlines()
    return Failure(f"{name} ended with {process.returncode}" + "".join(f" ({line})" for line in lines[-1:]),
                   f"read {log}")


def until(what, probe, seconds=10.0, pause=0.1):
    """Waits for `probe` to give something true, and returns it."""
    deadline = time.monotonic() + seconds
    while True:
        answer = probe()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise Failure(f"waited {seconds:.0f} s in vain for: {what}")
        time.sleep(pause)


class Backend:
    """The development backend on a free loopback port."""

    def __init__(self, build, folder, log, environment):
        folder.mkdir(parents=True, exist_ok=True)
        port_file = folder / "port"
        port_file.unlink(missing_ok=True)
        self.process = launch(
            [build / "backend/velmora-backend", "--port", "0", "--data", folder / "data", "--port-file", port_file],
            env=environment, stdout=log, stderr=log)

        def port():
            if self.process.poll() is not None:
                raise ended("the backend", self.process, log.name)
            return port_file.exists() and port_file.read_text().strip()

        self.url = f"http://127.0.0.1:{until('the backend to listen', port)}"

    def get(self, path):
        with urllib.request.urlopen(self.url + path, timeout=10) as answer:
            return json.load(answer)

    def post(self, path, body=None):
        request = urllib.request.Request(self.url + path, json.dumps(body or {}).encode(),
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=10) as answer:
            return answer.read()

    def summary(self):
        return self.get("/control/summary")


def shifted_clock(seconds):
    """The environment in which a program's wall clock, and nothing else of its time, is `seconds` ahead."""
    return {"LD_PRELOAD": glob.glob("/usr/lib/*/faketime/libfaketime.so.1")[0], "FAKETIME": f"+{seconds}s",
            "DONT_FAKE_MONOTONIC": "1"}


class Desktop:
    """Display (a private one unless `display` names one), session bus, keyring, home, backend and program.

    `clock` is environment for the program and the backend alone, `session` for all. A `wayland` desktop has a
    compositor without a screen and no X server; hands and pictures need the latter.
    """

    def __init__(self, build, folder, display=None, clock=None, session=None, wayland=False):
        self.build = pathlib.Path(build).resolve()
        self.folder = pathlib.Path(folder).resolve()
        self.home = self.folder / "home"
        self.processes = []
        self.program = None
        for path in (self.home, self.folder / "runtime", self.folder / "tmp"):
            path.mkdir(parents=True, exist_ok=True)
            path.chmod(0o700)
        self.log = open(self.folder / "services.log", "ab")
        self.environment = {
            "HOME": str(self.home), "PATH": os.environ["PATH"], "LANG": "C.UTF-8",
            "XDG_RUNTIME_DIR": str(self.folder / "runtime"), "TMPDIR": str(self.folder / "tmp"),
            # No system bus of this machine: power and network events come only from buses that a test makes.
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.folder}/no-system-bus",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", **(session or {}),
        }
        try:
            if wayland:
                self._start_compositor()
            else:
                self._start_display(display)
            self._start_session_bus()
            self._start_keyring()
            self.clocked_environment = {**self.environment, **(clock or {})}
            self.backend = Backend(self.build, self.folder / "backend", self.log, self.clocked_environment)
            self.processes.append(self.backend.process)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.program:
            self.stop_program()
        for process in reversed(self.processes):
            process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.processes = []
        self.log.close()

    def _start(self, command, **options):
        process = launch(command, env=self.environment, stderr=self.log, **options)
        self.processes.append(process)
        return process

    def _forget_own_session(self):
        """The person's own session is not looked at."""
        for name in ("AT_SPI_BUS_ADDRESS", "WAYLAND_DISPLAY", "DISPLAY"):
            os.environ.pop(name, None)

    def _start_compositor(self):
        self._forget_own_session()
        self.environment.update(WAYLAND_DISPLAY="wayland-velmora", XDG_SESSION_TYPE="wayland")
        self._start(["weston", "--backend=headless-backend.so", "--use-pixman", "--no-config", "--idle-time=0",
                     "--socket=wayland-velmora"], stdout=self.log)
        until("the compositor", (self.folder / "runtime/wayland-velmora").exists)

    def _start_display(self, display):
        if display:
            self.environment["DISPLAY"] = display
            self.environment.update((name, os.environ[name]) for name in ("XAUTHORITY", "XDG_SESSION_TYPE")
                                    if name in os.environ)
            return
        self._forget_own_session()
        width = max(w + x for _, w, _, x, _ in MONITORS)
        height = max(h + y for _, _, h, _, y in MONITORS)
        reader, writer = os.pipe()
        self._start(["Xvfb", "-displayfd", str(writer), "-screen", "0", f"{width}x{height}x24", "-noreset",
                     "-nolisten", "tcp"], stdout=self.log, pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as answer:
            number = answer.readline().strip()
        if not number:
            raise Failure("Xvfb gave no display", f"read {self.log.name}")
        self.environment["DISPLAY"] = ":" + number
        os.environ["DISPLAY"] = self.environment["DISPLAY"]
        for index, (name, w, h, x, y) in enumerate(MONITORS):
            self.run("xrandr", "--setmonitor", name, f"{w}/{w // 4}x{h}/{h // 4}+{x}+{y}",
                     "screen" if index == 0 else "none")

    def _start_bus(self):
        bus = self._start(["dbus-daemon", "--session", "--nofork", "--print-address=1"], stdout=subprocess.PIPE)
        return bus.stdout.readline().decode().strip()

    def _start_session_bus(self):
        address = self._start_bus()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = address

    def start_logind(self):
        """A system bus with a mocked login manager for programs started from now on; returns the manager."""
        import dbus.bus
        address = self._start_bus()
        for environment in (self.environment, self.clocked_environment):
            environment["DBUS_SYSTEM_BUS_ADDRESS"] = address
        self._start(["/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind"], stdout=self.log)
        bus = dbus.bus.BusConnection(address)
        until("the login manager", lambda: bus.name_has_owner("org.freedesktop.login1"))
        return bus.get_object("org.freedesktop.login1", "/org/freedesktop/login1")

    def _start_keyring(self):
        keyring = self._start(["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                              stdin=subprocess.PIPE, stdout=self.log)
        keyring.stdin.write(b"demo")
        keyring.stdin.close()
        until("the keyring", lambda: self._owns_secrets() and self._has_default_collection())

    def _owns_secrets(self):
        names = self.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/",
                         "org.freedesktop.DBus.ListNames")
        return "org.freedesktop.secrets" in names

    def _has_default_collection(self):
        alias = self.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.secrets",
                         "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.ReadAlias", "string:default",
                         check=False)
        return "object path" in alias and 'object path "/"' not in alias

    def run(self, *command, check=True):
        done = subprocess.run([str(part) for part in command], env=self.environment, stdout=subprocess.PIPE,
                              stderr=self.log, timeout=30)
        if check and done.returncode:
            raise Failure(f"{' '.join(map(str, command))} ended with {done.returncode}")
        return done.stdout.decode()

    # The program.

    @property
    def preferences_file(self):
        return self.home / ".config/velmora-timetracker/preferences.json"

    @property
    def data(self):
        return self.home / ".local/share/Velmora TimeTracker"

    @property
    def program_log(self):
        return (self.folder / "program.log").read_text(errors="replace")

    def point_at_backend(self):
        """What an installation for a company does: the base URL stands in the preferences."""
        self.preferences_file.parent.mkdir(parents=True, exist_ok=True)
        self.preferences_file.write_text(json.dumps(
            {"com.velmora.timetracker.apiBaseURL": self.backend.url + "/api/v1/"}))

    def start_program(self):
        self.program = self.start_another()

    def start_another(self):
        """A start of the program that is not the one in use."""
        with open(self.folder / "program.log", "ab") as log:
            return launch([self.build / "Velmora_TimeTracker/velmora-timetracker"],
                          env=self.clocked_environment, stdout=log, stderr=log)

    def program_ended(self):
        return ended("the program", self.program, self.folder / "program.log")

    def stop_program(self, with_signal=signal.SIGTERM):
        program, self.program = self.program, None
        program.send_signal(with_signal)  # nothing happens when it has ended by itself
        try:
            return program.wait(15)
        except subprocess.TimeoutExpired as late:
            program.kill()
            program.wait()
            raise Failure(f"the program did not end within 15 s of signal {with_signal}") from late

    def picture(self, name):
        file = self.folder / f"{name}.png"
        window = until("the window", lambda: self.window())
        self.run("maim", "-i", window, file)
        return file

    def windows(self):
        return self.run("xdotool", "search", "--onlyvisible", "--pid", self.program.pid, check=False).split()

    def window(self):
        return next(reversed(self.windows()), None)

    # Hands: input that the program counts like any other.

    def type_for(self, seconds):
        """Types and moves; returns about how many keys were pressed."""
        end = time.monotonic() + seconds
        keys = 0
        while time.monotonic() < end:
            self.run("xdotool", "mousemove", 1500 + keys % 40, 900 + keys % 30)
            self.run("xdotool", "key", "--delay", "20", "F13", "F14", check=False)
            keys += 2
            time.sleep(0.15)
        return keys

    # Eyes and fingers: the accessibility tree.

    def _atspi(self):
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi
        return Atspi

    def _walk(self, node, depth=0):
        yield node
        if depth < 40:
            for index in range(node.get_child_count()):
                child = node.get_child_at_index(index)
                if child is not None:
                    yield from self._walk(child, depth + 1)

    def nodes(self):
        """Every node of the program that is on the screen."""
        if self.program.poll() is not None:
            raise self.program_ended()
        Atspi = self._atspi()
        from gi.repository import GLib
        try:
            desktop = Atspi.get_desktop(0)
            desktop.clear_cache()
            for index in range(desktop.get_child_count()):
                application = desktop.get_child_at_index(index)
                if application is None or application.get_process_id() != self.program.pid:
                    continue
                application.clear_cache()
                for node in self._walk(application):
                    if node.get_state_set().contains(Atspi.StateType.SHOWING):
                        yield node
        except GLib.Error:
            return  # the tree changed under us; the caller looks again

    def find(self, identifier):
        """The node on the screen whose description is the identifier, or None."""
        from_tree = (node for node in self.nodes() if node.get_description() == identifier)
        return next(from_tree, None)

    def wait_for(self, identifier, seconds=10):
        return until(f"{identifier} on the screen", lambda: self.find(identifier), seconds)

    def texts(self):
        return [node.get_name() for node in self.nodes() if node.get_name()]

    def shows(self, text):
        return any(text in shown for shown in self.texts())

    def text_of(self, identifier):
        return self.wait_for(identifier).get_name()

    def set_text(self, identifier, text):
        self.wait_for(identifier).get_editable_text_iface().set_text_contents(text)

    def press(self, identifier, seconds=10):
        Atspi = self._atspi()

        def enabled():
            node = self.find(identifier)
            return node if node and node.get_state_set().contains(Atspi.StateType.ENABLED) else None

        node = until(f"{identifier} to be enabled", enabled, seconds)
        node.get_action_iface().do_action(0)

    def sign_in(self, account=ACCOUNT):
        self.set_text("#loginEmail", account[0])
        self.set_text("#loginPassword", account[1])
        self.press("#loginButton")

    def pick_task(self, position):
        """Opens the task menu and chooses the entry `position` rows below the current one, by keyboard."""
        before = self.text_of("#taskField")
        windows = len(self.windows())
        self.press("#taskField")
        until("the task menu", lambda: len(self.windows()) > windows)
        self.run("xdotool", "key", *["Down"] * position, "Return")
        until("the chosen task", lambda: self.text_of("#taskField") != before)
        return self.text_of("#taskField")
