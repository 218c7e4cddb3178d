"""A desktop of its own for end-to-end tests: X server, window manager, session bus, the application, drag sources."""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import x11

HERE = pathlib.Path(__file__).resolve().parent
WHEEL_SIDE = 300  # at a scale of 1
WHEEL_SIDES = (WHEEL_SIDE, WHEEL_SIDE * 3 // 2, WHEEL_SIDE * 2)
GTK_PYTHON = "/usr/bin/python3"  # the one that Debian's python3-gi belongs to


class Failure(Exception):
    pass


def wait_for(test, what, timeout=10.0):
    """The first true answer of test(); Failure when there is none in time."""
    end = time.monotonic() + timeout
    while True:
        answer = test()
        if answer:
            return answer
        if time.monotonic() > end:
            raise Failure(f"waited {timeout} s for {what}")
        time.sleep(0.001)


class Process:
    """A child with its output in a file, ended with everything it started."""

    def __init__(self, name, command, folder, environment, pass_fds=()):
        self.name = name
        self.log = folder / f"{name}.log"
        self.log.touch()
        with open(self.log, "ab") as output:
            self.child = subprocess.Popen([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=output,
                                          stderr=output, env=environment, cwd=folder, start_new_session=True,
                                          pass_fds=pass_fds)

    @property
    def pid(self):
        return self.child.pid

    def text(self):
        return self.log.read_text(errors="surrogateescape")

    def mark(self):
        return len(self.text())

    def wait_for(self, message, since=0, timeout=10.0):
        """Waits for a line that holds the message; the line."""
        def line():
            if self.child.poll() is not None:
                raise Failure(f"{self.name} ended with {self.child.returncode} while it should say “{message}”")
            return next((l for l in self.text()[since:].splitlines() if message in l), None)
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
        self.environment = {
            "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(self.folder / "home"),
            "XDG_RUNTIME_DIR": str(self.folder / "run"), "QT_QPA_PLATFORM": "xcb", "GDK_BACKEND": "x11",
            "NO_AT_BRIDGE": "1", "GTK_A11Y": "none", "GSETTINGS_BACKEND": "memory", "GSK_RENDERER": "cairo",
            "QT_LOGGING_TO_CONSOLE": "1", "QT_LOGGING_RULES": "pelgra.*.debug=true", "ASAN_OPTIONS": "detect_leaks=0",
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.folder}/run/bus",
        } | self.extra
        self.start_server()
        self.run("bus", ["dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.folder}/run/bus"])
        self.run("openbox", ["openbox"])
        wait_for(lambda: (self.folder / "run/bus").exists(), "the session bus")
        wait_for(lambda: self.display.has_property(self.display.root, "_NET_SUPPORTING_WM_CHECK"), "the window manager")
        if self.compositor:
            self.run("picom", ["picom", "--config", "/dev/null", "--backend", "xrender"])
            wait_for(lambda: self.display.selection_owner("_NET_WM_CM_S0"), "the compositing manager")
        return self

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
        """A window from which a drag of this content can be started. It may answer so many requests and hang then."""
        data = self.folder / "dragged"
        data.write_bytes(content)
        command = {"qt6": [self.sources / "QtSource"], "gtk3": [GTK_PYTHON, HERE / "Sources/gtk3_source.py"],
                   "gtk4": [GTK_PYTHON, HERE / "Sources/gtk4_source.py"]}[kind]
        command += ["--type", type, "--data", data, "--actions", actions, "--delay", delay, "--title", title]
        command += [] if hang_after is None else ["--hang-after", hang_after]
        source = self.run(kind, command)
        source.window = wait_for(lambda: self.display.named(title), f"the window of {kind}", 20)
        x, y = self.display.position(source.window)
        attributes = self.display.attributes(source.window)
        source.point = (x + attributes.width // 2, y + attributes.height // 2)
        return source

    def wheel(self):
        """The wheel's window while it is visible, else None."""
        found = self.display.visible(lambda window, a: a.override_redirect and a.width == a.height in WHEEL_SIDES)
        return found[0] if found else None

    def print_logs(self):
        for process in self.processes:
            print(f"---- {process.name}\n{process.text()[-3000:]}", file=sys.stderr)

    def stop(self):
        if hasattr(self, "display"):
            self.display.close()
            del self.display
        for process in reversed(self.processes):
            process.stop()
        self.processes.clear()
        shutil.rmtree(self.folder, ignore_errors=True)
