# SPDX-License-Identifier: MIT
"""`vx310ctl levels`: meters on a terminal, lines of text or JSON elsewhere.

usage: levels_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import fcntl
import os
import pathlib
import pty
import select
import signal
import struct
import subprocess
import sys
import termios
import time
import unittest

from panel_session import TIME_LIMIT
from tool_session import TOOL, ToolTest

FAKE = pathlib.Path(__file__).with_name("fake_driver.py")
FULL_SCALE = 0x7FFFFF
DESCRIPTOR = (21, 0, 0x7F210000, 0x5D12)  # the answer of a VX-310
INPUTS = (72, 0x400000, FULL_SCALE - 1, 0, 1, 0x0CCCCD, 0x7F)
OUTPUTS = (49, FULL_SCALE // 1000, 0, 0, 0x200000)


class LevelsTest(ToolTest):
    def start_fake_driver(self, *payloads):
        words = [word for payload in payloads for word in ("--payload", *payload)]
        self.session.start_and_read_line("fake", "/usr/bin/python3", FAKE, *words)

    def start_levels(self, *words, **options):
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "bufsize": 0, **options}
        self.levels = subprocess.Popen([self.session.bin / TOOL, "levels", *words], **options)
        self.addCleanup(self.close_levels)
        return self.levels

    def close_levels(self):
        self.levels.kill()
        self.levels.wait()
        for stream in (self.levels.stdout, self.levels.stderr):
            if stream:
                stream.close()

    def next_line(self):
        ready, _, _ = select.select([self.levels.stdout], [], [], TIME_LIMIT)
        self.assertTrue(ready, "no reading in time")
        return self.levels.stdout.readline().decode()

    def next_reading(self):
        return self.held("levels", self.next_line())

    def wait_for_reading(self, holds):
        deadline = time.monotonic() + TIME_LIMIT
        while not holds(reading := self.next_reading()):
            self.assertLess(time.monotonic(), deadline, reading)
        return reading

    def expect_end(self, status, message):
        _, errors = self.levels.communicate(timeout=TIME_LIMIT)
        self.assertEqual((self.levels.returncode, errors.decode()), (status, f"vx310ctl: {message}\n"))


class Readings(LevelsTest):
    def test_each_reading_is_an_object_for_programs(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        self.start_levels("--json")
        for _ in range(2):
            self.assertEqual(self.next_reading(), {
                "schema": 1,
                "inputs_raw": [0x400000, FULL_SCALE - 1, 0, 1, 0x0CCCCD, 0x7F],
                "inputs_dbfs": [-6.0, 0, None, -138.5, -20.0, -96.4],
                "outputs_raw": [FULL_SCALE // 1000, 0, 0, 0x200000],
                "outputs_dbfs": [-60.0, None, None, -12.0],
            })

    def test_each_reading_is_a_line_with_the_channels_names(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        self.start_levels()
        for _ in range(2):
            self.assertEqual(self.next_line(), (
                "Input 1: -6.0 dBFS; Input 2: 0.0 dBFS; Input 3: -inf dBFS; Input 4: -138.5 dBFS; "
                "Input 5: -20.0 dBFS; Input 6: -96.4 dBFS; Line output 1: -60.0 dBFS; Line output 2: -inf dBFS; "
                "Digital output 1: -inf dBFS; Digital output 2: -12.0 dBFS\n"))

    def test_ten_readings_take_a_second_or_more(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        begin = time.monotonic()
        self.start_levels()
        for _ in range(10):
            self.next_line()
        self.assertGreaterEqual(time.monotonic() - begin, 1.0)

    def test_a_side_that_is_not_answered_is_null_until_it_is(self):
        self.start_driver()
        self.start_levels("--json")
        self.assertIsNotNone(self.next_reading()["outputs_raw"])
        self.session.sim("fault", "empty", "command", 49, "always")
        reading = self.wait_for_reading(lambda reading: reading["outputs_raw"] is None)
        self.assertIsNone(reading["outputs_dbfs"])
        self.assertIsNotNone(reading["inputs_raw"])
        self.session.sim("fault", "none")
        self.wait_for_reading(lambda reading: reading["outputs_raw"])

    def test_for_people_it_is_no_answer(self):
        self.start_driver()
        self.session.sim("fault", "empty", "command", 49, "always")
        self.start_levels()
        self.assertTrue(self.next_line().endswith("; Digital output 1: no answer; Digital output 2: no answer\n"))

    def test_a_driver_that_was_stopped_is_read_again(self):
        self.start_driver()
        self.start_levels("--json")
        self.next_reading()
        driver = self.session.processes["driver"].pid
        self.addCleanup(os.kill, driver, signal.SIGCONT)
        os.kill(driver, signal.SIGSTOP)
        self.wait_for_reading(lambda reading: reading["inputs_raw"] is None)
        for _ in range(20):  # more than the waits for a driver of one turn of the run loop
            self.assertIsNone(self.next_reading()["inputs_raw"])
        os.kill(driver, signal.SIGCONT)
        self.wait_for_reading(lambda reading: reading["inputs_raw"])


class Ends(LevelsTest):
    def test_without_a_driver_or_an_interface_it_says_so(self):
        self.start_levels()
        self.expect_end(3, "no driver service is running (start vx310-driver)")
        self.start_driver()
        self.session.sim("unplug")
        self.start_levels()
        self.expect_end(4, "no interface is connected")

    def test_it_ends_when_the_interface_leaves(self):
        self.start_driver()
        for words in ((), ("--json",)):
            self.session.sim("plug")
            self.start_levels(*words)
            self.next_line()
            self.session.sim("unplug")
            self.expect_end(4, "the interface has left")

    def test_it_ends_when_the_driver_or_the_bus_goes(self):
        self.start_driver()
        self.start_levels()
        self.next_line()
        self.session.end("driver", signal.SIGKILL)
        self.expect_end(4, "the interface has left")
        self.start_driver()
        self.start_levels()
        self.next_line()
        self.session.end("bus", signal.SIGKILL)
        self.expect_end(1, "the session bus has gone")

    def test_an_interrupt_ends_it_at_once(self):
        self.start_driver()
        self.start_levels()
        self.next_line()
        self.levels.send_signal(signal.SIGINT)
        self.assertEqual(self.levels.wait(TIME_LIMIT), -signal.SIGINT)


class Meters(LevelsTest):
    def start_on_a_terminal(self, columns, rows, *words, terminal="xterm"):
        self.master, slave = pty.openpty()
        self.addCleanup(os.close, self.master)
        self.resize(columns, rows)
        self.printed = ""
        self.start_levels(*words, stdout=slave, env={**os.environ, "TERM": terminal})
        os.close(slave)

    def resize(self, columns, rows):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))

    def read_to(self, text):
        """All that is printed up to the text and with it, after what was read before."""
        deadline = time.monotonic() + TIME_LIMIT
        while text not in self.printed:
            ready, _, _ = select.select([self.master], [], [], max(0, deadline - time.monotonic()))
            self.assertTrue(ready, f"no {text!r} in {self.printed!r}")
            self.printed += os.read(self.master, 4096).decode()
        before, _, self.printed = self.printed.partition(text)
        return before + text

    def test_on_a_terminal_meters_are_drawn_over_those_before(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        self.start_on_a_terminal(60, 24)
        first = self.read_to("\x1b[J")
        lines = first.replace("\r\n", "\n").split("\n")
        self.assertEqual(lines[0], "\rInput 1               -6.0 dBFS  #######################...\x1b[K")
        self.assertEqual(lines[1], "\rInput 2                0.0 dBFS  ##########################\x1b[K")
        self.assertEqual(lines[2], "\rInput 3               -inf dBFS  ..........................\x1b[K")
        self.assertEqual(lines[9], "\rDigital output 2     -12.0 dBFS  ####################......\x1b[K")
        for _ in range(2):
            self.assertEqual(self.read_to("\x1b[J"), "\x1b[10A" + first)

    def size_of(self, picture):
        """The number of meters, and their widths."""
        drawn = picture.replace("\r\n", "\n").split("\n")[:-1]
        return len(drawn), {len(line[line.rindex("\r") + 1 :].replace("\x1b[K", "")) for line in drawn}

    def test_they_fit_the_terminal_when_it_changes(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        for columns, rows in ((60, 24), (20, 5), (1, 1), (200, 60), (0, 0)):
            if columns == 60:
                self.start_on_a_terminal(columns, rows)
            self.resize(columns, rows)
            size = min(10, (rows or 24) - 1), {(columns or 80) - 1} if rows != 1 else set()
            deadline = time.monotonic() + TIME_LIMIT
            while (drawn := self.size_of(self.read_to("\x1b[J"))) != size:  # drawn before it changed
                self.assertLess(time.monotonic(), deadline, drawn)

    def test_for_programs_and_on_a_terminal_without_a_cursor_they_are_lines(self):
        self.start_fake_driver(DESCRIPTOR, INPUTS, OUTPUTS)
        self.start_on_a_terminal(60, 24, "--json")
        self.held("levels", self.read_to("\r\n"))
        self.close_levels()
        self.start_on_a_terminal(60, 24, terminal="dumb")
        self.assertTrue(self.read_to("\r\n").startswith("Input 1: -6.0 dBFS; "))
        self.assertNotIn("\x1b", self.printed)


def main():
    ToolTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
