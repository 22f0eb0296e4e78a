# SPDX-License-Identifier: MIT
"""Stress tests of the panel: freezes, memory growth, lost values.

usage: soak.py BUILD_FOLDER SECONDS [FACTOR]
Runs each trial for its share of the seconds and prints one table. The freeze is the longest time for which
the panel's main thread did not answer a window manager's ping; the growth is that of the panel from the
beginning of a trial to its end. Fails when a freeze is longer than the limits below times the factor (for a
busy machine), a value is lost, descriptors or threads are left, or memory grows. Its trials need time to pass.
"""

import fcntl
import itertools
import json
import os
import pathlib
import plistlib
import random
import signal
import subprocess
import sys
import time

import gi
from freeze_meter import FreezeMeter
from panel_session import Session, read_line

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

TITLE = "VX-310 Control Panel"
LINE = ("Line outputs", "Out12", 5)  # label, key of the choice, items
LINE_WORDS = ("playback-1-2", "playback-3-4", "input-1-2", "input-3-4", "input-5-6")
FAKE = pathlib.Path(__file__).with_name("fake_driver.py")

# Seconds. An arrival has two deliberate pauses, 0.1 and 0.4 s; a picture more is drawn. Waits for the driver
# share 1 s a turn of the run loop.
PAUSES = 0.5
LONGEST_OF_EVENTS = 1.2
LONGEST_OF_SILENCE = 1 + PAUSES
LARGEST_GROWTH = 4096  # KiB
SETTLED = 20  # seconds for the panel to show the truth again
STORM = 2000  # plugs in a row


class Soak:
    def __init__(self, build, seconds, factor=1):
        self.session = Session(build)
        from panel_window import PanelWindow

        self.seconds = seconds
        self.factor = factor
        self.random = random.Random(310)
        self.failures = []
        self.session.start_pipewire()
        self.session.start_driver()
        self.window = PanelWindow()
        self.session.start("panel", self.session.bin / "vx310-panel")
        self.expect_device("VX-310")

    # The panel ------------------------------------------------------------------------------------

    def expect_device(self, name):
        self.window.wait_for(lambda: self.window.fields().get("Device") == name, name)

    def growth_base(self):
        process = pathlib.Path(f"/proc/{self.session.processes['panel'].pid}")
        status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
        return {
            "KiB": int(status["VmRSS"].split()[0]),
            "descriptors": len(list((process / "fd").iterdir())),
            "threads": int(status["Threads"]),
        }

    def stored_choice(self):
        path = self.session.folder / "config/vantrel/preferences/com.vantrel.vx310.panel.plist"
        with open(path, "rb") as file:
            return plistlib.load(file)[LINE[1]]

    # Trials -----------------------------------------------------------------------------------------

    def trial(self, what, step, limit, after=None):
        """Repeats `step` for the trial's time; `step` may return how many values it lost."""
        before = self.growth_base()
        meter = FreezeMeter(TITLE)
        end = time.monotonic() + self.seconds
        count = lost = 0
        while count == 0 or time.monotonic() < end:
            lost += step() or 0
            self.window.read_events()
            count += 1
        if after:
            after()
        self.expect_device("VX-310")
        freeze = meter.stop()
        growth = {name: now - before[name] for name, now in self.growth_base().items()}
        print(f"{what:<46} {count:>6} {freeze:>9.2f} {growth['KiB']:>8} {growth['descriptors']:>11} "
              f"{growth['threads']:>7} {lost:>5}", flush=True)
        if freeze > limit * self.factor:
            self.failures.append(f"{what}: a freeze of {freeze:.2f} s, allowed are {limit * self.factor:.1f} s")
        if lost or growth["descriptors"] > 0 or growth["threads"] > 0 or growth["KiB"] > LARGEST_GROWTH:
            self.failures.append(f"{what}: {lost} values lost, {growth}")

    def storm(self):
        """Plugs as fast as the driver can: on one connection, as a process for each call takes longer than it."""
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        flags = Gio.DBusConnectionFlags
        bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        for _ in range(STORM):
            for word in ("unplug", "plug"):
                bus.call_sync("com.vantrel.Driver1", "/com/vantrel/VirtualInterfaces1", "com.vantrel.VirtualInterfaces1",
                              "Run", GLib.Variant("(uas)", (0, [word])), None, Gio.DBusCallFlags.NONE, SETTLED * 1000, None)
        bus.close_sync()

    def kill(self):
        self.session.end("driver", signal.SIGKILL)
        self.session.start_driver()
        self.expect_device("VX-310")

    def stop(self):
        driver = self.session.processes["driver"]
        self.session.sim("unplug")
        self.session.sim("plug")
        driver.send_signal(signal.SIGSTOP)
        time.sleep(self.random.uniform(0.1, 2))
        driver.send_signal(signal.SIGCONT)
        self.expect_device("VX-310")

    def restart_pipewire(self):
        self.session.end("pipewire")
        self.session.start_pipewire()
        limit = time.monotonic() + SETTLED
        while b"VX-310" not in subprocess.run(["pw-cli", "ls", "Node"], capture_output=True).stdout:
            if time.monotonic() > limit:
                raise AssertionError("the audio device does not come back")

    def routings_arrive(self):
        """The panel finds the audio device again by itself, some time after other clients do."""
        limit = time.monotonic() + SETTLED
        for wanted in itertools.cycle(range(LINE[2])):
            self.window.pick(LINE[0], wanted)
            answer = subprocess.check_output([self.session.bin / "vx310ctl", "get", "--json", "line-output"])
            if LINE_WORDS.index(json.loads(answer)["settings"]["line_output"]) == wanted:
                return
            if time.monotonic() > limit:
                raise AssertionError("the panel's routings do not reach the interface")

    def slow(self):
        self.session.sim("fault", "late", 240, "always")
        self.session.sim("unplug")
        self.session.sim("plug")
        time.sleep(3)
        self.session.sim("fault", "none")
        self.session.sim("unplug")
        self.session.sim("plug")
        self.expect_device("VX-310")

    def with_fake_driver(self, *options, flood=False):
        self.session.end("driver", signal.SIGKILL)
        self.session.start_and_read_line("fake", "/usr/bin/python3", FAKE, *options, stdin=subprocess.PIPE)
        fake = self.session.processes["fake"]
        if flood:
            fake.stdin.write(b"\n")
            fake.stdin.flush()
            read_line(fake.stdout, 60)
        else:
            time.sleep(3)
        fake.stdin.close()
        self.session.end("fake", signal.SIGKILL)
        self.session.start_driver()
        self.expect_device("VX-310")

    def contended_stores(self):
        """The panel and vx310ctl store while a third process holds the lock now and then."""
        folder = self.session.folder / "config/vantrel/preferences"
        setter = subprocess.Popen([self.session.bin / "vx310ctl", "set", "clock-source", str(self.random.randrange(2))],
                                  stderr=subprocess.DEVNULL)
        lock = next(iter(folder.glob(".com.vantrel.vx310.hal*lock*")), None) if self.random.random() < 0.3 else None
        if lock:
            with open(lock, "rb") as held:
                fcntl.flock(held, fcntl.LOCK_EX)
                time.sleep(0.1)
        wanted = self.random.randrange(LINE[2])
        self.window.pick(LINE[0], wanted)
        setter.wait()
        # As quick as hands are. Qt passes the keys on through the accessibility bus, which may take 0.1 s; one
        # that comes after the next list has opened closes it.
        time.sleep(0.2)
        return int(self.stored_choice() != wanted)

    def run(self):
        print(f"{'what':<46} {'count':>6} {'freeze s':>9} {'KiB more':>8} {'descriptors':>11} {'threads':>7} {'lost':>5}")
        self.trial(f"{STORM:,} plugs in a row", self.storm, LONGEST_OF_EVENTS)
        self.trial("driver killed", self.kill, LONGEST_OF_EVENTS)
        self.trial("driver stopped for 0.1 to 2 s after a plug", self.stop, LONGEST_OF_SILENCE)
        self.trial("PipeWire restarted", self.restart_pipewire, LONGEST_OF_EVENTS, self.routings_arrive)
        self.trial("every answer 240 ms late", self.slow, LONGEST_OF_SILENCE)
        self.trial("60 services that answer nothing",
                   lambda: self.with_fake_driver("--services", "60", "--silent"), LONGEST_OF_SILENCE)
        self.trial("10 slow services of another maker",
                   lambda: self.with_fake_driver("--services", "10", "--answer-after", "200"), LONGEST_OF_SILENCE)
        self.trial("8,000 messages a second for 2 s",
                   lambda: self.with_fake_driver("--flood", "8000", "2", flood=True), LONGEST_OF_EVENTS)
        self.trial("100,000 services", lambda: self.with_fake_driver("--services", "100000"), LONGEST_OF_EVENTS)
        self.trial("picks while others store and hold the lock", self.contended_stores, LONGEST_OF_EVENTS)
        for failure in self.failures:
            print(failure)
        return 1 if self.failures else 0


def main():
    if len(sys.argv) < 2 or sys.argv[1].startswith("-"):
        print(__doc__)
        return 0 if sys.argv[1:] in (["-h"], ["--help"]) else 2
    soak = Soak(sys.argv[1], *map(float, sys.argv[2:]))
    try:
        return soak.run()
    except AssertionError:
        for name in ("driver", "panel", "pipewire"):
            print(f"the last lines of {name}:", *soak.session.log(name).splitlines()[-20:], sep="\n  ", flush=True)
        raise
    finally:
        soak.session.close()


if __name__ == "__main__":
    sys.exit(main())
