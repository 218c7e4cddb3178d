"""A desktop of its own for end-to-end tests: X server, window manager, session bus, the application, drag sources."""
import ctypes
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import x11

HERE = pathlib.Path(__file__).resolve().parent
WHEEL_SIDE = 300  # at a scale of 1
WHEEL_SIDES = (WHEEL_SIDE, WHEEL_SIDE * 3 // 2, WHEEL_SIDE * 2)
GTK_PYTHON = "/usr/bin/python3"  # the one that Debian's python3-gi belongs to
# How long to wait for what is to come: only a test that fails ever waits so long, however busy the machine.
PATIENCE = 60.0
PRECISE = 0.1  # for this long what is waited for is seen to the millisecond; then the machine is left to others
DIE_WITH_PARENT = 1  # prctl's PR_SET_PDEATHSIG

libc = ctypes.CDLL(None)


def basic_environment(folder):
    """Of a session of its own: home, run-time folder and bus in this folder, and the application's log on its output."""
    return {
        "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": f"{folder}/home", "XDG_RUNTIME_DIR": f"{folder}/run",
        "NO_AT_BRIDGE": "1", "GTK_A11Y": "none", "GSETTINGS_BACKEND": "memory", "GSK_RENDERER": "cairo",
        "QT_LOGGING_TO_CONSOLE": "1", "QT_LOGGING_RULES": "pelgra.*.debug=true",
        "DBUS_SESSION_BUS_ADDRESS": f"unix:path={folder}/run/bus",
    }


class Failure(Exception):
    pass


def wait_for(test, what, timeout=PATIENCE):
    """The first true answer of test(); Failure when there is none in time."""
    begin = time.monotonic()
    while True:
        answer = test()
        if answer:
            return answer
        waited = time.monotonic() - begin
        if waited > timeout:
            raise Failure(f"waited {timeout} s for {what}")
        time.sleep(0.001 if waited < PRECISE else 0.01)


def die_with_parent():
    """A test that is killed leaves no process behind."""
    libc.prctl(DIE_WITH_PARENT, signal.SIGKILL)


class Process:
    """A child with its output in a file, ended with everything it started."""

    def __init__(self, name, command, folder, environment, pass_fds=()):
        self.name = name
        handle, log = tempfile.mkstemp(prefix=f"{name} ", suffix=".log", dir=folder)  # another of this name has its own
        os.close(handle)
        self.log = pathlib.Path(log)
        with open(self.log, "ab") as output:
            self.child = subprocess.Popen([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=output,
                                          stderr=output, env=environment, cwd=folder, start_new_session=True,
                                          pass_fds=pass_fds, preexec_fn=die_with_parent)

    @property
    def pid(self):
        return self.child.pid

    def text(self):
        return self.log.read_text(errors="surrogateescape")

    def mark(self):
        return len(self.text())

    def wait_for(self, message, since=0, timeout=PATIENCE):
        """Waits for a line that holds the message; the line."""
        def line():
            has_ended = self.child.poll() is not None
            found = next((l for l in self.text()[since:].splitlines() if message in l), None)
            if has_ended and not found:
                raise Failure(f"{self.name} ended with {self.child.returncode} while it should say “{message}”")
            return found
        return wait_for(line, f"“{message}” of {self.name}", timeout)

    def says(self, message, since=0):
        return message in self.text()[since:]

    def processor_seconds(self):
        fields = pathlib.Path(f"/proc/{self.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def processor_nanoseconds(self):
        """Finer than the clock ticks of processor_seconds()."""
        tasks = pathlib.Path(f"/proc/{self.pid}/task").iterdir()
        return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks)

    def catches(self, number):
        """Whether the process has a handler for the signal by now."""
        caught = re.search(r"^SigCgt:\s*(\w+)", pathlib.Path(f"/proc/{self.pid}/status").read_text(), re.MULTILINE)
        return bool(caught and int(caught[1], 16) >> (number - 1) & 1)

    def ask_to_end(self):
        """Ends it as the session does; its exit status."""
        wait_for(lambda: self.child.poll() is not None or self.catches(signal.SIGTERM), f"{self.name} to heed signals")
        self.child.send_signal(signal.SIGTERM)
        return self.status()

    def status(self):
        """Waits for the end; the exit status."""
        try:
            return self.child.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self.name} does not end") from None

    def stop(self):
        for number in (signal.SIGTERM, signal.SIGKILL):
            if self.child.poll() is not None:
                break
            try:
                os.killpg(self.pid, signal.SIGCONT)
                os.killpg(self.pid, number)
            except ProcessLookupError:
                break
            try:
                self.child.wait(3)
            except subprocess.TimeoutExpired:
                continue
        self.child.wait()


POINTER_ROOT = 1  # where the focus of a new server is


class Desktop:
    """Use as a context. A start-up that fails is repeated once."""

    def __init__(self, application, sources, screen="1280x800x24", compositor=False, environment=None):
        self.application = pathlib.Path(application).resolve()
        self.sources = pathlib.Path(sources).resolve()
        self.screen = screen
        self.compositor = compositor
        self.extra = environment or {}
        self.application_environment = {}
        self.processes = []
        self.pressed = (0.0, (0, 0))  # when and where the button last went down for a drag

    def __enter__(self):
        try:
            return self.start()
        except Failure as failure:
            print(f"starting again after: {failure}", file=sys.stderr)
            self.print_logs()
            self.stop()
        try:
            return self.start()
        except Failure:
            self.print_logs()
            self.stop()
            raise

    def __exit__(self, *_):
        self.stop()

    def start(self):
        # Short, since the path of a socket must be.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pelgra-e2e-"))
        for name in ("home", "run", "work"):
            (self.folder / name).mkdir(mode=0o700)
        self.environment = basic_environment(self.folder) | {
            "QT_QPA_PLATFORM": "xcb", "GDK_BACKEND": "x11", "ASAN_OPTIONS": "detect_leaks=0",
        } | self.extra
        self.start_server()
        self.run("bus", ["dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.folder}/run/bus"])
        self.run("openbox", ["openbox"])
        wait_for(self.bus_answers, "the session bus")
        wait_for(lambda: self.display.has_property(self.display.root, "_NET_SUPPORTING_WM_CHECK"), "the window manager")
        # It announces itself before it takes the focus to itself; a window shown between would lose it again.
        wait_for(lambda: self.display.focus() > POINTER_ROOT, "the focus of the window manager")
        if self.compositor:
            self.run("picom", ["picom", "--config", "/dev/null", "--backend", "xrender"])
            wait_for(lambda: self.display.selection_owner("_NET_WM_CM_S0"), "the compositing manager")
        return self

    def bus_answers(self):
        """The socket has its name a moment before anybody listens there."""
        with socket.socket(socket.AF_UNIX) as connection:
            return connection.connect_ex(str(self.folder / "run/bus")) == 0

    def start_server(self):
        reading, writing = os.pipe()
        self.run("server", ["Xvfb", "-displayfd", writing, "-screen", "0", self.screen, "-nolisten", "tcp"],
                 pass_fds=(writing,))
        os.close(writing)
        os.set_blocking(reading, False)
        number = b""

        def numbered():
            nonlocal number
            try:
                number += os.read(reading, 16)
            except BlockingIOError:
                pass
            return number.endswith(b"\n")
        wait_for(numbered, "the X server")
        os.close(reading)
        self.environment["DISPLAY"] = f":{number.decode().strip()}"
        self.display = x11.Display(self.environment["DISPLAY"])

    def run(self, name, command, environment=None, pass_fds=()):
        process = Process(name, command, self.folder, self.environment | (environment or {}), pass_fds)
        self.processes.append(process)
        return process

    def end(self, process):
        process.stop()
        self.processes.remove(process)

    def start_application(self, *arguments):
        self.app = self.run("pelgra", [self.application, *arguments], self.application_environment)
        self.app.wait_for("Pelgra launched")
        return self.app

    def start_source(self, kind, content, type="text/uri-list", actions="copy,move,link", delay=0, hang_after=None,
                     title="Pelgra test source"):
        """A window from which a drag of this content can be started. It may answer that many requests and then hang."""
        data = self.folder / "dragged"
        data.write_bytes(content)
        command = {"qt6": [self.sources / "QtSource"], "gtk3": [GTK_PYTHON, HERE / "Sources/gtk3_source.py"],
                   "gtk4": [GTK_PYTHON, HERE / "Sources/gtk4_source.py"]}[kind]
        command += ["--type", type, "--data", data, "--actions", actions, "--delay", delay, "--title", title]
        command += [] if hang_after is None else ["--hang-after", hang_after]
        source = self.run(kind, command)
        source.wait_for("shown")
        source.window = wait_for(lambda: self.display.named(title), f"the window of {kind}")
        source.grip = None  # its middle
        return source

    def wheel(self):
        """The wheel's window while it is visible, else None."""
        found = self.display.unmanaged_of(lambda width, height: width == height and width in WHEEL_SIDES)
        return found[0] if found else None

    def print_logs(self, processes=None, most=4000):
        """What the processes said last, the application's own words whole."""
        for process in self.processes if processes is None else processes:
            text = process.text()
            print(f"---- {process.name}\n{text if process is getattr(self, 'app', None) else text[-most:]}", file=sys.stderr)
        sys.stderr.flush()

    def stop(self):
        if hasattr(self, "display"):
            self.display.close()
            del self.display
        for process in reversed(self.processes):
            process.stop()
        self.processes.clear()
        shutil.rmtree(self.folder, ignore_errors=True)
