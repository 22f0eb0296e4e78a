# SPDX-License-Identifier: MIT
"""The driver of docs/examples, which was written from docs/driver-protocol.md alone, with the programs as they are.

usage: example_driver_test.py BUILD_FOLDER Class.test_method
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import unittest

import panel_test
from gi.repository import Gio, GLib
from panel_test import CLOCK, CONNECTION, DEVICE, DIGITAL_INPUT, RATE, TIME_LIMIT, PanelTest

EXAMPLE = pathlib.Path(__file__).resolve().parent.parent / "docs/examples/driver.py"


class Example(PanelTest):
    def setUp(self):
        super().setUp()
        self.assertEqual("ready", self.session.start_and_read_line("driver", sys.executable, EXAMPLE))

    def replug(self):
        return f"kill -USR1 {self.session.processes['driver'].pid}"

    def start_watch(self):
        self.session.start("watch", self.session.bin / "vx310ctl", "watch", stdout=subprocess.PIPE)
        self.session.wait_for_line("watch", "connected")

    def test_it_holds_to_each_sentence_of_the_page(self):
        self.session.start_pipewire()
        command = [self.session.bin / "vx310-check-driver", "--json", "--removal", self.replug()]
        result = subprocess.run(command, capture_output=True, text=True, timeout=TIME_LIMIT)
        self.assertEqual((0, ""), (result.returncode, result.stderr), result.stdout)
        held = {entry["sentence"] for entry in json.loads(result.stdout)["checks"] if entry["result"] == "ok"}
        for sentence in ("16 set clock source: w0 source that the interface then has",
                         "PropertiesChanged comes before the message of the same change",
                         "an interface that leaves and returns gets a new path"):
            self.assertIn(sentence, held)

    def processor_time(self):
        """What the driver has used so far, in seconds."""
        fields = pathlib.Path(f"/proc/{self.session.processes['driver'].pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_it_rests_after_its_interface_has_left_and_come_back(self):
        bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        held = bus.call_with_unix_fd_list_sync(
            "com.vantrel.Driver1", "/com/vantrel/Driver1/service0", "com.vantrel.Driver1.Service", "Open",
            GLib.Variant("(u)", (2,)), None, Gio.DBusCallFlags.NONE, 1000 * TIME_LIMIT, None, None)
        self.addCleanup(lambda: held)  # so long is its connection open
        self.start_watch()
        subprocess.run(["sh", "-c", self.replug()], check=True)
        self.session.wait_for_line("watch", "disconnected")
        self.session.wait_for_line("watch", "connected")
        before, begin = self.processor_time(), time.process_time()
        while time.process_time() - begin < 0.5:  # a driver that turns in its loop gets about as much
            pass
        self.assertLess(self.processor_time() - before, 0.1)

    def test_it_ends_at_an_interruption_and_without_words(self):
        self.assertEqual(0, self.session.end("driver", signal.SIGINT))
        self.assertEqual("", self.session.log("driver"))

    def test_it_says_why_it_cannot_run(self):
        for address, reason in ((os.environ["DBUS_SESSION_BUS_ADDRESS"], "another driver service is running already"),
                                ("unix:path=/nowhere", "the session bus cannot be reached: .*")):
            result = subprocess.run([sys.executable, EXAMPLE], capture_output=True, text=True, timeout=TIME_LIMIT,
                                    env=os.environ | {"DBUS_SESSION_BUS_ADDRESS": address})
            self.assertEqual(1, result.returncode)
            self.assertRegex(result.stderr, f"^{reason}\n$")

    def test_vx310ctl_shows_sets_and_watches_it(self):
        self.assertIn("VX-310 example", self.session.ctl("show"))
        self.start_watch()
        self.session.ctl("set", "clock-source", "internal")
        self.session.wait_for_line("watch", "changed")
        self.assertIn("Chosen clock source:    Internal", self.session.ctl("show"))
        subprocess.run(["sh", "-c", self.replug()], check=True)
        self.session.wait_for_line("watch", "disconnected")
        self.session.wait_for_line("watch", "connected")

    def test_the_panel_shows_it_and_sets_its_clock(self):
        self.session.start_panel()
        self.expect({DEVICE: "VX-310 example", CONNECTION: "USB 2.0", RATE: "48 kHz", DIGITAL_INPUT: "no signal"},
                    "the example's interface")
        self.start_watch()
        self.window.pick("Sample clock", 1)
        self.session.wait_for_line("watch", "changed")
        self.expect({CLOCK: "internal"}, "the clock that was picked")
        self.assertIn("Chosen clock source:    Internal", self.session.ctl("show"))
        self.session.end("driver")
        self.expect({DEVICE: "none found"}, "no interface")


if __name__ == "__main__":
    panel_test.BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
