# SPDX-License-Identifier: MIT
"""At rest nothing runs: the panel, the driver and vx310ctl watch wait for events and wake for nothing else.

usage: rest_test.py BUILD_FOLDER Class.test_method
This test needs time to pass.
"""

import os
import pathlib
import sys
import time
import unittest

from panel_session import Session

BUILD = None
REST = 60  # seconds in which nothing may wake and no processor time may be used
# The start ends some time before: the bus starts the accessibility service, and the toolkit empties its cache of
# pictures once, 30 s after the last use.
REST_BEGINS_WITHIN = 90  # seconds


class Rest(unittest.TestCase):
    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start("panel", self.session.bin / "vx310-panel")
        self.session.start("watch", self.session.bin / "vx310ctl", "watch", stdout=-1)
        self.session.wait_for_line("watch", "connected")

    def used(self, name):
        """How often the program's threads went to sleep, and their processor time in seconds."""
        process = pathlib.Path(f"/proc/{self.session.processes[name].pid}")
        sleeps = sum(int(line.split()[1]) for task in (process / "task").iterdir()
                     for line in (task / "status").read_text().splitlines() if line.startswith("voluntary"))
        after_name = (process / "stat").read_text().rpartition(")")[2].split()
        return sleeps, (int(after_name[11]) + int(after_name[12])) / os.sysconf("SC_CLK_TCK")

    def all_used(self):
        return {name: self.used(name) for name in ("panel", "driver", "watch")}

    def test_nothing_wakes_without_a_cause(self):
        start = rest_began = time.monotonic()
        before = self.all_used()
        while time.monotonic() < rest_began + REST:
            time.sleep(1)
            now = self.all_used()
            if now != before:
                rest_began = time.monotonic()
                self.assertLess(rest_began, start + REST_BEGINS_WITHIN,
                                f"not at rest; wakes and processor time were {before} a second ago, now {now}")
                before = now


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
