# SPDX-License-Identifier: MIT
"""A driver that is silent for a while, on the real transports: what its silence left wrong is made good.

usage: recovery_test.py BUILD_FOLDER Class.test_method
Followed with `vx310ctl watch`, which reads an interface with the panel's own code, but sends it no choices.
These tests need time to pass: a driver is stopped for a while, and what is shown must stay.
"""

import os
import signal
import sys
import time
import unittest

from panel_session import TIME_LIMIT, Session, read_line

BUILD = None

# The commands that `watch` sends when an interface arrives.
ARRIVAL = {
    "driver version": 22,
    "string 0": 18,
    "string 1": 19,
    "speed": 20,
    "value at open": 67,
    "configuration and map": 69,
    "device descriptor": 21,
    "current configuration": 8,
    "current clock source": 15,
    "digital input": 17,
    "firmware version": 23,
    "firmware date": 24,
    "digital output format": 27,
}
# How soon the truth is to be seen after the driver's next sign of life: a second and the deliberate pauses,
# and as much again for a busy machine. The times taken are printed.
SOON = 4


class RecoveryTest(unittest.TestCase):
    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        self.session.start_pipewire()
        self.session.start_driver()
        self.watch = self.session.start("watch", self.session.bin / "vx310ctl", "watch", stdout=-1)
        self.shown = {}
        self.connections = 0
        self.truth = None
        self.wait_for(lambda: self.shown)
        self.truth = dict(self.shown)

    def follow(self, seconds):
        """Takes in one line of what is watched; false when none comes in time."""
        line = read_line(self.watch.stdout, seconds)
        if line is None:
            return False
        kind, _, values = line.partition(" ")
        if kind != "changed":
            self.shown = {}
            self.connections += kind == "connected"
        self.shown.update(value.split(": ", 1) for value in values.split("; ") if value)
        return True

    def wait_for(self, condition):
        """Seconds until the condition holds."""
        begin = time.monotonic()
        while not condition():
            left = begin + TIME_LIMIT - time.monotonic()
            self.assertTrue(left > 0 and self.follow(left), f"shown is {self.shown}")
        return time.monotonic() - begin

    def settle(self):
        """Takes in what comes until nothing has come for a while."""
        while self.follow(0.7):
            pass

    def replug(self, *fault):
        self.session.sim("unplug")
        self.wait_for(lambda: not self.shown)
        if fault:
            self.session.sim("fault", *fault)
        self.session.sim("plug")

    def expect_truth(self, limit=SOON):
        taken = self.wait_for(lambda: self.shown == self.truth)
        self.settle()
        self.assertEqual(self.shown, self.truth)
        self.assertLess(taken, limit)
        return taken


class Arrival(RecoveryTest):
    def expect_truth_after(self, *fault):
        for name, command in ARRIVAL.items():
            with self.subTest(fault=fault, command=name):
                self.replug(*fault, "command", command)
                try:
                    taken = self.expect_truth()
                    self.assertIn("faults: 0", " ".join(self.session.sim("state").split()))
                finally:
                    self.session.sim("fault", "none")
                print(*fault, name, f"{taken:.2f} s", flush=True)

    def test_one_answer_that_is_late_is_made_good(self):
        self.expect_truth_after("late", 300)

    def test_one_answer_that_is_missing_is_made_good(self):
        self.expect_truth_after("missing")

    def test_one_answer_that_is_short_is_made_good(self):
        self.expect_truth_after("short", 100)


class Stopped(RecoveryTest):
    def test_a_driver_that_is_stopped_during_an_arrival_is_made_good_when_it_goes_on(self):
        driver = self.session.processes["driver"].pid
        for pause in (0.5, 1, 3):
            for delay in (0, 0.1, 0.2, 0.3, 0.5):
                with self.subTest(stopped=pause, after=delay):
                    self.replug()
                    time.sleep(delay)
                    os.kill(driver, signal.SIGSTOP)
                    time.sleep(pause)
                    os.kill(driver, signal.SIGCONT)
                    taken = self.expect_truth()
                    print(f"stopped {pause} s after {delay} s: {taken:.2f} s", flush=True)

    def test_an_interface_that_is_shown_stays_through_a_hiccup(self):
        before = self.connections
        self.session.sim("fault", "late", 300, "command", ARRIVAL["digital input"])
        self.session.sim("digital-input", "valid", 48000)
        self.wait_for(lambda: self.shown.get("digital-input") not in (None, self.truth["digital-input"]))
        self.settle()
        self.assertEqual(self.connections, before)

    def test_a_client_that_starts_while_the_driver_stalls_shows_the_interface_afterwards(self):
        self.session.end("watch")
        self.session.sim("fault", "stall", 2000)
        self.watch = self.session.start("watch", self.session.bin / "vx310ctl", "watch", stdout=-1)
        self.shown = {}
        self.wait_for(lambda: self.shown == self.truth)


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
