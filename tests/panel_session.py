# SPDX-License-Identifier: MIT
"""A session of its own for one test process: bus, display, PipeWire, driver service, panel.

What the window shows is read as a screen reader reads it, through the accessibility bus, and every
wait is for an event with a limit.
"""

import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile
import time

# With these variables programs would find the servers of the session that runs the tests, or print more.
FOREIGN = (
    "AT_SPI_BUS_ADDRESS",
    "DBUS_STARTER_ADDRESS",
    "DBUS_STARTER_BUS_TYPE",
    "PIPEWIRE_CONFIG_DIR",
    "PIPEWIRE_LATENCY",
    "PIPEWIRE_PROPS",
    "PIPEWIRE_QUANTUM",
    "PIPEWIRE_RATE",
    "PIPEWIRE_REMOTE",
    "PIPEWIRE_RUNTIME_DIR",
    "PULSE_COOKIE",
    "PULSE_RUNTIME_PATH",
    "PULSE_SERVER",
    "QT_DEBUG_PLUGINS",
    "QT_LOGGING_RULES",
    "QT_STYLE_OVERRIDE",
    "WAYLAND_DISPLAY",
)

# A session bus that starts only the services of its own folder.
BUS_CONFIGURATION = """<busconfig>
<type>session</type>
<listen>{address}</listen>
<servicedir>{services}</servicedir>
<policy context="default">
<allow send_destination="*"/>
<allow receive_sender="*"/>
<allow own="*"/>
</policy>
</busconfig>
"""

# The accessibility bus, through which the window is read.
ACCESSIBILITY_SERVICE = "dbus-1/services/org.a11y.Bus.service"

# However the tests end, every process that they started ends too.
ENDS_WITH_US = ("setpriv", "--pdeathsig", "KILL")

TIME_LIMIT = 20  # seconds for anything to come up or to show; far above what it takes


class Session:
    """Starts servers and programs, and ends all of them. `build` is the folder of the build."""

    SCREEN = "1280x1024x24"

    def __init__(self, build):
        self.bin = pathlib.Path(build) / "bin"
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vx310-test-"))
        self.processes = {}
        runtime = self.folder / "runtime"
        runtime.mkdir(mode=0o700)
        os.environ.update(
            XDG_RUNTIME_DIR=str(runtime),
            XDG_CONFIG_HOME=str(self.folder / "config"),
            XDG_CACHE_HOME=str(self.folder / "cache"),
            XDG_STATE_HOME=str(self.folder / "state"),
            DBUS_SESSION_BUS_ADDRESS=f"unix:path={runtime}/bus",
            QT_QPA_PLATFORM="xcb",
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
            NO_AT_BRIDGE="0",
        )
        for name in FOREIGN:
            os.environ.pop(name, None)
        try:
            # Services that the bus starts get the display from the bus's environment.
            self.start_display()
            self.start_bus()
        except BaseException:
            self.close()
            raise

    # Starting and ending ------------------------------------------------------------------------

    def start(self, name, *command, **options):
        log = open(self.folder / f"{name}.log", "ab")
        with log:
            options.setdefault("stdout", log)
            options.setdefault("stdin", subprocess.DEVNULL)
            process = subprocess.Popen(
                [*ENDS_WITH_US, *(str(word) for word in command)],
                stderr=log,
                **options,
            )
        self.processes[name] = process
        return process

    def start_and_read_line(self, name, *command, **options):
        """Starts a program that prints one line when it is ready; returns that line."""
        process = self.start(name, *command, stdout=subprocess.PIPE, **options)
        line = read_line(process.stdout, TIME_LIMIT)
        if not line:
            raise AssertionError(f"{name} did not start: {self.log(name)}")
        return line

    def start_bus(self):
        """Starts the session bus; after its end, again at the same address."""
        services = self.folder / "services"
        services.mkdir(exist_ok=True)
        shutil.copy(data_file(ACCESSIBILITY_SERVICE), services)
        configuration = self.folder / "bus.conf"
        configuration.write_text(
            BUS_CONFIGURATION.format(
                address=os.environ["DBUS_SESSION_BUS_ADDRESS"], services=services
            )
        )
        self.start_and_read_line(
            "bus",
            "dbus-daemon",
            f"--config-file={configuration}",
            "--nofork",
            "--nopidfile",
            "--nosyslog",
            "--print-address=1",
        )

    def start_display(self):
        number = self.start_and_read_line(
            "display", "Xvfb", "-displayfd", "1", "-screen", "0", self.SCREEN, "-nolisten", "tcp"
        )
        os.environ["DISPLAY"] = f":{number}"

    def start_pipewire(self):
        self.start("pipewire", "pipewire")

    def start_driver(self, *options):
        self.start("driver", self.bin / "vx310-driver", *options)

    def start_panel(self):
        """Starts the panel; wait_for_line reads its standard output."""
        self.start("panel", self.bin / "vx310-panel", stdout=subprocess.PIPE)

    def replace_program(self, name, script):
        """Makes programs that are started from now on run a shell script in place of `name`."""
        folder = self.folder / "bin"
        folder.mkdir(exist_ok=True)
        (folder / name).write_text(f"#!/bin/sh\n{script}\n")
        (folder / name).chmod(0o755)
        os.environ["PATH"] = f"{folder}:{os.environ['PATH']}"

    def end(self, name, with_signal=signal.SIGTERM):
        """Ends a process and returns its exit status; kills it if it does not end in time."""
        process = self.processes.pop(name)
        process.send_signal(with_signal)
        try:
            return process.wait(TIME_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise
        finally:
            if process.stdout:
                process.stdout.close()

    def close(self):
        stubborn = []
        for name in reversed(list(self.processes)):
            try:
                self.end(name, signal.SIGKILL if name in ("bus", "display") else signal.SIGTERM)
            except subprocess.TimeoutExpired:
                stubborn.append(name)
        shutil.rmtree(self.folder, ignore_errors=True)
        if stubborn:
            raise AssertionError(f"did not end at SIGTERM within {TIME_LIMIT} s: {stubborn}")

    def wait_for_end(self, name):
        """Waits for a process to end by itself; returns its exit status."""
        process = self.processes.pop(name)
        status = process.wait(TIME_LIMIT)
        if process.stdout:
            process.stdout.close()
        return status

    def wait_for_line(self, name, start, but_not=None):
        """Reads the output of `name` up to a line with this beginning; returns the line."""
        deadline = time.monotonic() + TIME_LIMIT
        while (line := read_line(self.processes[name].stdout, deadline - time.monotonic())) is not None:
            if line.startswith(start) and not (but_not and line.startswith(but_not)):
                return line
        raise AssertionError(f"{name} did not print {start!r} before its end or within {TIME_LIMIT} s")

    def skip_output(self, name):
        """Reads what `name` has printed so far, for wait_for_line to look behind it."""
        stream = self.processes[name].stdout
        while select.select([stream], [], [], 0)[0] and os.read(stream.fileno(), 4096):
            pass

    def log(self, name):
        return (self.folder / f"{name}.log").read_text(errors="replace")

    # Driving ------------------------------------------------------------------------------------

    def run(self, *words):
        """Runs a program, which must succeed, and returns its output."""
        command = [str(word) for word in words]
        result = subprocess.run(command, capture_output=True, text=True, timeout=TIME_LIMIT)
        if result.returncode != 0:
            raise AssertionError(f"{' '.join(command)}: {result.returncode} {result.stderr}")
        return result.stdout

    def ctl(self, *words):
        """Runs vx310ctl and returns its output."""
        return self.run(self.bin / "vx310ctl", *words)

    def sim(self, *words):
        return self.ctl("sim", *words)


def data_file(name):
    """The file's path in the first of the system's data folders that has it."""
    folders = os.environ.get("XDG_DATA_DIRS") or "/usr/local/share:/usr/share"
    for folder in folders.split(":"):
        if (path := pathlib.Path(folder) / name).is_file():
            return path
    raise FileNotFoundError(f"{name} is in none of {folders}")


def read_line(stream, seconds):
    """One line without its end; None after the time limit or at the end of the stream."""
    line = b""
    while not line.endswith(b"\n"):
        ready, _, _ = select.select([stream], [], [], max(0, seconds))
        byte = os.read(stream.fileno(), 1) if ready else b""
        if not byte:
            return None
        line += byte
    return line.decode().rstrip("\n")
