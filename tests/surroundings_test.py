# SPDX-License-Identifier: MIT
"""A panel whose surroundings fail it: what other programs do or leave undone does not stop its window.

usage: surroundings_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import fcntl
import os
import subprocess
import sys
import unittest

from panel_session import ENDS_WITH_US, Session

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

    def test_a_panel_without_a_standard_output_follows_the_interface(self):
        self.start_panel(">&-")
        self.expect_the_window_follows()

    def test_a_panel_whose_output_nobody_reads_follows_the_interface(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        os.set_blocking(writer, False)
        try:
            while os.write(writer, bytes(4096)):
                pass
        except BlockingIOError:
            os.set_blocking(writer, True)
        self.start_panel("", stdout=writer)
        os.close(writer)
        self.expect_the_window_follows()


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
