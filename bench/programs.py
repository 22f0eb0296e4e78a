#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures the whole programs from outside, each beside a reference of the same run.

usage: programs.py BUILD_FOLDER [REGEX]     the lines whose names match

The programs run in a session of their own. Ours and the reference take turns; what is printed is the
median of each and their ratio. docs/performance.md says how each line is measured.
"""

import os
import pathlib
import re
import select
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
from panel_session import TIME_LIMIT, Session, read_line  # noqa: E402

from Xlib import XK, X, display  # noqa: E402
from Xlib.ext import damage, xtest  # noqa: E402

STARTS = 31
RESTS = 5
PLUGS = 15
PICKS = 25
CALLS = 25
CLOCK_MENU = 6  # the menu's place among the controls that Tab visits
PAUSES = 500  # milliseconds: 100 for newly published services, 400 before the choices are sent
SETTLED = 0.7  # seconds: above the pause of a removal, so that the panel rests before the next step
LAST_ROUTING = "getRouting RoutingIn2 returns"
BARE_STORES = """
import os, sys, time
folder, sizes = sys.argv[1], [int(size) for size in sys.argv[2:]]
def store(number, size):
    with open(f"{folder}/new", "wb") as file:
        file.write(bytes(size))
        file.flush()
        os.fsync(file.fileno())
    os.rename(f"{folder}/new", f"{folder}/{number}")
    opened = os.open(folder, os.O_RDONLY)
    os.fsync(opened)
    os.close(opened)
for line in sys.stdin:
    begin = time.time()
    for number, size in enumerate(sizes):
        store(number, size)
    print((time.time() - begin) * 1000, flush=True)
"""
LARGE = 300  # pixels: the first picture as wide and as high as this is the window's, not a cursor's


def print_line(name, unit, ours, reference, note=""):
    ours, reference = statistics.median(ours), statistics.median(reference)
    print(f"{name:44}{ours:9.2f}{reference:9.2f} {unit:4}{ours / reference:6.2f} {note}", flush=True)


class PaintWatch:
    """Sees what is painted on the display, through the damage of its root window."""

    def __init__(self):
        self.display = display.Display()
        root = self.display.screen().root
        self.display.damage_query_version()
        root.damage_create(damage.DamageReportRawRectangles)
        self.display.sync()

    def skip(self):
        self.display.sync()
        while self.display.pending_events():
            self.display.next_event()

    def wait(self):
        """The time of the next large picture."""
        limit = time.monotonic() + TIME_LIMIT
        while time.monotonic() < limit:
            if not self.display.pending_events():
                select.select([self.display], [], [], TIME_LIMIT)
            now = time.monotonic()
            while self.display.pending_events():
                event = self.display.next_event()
                area = getattr(event, "area", None)
                if area and area.width >= LARGE and area.height >= LARGE:
                    return now
        raise AssertionError("nothing was painted")


class Programs:
    def __init__(self, build):
        self.build = pathlib.Path(build)
        self.session = Session(build)
        os.environ.pop("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", None)
        self.bare = [str(self.build / "bench" / "bare_window"), "640", "558"]
        self.panel = [str(self.session.bin / "vx310-panel")]

    def start_window(self, watch, command):
        """Starts a program; returns its process and the milliseconds to its first painted window, by the clock
        and of its main thread's processor time."""
        watch.skip()
        output = os.open(self.session.folder / "window.log", os.O_WRONLY | os.O_CREAT | os.O_APPEND)
        begin = time.monotonic()
        process = os.posix_spawn(command[0], command, os.environ,
                                 file_actions=[(os.POSIX_SPAWN_DUP2, output, 1)])
        painted = watch.wait()
        worked = int(pathlib.Path(f"/proc/{process}/schedstat").read_text().split()[0])
        os.close(output)
        return process, (painted - begin) * 1000, worked / 1e6

    def end_window(self, process):
        os.kill(process, 15)
        os.waitpid(process, 0)

    def measure_start(self):
        watch = PaintWatch()
        times = {"panel": [], "bare": []}
        work = {"panel": [], "bare": []}
        for _ in range(STARTS):
            for name in times:
                process, milliseconds, worked = self.start_window(watch, getattr(self, name))
                times[name].append(milliseconds)
                work[name].append(worked)
                self.end_window(process)
        print_line("start to first painted window", "ms", times["panel"], times["bare"])
        print_line("  processor time of the main thread", "ms", work["panel"], work["bare"])

    def measure_memory(self):
        watch = PaintWatch()
        sizes = {"panel": [], "bare": []}
        for _ in range(RESTS):
            for name in sizes:
                process, _, _ = self.start_window(watch, getattr(self, name))
                wait_for_rest(process)
                sizes[name].append(memory(process, "Pss") / 1024)
                self.end_window(process)
        print_line("PSS at rest", "MiB", sizes["panel"], sizes["bare"])


    def measure_publish(self):
        """The panel prints the last routing that it reads; only the menus' items are set after that line."""
        session = self.session
        session.start_panel()
        signals = session.start("signals", "dbus-monitor", "--profile", "interface='org.freedesktop.DBus.ObjectManager'",
                                stdout=subprocess.PIPE)
        parts = session.start("parts", self.build / "bench" / "arrival_parts", stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE)
        session.wait_for_line("panel", LAST_ROUTING)
        ours, reference = [], []
        for _ in range(PLUGS):
            time.sleep(SETTLED)
            session.sim("unplug")
            time.sleep(SETTLED)
            session.skip_output("panel")
            session.skip_output("signals")
            plug = session.start("plug", session.bin / "vx310ctl", "sim", "plug")
            session.wait_for_line("panel", LAST_ROUTING)
            shown = time.time()
            while "InterfacesAdded" not in (signal := session.wait_for_line("signals", "sig")):
                pass
            plug.wait(TIME_LIMIT)
            ours.append((shown - float(signal.split("\t")[1])) * 1000 - PAUSES)
            time.sleep(SETTLED)
            parts.stdin.write(b"\n")
            parts.stdin.flush()
            reference.append([float(number) for number in read_line(parts.stdout, TIME_LIMIT).split()])
        medians = [statistics.median(column) for column in zip(*reference)]
        print_line("publish signal to the last control set", "ms", ours, [sum(row) for row in reference],
                   "exchanges {:.2f}, routings {:.2f}, stores {:.2f}".format(*medians))
        parts.stdin.close()
        for name in ("panel", "signals", "parts"):
            session.end(name)

    def measure_pick(self):
        """Return at the other item of the clock menu; the calls that store are seen by strace, in both programs."""
        session = self.session
        traces = session.folder / "panel.trace"
        strace = ("strace", "-f", "-ttt", "-T", "--seccomp-bpf", "-e", "trace=fsync,rename,renameat,renameat2", "-o")
        session.start("panel", *strace, traces, *self.panel, stdout=subprocess.PIPE)
        session.wait_for_line("panel", LAST_ROUTING)
        time.sleep(SETTLED)
        stores = sorted((session.folder / "config").rglob("*.plist"))
        folder = session.folder / "bare"
        folder.mkdir()
        bare = session.start("bare", *strace, session.folder / "bare.trace", sys.executable, "-c", BARE_STORES, folder,
                             *(store.stat().st_size for store in stores), stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        keyboard = display.Display()
        focus_clock_menu(keyboard)
        ours, reference, replaced = [], [], []
        for number in range(PICKS):
            seen = len(traces.read_text())
            press(keyboard, XK.XK_Down)  # opens the list
            time.sleep(SETTLED)
            press(keyboard, XK.XK_Up if number % 2 else XK.XK_Down)
            time.sleep(SETTLED)
            begin = time.time()
            press(keyboard, XK.XK_Return)
            time.sleep(SETTLED)
            calls = traces.read_text()[seen:].splitlines()
            ends = [float(words[1]) + float(words[-1].strip("<>")) for words in map(str.split, calls) if "fsync(" in words[2]]
            replaced.append(sum("rename" in call for call in calls))
            if not ends:
                raise AssertionError("the pick was not stored")
            ours.append((ends[-1] - begin) * 1000)
            bare.stdin.write(b"\n")
            bare.stdin.flush()
            reference.append(float(read_line(bare.stdout, TIME_LIMIT)))
        print_line("pick to both stores durable", "ms", ours, reference, f"file replacements a pick: at most {max(replaced)}")
        bare.stdin.close()
        session.wait_for_end("bare")
        end_traced(session, "panel")

    def measure_call(self):
        session = self.session
        ctl = [str(session.bin / "vx310ctl"), "get", "clock-source"]
        paths = session.run("busctl", "--user", "--list", "tree", "com.vantrel.Driver1").split()
        interface = next(path for path in paths if path.startswith("/com/vantrel/Driver1/"))
        busctl = ["/usr/bin/busctl", "--user", "get-property", "com.vantrel.Driver1", interface,
                  "com.vantrel.Driver1.Service", "Properties"]
        times = {"ctl": [], "busctl": []}
        for _ in range(CALLS):
            for name, command in (("ctl", ctl), ("busctl", busctl)):
                begin = time.monotonic()
                subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
                times[name].append((time.monotonic() - begin) * 1000)
        print_line("vx310ctl get clock-source : busctl", "ms", times["ctl"], times["busctl"])


def focus_clock_menu(keyboard):
    """Gives the panel the keyboard and moves to the sixth of its controls."""
    window = next(child for child in keyboard.screen().root.query_tree().children
                  if child.get_attributes().map_state == X.IsViewable and child.get_geometry().width >= LARGE)
    window.set_input_focus(X.RevertToParent, X.CurrentTime)
    keyboard.sync()
    for _ in range(CLOCK_MENU):
        press(keyboard, XK.XK_Tab)


def end_traced(session, name):
    """Ends the program that strace has started, and with it strace."""
    tracer = session.processes[name].pid
    child = pathlib.Path(f"/proc/{tracer}/task/{tracer}/children").read_text().split()[0]
    os.kill(int(child), 15)
    session.wait_for_end(name)


def press(keyboard, symbol):
    code = keyboard.keysym_to_keycode(symbol)
    xtest.fake_input(keyboard, X.KeyPress, code)
    xtest.fake_input(keyboard, X.KeyRelease, code)
    keyboard.sync()


def wait_for_rest(process):
    """Waits until no thread of the process has run for a second."""
    before = None
    limit = time.monotonic() + TIME_LIMIT
    while (now := wakes(process)) != before:
        if time.monotonic() > limit:
            raise AssertionError("the program does not come to rest")
        before = now
        time.sleep(1)


def wakes(process):
    tasks = pathlib.Path(f"/proc/{process}/task")
    return sum(int(line.split()[1]) for task in tasks.iterdir()
               for line in (task / "status").read_text().splitlines() if "ctxt_switches" in line)


def memory(process, field):
    rollup = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
    return int(re.search(rf"^{field}: +(\d+) kB", rollup, re.MULTILINE)[1])


def main():
    wanted = re.compile(sys.argv[2] if len(sys.argv) > 2 else ".")
    programs = Programs(sys.argv[1])
    try:
        programs.session.start_pipewire()
        programs.session.start_driver()
        programs.session.start("watch", programs.session.bin / "vx310ctl", "watch", stdout=subprocess.PIPE)
        programs.session.wait_for_line("watch", "connected")
        programs.session.end("watch")
        for name in ("start", "memory", "publish", "pick", "call"):
            if wanted.search(name):
                getattr(programs, f"measure_{name}")()
    finally:
        programs.session.close()


if __name__ == "__main__":
    main()
