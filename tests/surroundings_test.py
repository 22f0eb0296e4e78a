# SPDX-License-Identifier: MIT
"""A panel whose surroundings fail it: what other programs do or leave undone does not stop its window.

usage: surroundings_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import fcntl
import os
import plistlib
import subprocess
import sys
import time
import unittest

from panel_session import ENDS_WITH_US, TIME_LIMIT, Session

BUILD = None

FIELD = "Digital input"


class SurroundingsTest(unittest.TestCase):
    """A session with every server; the panel is not running yet."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        from panel_window import PanelWindow  # finds the session's bus in the environment

        self.window = PanelWindow()
        self.session.start_pipewire()
        self.session.start_driver()

    def expect(self, label, text):
        self.window.wait_for(lambda: self.window.fields().get(label) == text, f"{label}: {text}")

    def expect_the_window_follows(self):
        self.expect("Device", "VX-310")
        self.session.sim("digital-input", "valid", 44100)
        self.expect(FIELD, "valid 44.1 kHz")
        self.session.sim("unplug")
        self.expect("Device", "none found")
        self.session.sim("plug")
        self.expect("Device", "VX-310")
        self.assertEqual(self.session.end("panel"), 0)


class StandardStreams(SurroundingsTest):
    def start_panel(self, redirection, **options):
        panel = self.session.bin / "vx310-panel"
        command = [*ENDS_WITH_US, "sh", "-c", f'exec "$0" {redirection}', str(panel)]
        self.session.processes["panel"] = subprocess.Popen(command, **options)

    def full_pipe(self):
        """A pipe's writing end, whose next write would wait for ever."""
        for end in (ends := os.pipe()):
            self.addCleanup(os.close, end)
        os.set_blocking(ends[1], False)
        try:
            while os.write(ends[1], bytes(4096)):
                pass
        except BlockingIOError:
            os.set_blocking(ends[1], True)
        return ends[1]

    def test_a_panel_without_a_standard_output_follows_the_interface(self):
        self.start_panel(">&-")
        self.expect_the_window_follows()

    def test_a_panel_whose_output_nobody_reads_follows_the_interface(self):
        self.start_panel("", stdout=self.full_pipe())
        self.expect_the_window_follows()

    def test_programs_whose_errors_nobody_reads_are_not_held_up_by_messages_of_pipewires(self):
        os.environ["PIPEWIRE_DEBUG"] = "4"  # thousands of messages
        self.addCleanup(os.environ.pop, "PIPEWIRE_DEBUG")
        full = self.full_pipe()
        self.session.end("driver")
        command = [*ENDS_WITH_US, self.session.bin / "vx310-driver"]
        self.session.processes["driver"] = subprocess.Popen(command, stderr=full)
        self.start_panel("", stderr=full)
        self.expect("Device", "VX-310")
        command = [self.session.bin / "vx310ctl", "set", "line-output", "1"]
        self.assertEqual(subprocess.run(command, stderr=full, timeout=TIME_LIMIT).returncode, 0)
        self.expect_the_window_follows()


class PreferencesThatAnotherProcessLocks(SurroundingsTest):
    """Holds the locks of both stores, as a program does that hangs while it writes."""

    ONCE = 0.5  # seconds that an event may be held up
    BUSY = 4  # how much slower than measured first a busy machine may be

    def setUp(self):
        super().setUp()
        self.session.start_panel()
        self.expect("Device", "VX-310")
        self.locks = []
        for identifier in ("vx310.panel", "vx310.hal"):
            lock = open(self.store(identifier).with_suffix(".plist.lock"), "w")
            self.addCleanup(lock.close)
            self.locks.append(lock)

    def store(self, identifier):
        return self.session.folder / f"config/vantrel/preferences/com.vantrel.{identifier}.plist"

    def value(self, identifier, key):
        with open(self.store(identifier), "rb") as file:
            return plistlib.load(file).get(key)

    def lock(self):
        for lock in self.locks:
            fcntl.flock(lock, fcntl.LOCK_EX)

    def unlock(self):
        for lock in self.locks:
            fcntl.flock(lock, fcntl.LOCK_UN)

    def seconds_of(self, action):
        begin = time.monotonic()
        action()
        return time.monotonic() - begin

    def pick(self, index):
        self.window.pick("Sample clock", index)
        self.window.wait_for(lambda: self.clock() == index, "the interface's clock source")

    def clock(self):
        return ("Automatic\n", "Internal\n").index(self.session.ctl("get", "clock-source"))

    def replug(self):
        self.session.sim("unplug")
        self.expect("Device", "none found")
        self.session.sim("plug")
        self.expect("Device", "VX-310")
        self.expect("Sample clock", "Internal")

    def open_anew(self):
        self.session.end("panel")
        self.session.start_panel()
        self.expect("Device", "VX-310")
        self.expect("Sample clock", "Automatic")

    def test_each_event_is_held_up_once_and_no_choice_is_lost(self):
        actions = (self.open_anew, lambda: self.pick(1), self.replug)
        free = [self.seconds_of(action) for action in actions]
        self.pick(0)
        self.lock()
        locked = [self.seconds_of(action) for action in actions]
        for name, before, now in zip(("opening", "pick", "replug"), free, locked):
            print(f"{name}: {1000 * before:.0f} ms, locked {1000 * now:.0f} ms", flush=True)
        for before, now in zip(free, locked):
            self.assertLess(now, self.BUSY * (before + self.ONCE))
        self.pick(0)
        self.pick(1)
        self.assertEqual(self.value("vx310.panel", "ClockSource"), 0)
        self.unlock()
        self.assertEqual(self.session.end("panel"), 0)
        self.assertEqual(self.value("vx310.panel", "ClockSource"), 1)
        self.assertEqual(self.value("vx310.hal", "ClockSource"), "1")

    def test_vx310ctl_says_that_a_choice_was_not_stored(self):
        self.lock()
        tool = [str(self.session.bin / "vx310ctl"), "set"]
        result = subprocess.run([*tool, "clock-source", "1"], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(
            result.stderr, "vx310ctl: clock-source is set, but could not be stored for the driver's next start\n"
        )
        self.session.ctl("set", "line-output", "1")
        self.unlock()
        self.session.ctl("set", "clock-source", "1")


class OtherAudioDevices(unittest.TestCase):
    def set_a_routing(self, others):
        """The result of setting one when these many other devices were there first."""
        session = Session(BUILD)
        self.addCleanup(session.close)
        session.start_pipewire()
        wait_until(lambda: subprocess.run(["pw-cli", "info", "0"], capture_output=True).returncode == 0)
        for number in range(others):
            session.run("pw-cli", "create-node", "adapter", "{ factory.name=support.null-audio-sink"
                        f" media.class=Audio/Sink object.linger=true node.name=other-{number} }}")
        session.start_driver()
        wait_until(lambda: '"VX-310"' in session.run("pw-dump") and session.ctl("list"))
        command = [str(session.bin / "vx310ctl"), "set", "line-output", "1"]
        result = subprocess.run(command, capture_output=True, text=True)
        return result.returncode, result.stderr

    def test_the_32nd_device_is_set(self):
        self.assertEqual(self.set_a_routing(31), (0, ""))

    def test_of_a_device_behind_32_others_the_tool_says_so(self):
        self.assertEqual(self.set_a_routing(32), (
            1, "vx310ctl: VX-310 is not among the audio server's first 32 devices; no others are looked at\n"))


def wait_until(condition):
    """For what only another program can tell, by its exit status or output."""
    deadline = time.monotonic() + TIME_LIMIT
    while not holds(condition):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {TIME_LIMIT} s")


def holds(condition):
    try:
        return condition()
    except AssertionError:
        return False


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
