# SPDX-License-Identifier: MIT
"""At rest nothing runs: the panel, the driver and vx310ctl watch wait for events and wake for nothing else.

usage: rest_test.py BUILD_FOLDER Class.test_method
"""

import pathlib
import select
import sys
import time
import unittest

from panel_session import TIME_LIMIT, Session

BUILD = None
REST = 10  # seconds
# Wakes that are allowed in this time. The toolkit empties its cache of pictures once, 30 s after the last use.
ALLOWED = {"panel": 1, "driver": 0, "watch": 0}


class Rest(unittest.TestCase):
    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start("panel", self.session.bin / "vx310-panel")
        self.session.start("watch", self.session.bin / "vx310ctl", "watch", stdout=-1)
        self.session.wait_for_line("watch", "connected")

    def wakes(self, name):
        """How often the program's threads have run."""
        tasks = pathlib.Path(f"/proc/{self.session.processes[name].pid}/task")
        return sum(int(line.split()[1]) for task in tasks.iterdir()
                   for line in (task / "status").read_text().splitlines() if "ctxt_switches" in line)

    def counts(self):
        return {name: self.wakes(name) for name in ALLOWED}

    def test_nothing_wakes_without_a_cause(self):
        limit = time.monotonic() + TIME_LIMIT
        before = None
        while (now := self.counts()) != before:
            self.assertLess(time.monotonic(), limit, "the programs do not come to rest")
            before = now
            select.select([], [], [], 1)  # a second in which nothing ran is the rest that is waited for
        select.select([], [], [], REST)
        woken = {name: count - before[name] for name, count in self.counts().items()}
        self.assertTrue(all(woken[name] <= ALLOWED[name] for name in ALLOWED), woken)


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
