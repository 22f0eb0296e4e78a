# SPDX-License-Identifier: MIT
"""The panel on a Wayland desktop: the compositor weston, whose screen is a window of the X display.

(Its headless screen would have no keyboard, and without one Qt 6.4 crashes when a menu opens.)

usage: wayland_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import json
import os
import socket
import subprocess
import sys
import unittest

from gi.repository import GLib
from Xlib import X, display
from Xlib.ext import damage

from panel_session import TIME_LIMIT, Session

BUILD = None

SOCKET = "wayland-test"
SIZE = (640, 558)  # of the window in the window file
LINE = (70, bytes((0xB5, 0xC4, 0x35)))  # the row and colour of the line below the window's header

FIELDS = {
    "Device": "VX-310",
    "Connection type": "USB 2.0",
    "Driver version": "2.05",
    "Firmware version": "Mar 14 2009 1.7",
    "Sample width": "24 bits",
    "Sample rate": "48 kHz",
    "Clock source": "internal",
    "Digital input": "no signal",
    "Inputs 1/2": "Analog 1/2",
    "Inputs 3/4": "Analog 3/4",
    "Inputs 5/6": "Digital",
    "Line outputs": "Playback 1/2",
    "Digital output": "Playback 3/4",
    "Sample clock": "Automatic",
    "Output format": "Consumer (S/PDIF)",
    "Performance": None,
    "USB 1.1 input": None,
}
# What the menus show, and the buttons.
TAB_STOPS = ["Analog 1/2", "Analog 3/4", "Digital", "Playback 1/2", "Playback 3/4", "Automatic",
             "Consumer (S/PDIF)", "Help", "Close"]


class Screen:
    """The pixels of the X display, as blue, green, red and one more byte each."""

    def __init__(self):
        server = display.Display()
        root = server.screen().root
        size = root.get_geometry()
        self.width = size.width
        self.pixels = root.get_image(0, 0, size.width, size.height, X.ZPixmap, 0xFFFFFFFF).data
        server.close()

    def window(self, scale):
        """The rows of the panel's window, found by the line below its header; None if it is not there."""
        row, colour = LINE
        width, height = (length * scale for length in SIZE)
        for unused in (b"\x00", b"\xff"):
            place = self.pixels.find((colour + unused) * width)
            if place >= 0:
                top = place - row * scale * self.width * 4
                step = self.width * 4
                rows = (self.pixels[top + y * step : top + y * step + width * 4] for y in range(height))
                return [[row[i : i + 3] for i in range(0, len(row), 4)] for row in rows]
        return None


class Drawing:
    """While it lasts, the window's waits also end when something on the screen has been drawn."""

    def __init__(self, window):
        self.window = window

    def __enter__(self):
        self.server = display.Display()
        self.server.damage_query_version()  # the extension takes no request before this one
        self.damage = self.server.screen().root.damage_create(damage.DamageReportNonEmpty)
        self.server.sync()
        self.drawn()
        self.source = GLib.unix_fd_add_full(GLib.PRIORITY_DEFAULT, self.server.fileno(), GLib.IOCondition.IN, self.drawn)

    def drawn(self, *_):
        while self.server.pending_events():  # another may be read while a request is sent
            self.server.next_event()
            self.server.damage_subtract(self.damage)  # the next drawing is told again
            self.server.flush()
        self.window.changed = True
        self.window.loop.quit()
        return GLib.SOURCE_CONTINUE

    def __exit__(self, *_):
        GLib.source_remove(self.source)
        self.server.close()


def difference(one, other):
    """The share of the pixels that differ in two pictures of the same size."""
    pairs = [pair for rows in zip(one, other) for pair in zip(*rows)]
    return sum(a != b for a, b in pairs) / len(pairs)


class WaylandTest(unittest.TestCase):
    def start(self, width=1250, height=800, scale=1):
        """Starts a desktop of this size in units of `scale` pixels, and the servers."""
        Session.SCREEN = f"{width * scale}x{height * scale}x24"
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        from panel_window import PanelWindow  # finds the session's bus in the environment

        self.window = PanelWindow()
        self.session.run("xdotool", "mousemove", 0, 0)
        self.session.start_pipewire()
        self.session.start_driver()
        self.scale = scale

    def start_compositor(self, width=1250, height=800, scale=1):
        settings = self.session.folder / "weston.ini"
        settings.write_text("[core]\nidle-time=0\n[shell]\npanel-position=none\n")
        place = self.session.folder / "notify"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as ready:
            ready.bind(str(place))
            ready.settimeout(TIME_LIMIT)
            self.session.start(
                "compositor", "env", f"NOTIFY_SOCKET={place}", "weston", "--backend=x11-backend.so",
                "--use-pixman", "--modules=systemd-notify.so", f"--config={settings}",
                f"--socket={SOCKET}", f"--width={width}", f"--height={height}", f"--scale={scale}",
            )
            while b"READY=1" not in ready.recv(1024):
                pass

    def start_panel(self, name="panel"):
        """Starts it where only the compositor can show it."""
        self.session.start(
            name, "env", "--unset=DISPLAY", "QT_QPA_PLATFORM=wayland", f"WAYLAND_DISPLAY={SOCKET}",
            self.session.bin / "vx310-panel", stdout=subprocess.PIPE,
        )

    def start_all(self, width=1250, height=800, scale=1):
        self.start(width, height, scale)
        self.start_compositor(width, height, scale)
        self.start_panel()
        self.expect_filled()

    def expect_filled(self):
        self.window.wait_for(lambda: self.window.fields() == FIELDS, "the connected interface")

    # Reading ------------------------------------------------------------------------------------

    def picture(self):
        """The window's rows of pixels once each control in it is drawn."""
        rows = []

        def is_drawn():
            rows[:] = Screen().window(self.scale) or []
            return rows and all(self.has_colours(rows, place) for place in self.window.shown().values())

        with Drawing(self.window):
            self.window.wait_for(is_drawn, "the drawn window")
        return rows

    def has_colours(self, rows, place):
        left, top, right, bottom = (edge * self.scale for edge in place)
        return len({pixel for row in rows[top:bottom] for pixel in row[left:right]}) > 1


class Window(WaylandTest):
    def expect_the_window_of_x11(self, scale):
        self.start(scale=scale)
        os.environ["QT_SCALE_FACTOR"] = str(scale)
        self.session.start_panel()
        self.expect_filled()
        shown, picture = self.window.shown(), self.picture()
        self.assertEqual(self.session.end("panel"), 0)
        del os.environ["QT_SCALE_FACTOR"]
        self.start_compositor(scale=scale)
        self.start_panel()
        self.expect_filled()
        self.assertEqual(self.window.own_place(), (0, 0, *SIZE))
        self.assertEqual(self.window.shown(), shown)
        share = difference(self.picture(), picture)
        print(f"{100 * share:.1f} % of the pixels differ", flush=True)
        self.assertLess(share, 0.03)  # texts may stand a pixel higher or lower

    def test_at_scale_1_it_is_the_window_of_x11(self):
        self.expect_the_window_of_x11(1)

    def test_at_scale_2_it_is_the_window_of_x11(self):
        self.expect_the_window_of_x11(2)


class Use(WaylandTest):
    def test_a_pick_reaches_the_interface(self):
        self.start_all()
        self.window.pick("Sample clock", 1)
        self.window.wait_for(
            lambda: json.loads(self.session.ctl("get", "--json", "clock-source"))["settings"]["clock_source"] == "internal",
            "the interface's clock source",
            nudge=(100, self.window.loop.quit),
        )
        self.assertEqual(self.window.fields()["Sample clock"], "Internal")

    def test_a_second_start_ends_and_the_first_stays(self):
        self.start_all()
        self.start_panel("second panel")
        self.assertEqual(self.session.wait_for_end("second panel"), 0)
        self.assertEqual(self.session.log("second panel"), "")
        self.session.sim("unplug")
        self.window.wait_for(lambda: self.window.fields()["Device"] == "none found", "the first window")

    def expect_a_clean_end(self, scale):
        self.start_all(scale=scale)
        self.assertEqual(self.session.end("panel"), 0)
        self.assertEqual(self.session.log("panel"), "")

    def test_at_scale_1_sigterm_ends_it_without_a_warning(self):
        self.expect_a_clean_end(1)

    def test_at_scale_2_sigterm_ends_it_without_a_warning(self):
        self.expect_a_clean_end(2)


class SmallScreen(WaylandTest):
    """Everything in the window can be reached, if need be by scrolling."""

    def expect_no_larger_than(self, width, height):
        left, top, right, bottom = self.window.own_place()
        self.assertEqual((left, top), (0, 0))
        self.assertLessEqual(right, width)
        self.assertLessEqual(bottom, height)

    def expect_everything_without_scrolling(self, scale):
        self.start_all(800, 600, scale)
        self.expect_no_larger_than(800, 600)
        self.assertEqual(self.window.scroll_bars(), [])
        self.assertEqual(self.window.inside(), set(self.window.shown()))

    def test_on_800_by_600_nothing_scrolls(self):
        self.expect_everything_without_scrolling(1)

    def test_on_1600_by_1200_at_scale_2_nothing_scrolls(self):
        self.expect_everything_without_scrolling(2)

    def test_on_800_by_600_at_scale_2_scrolling_reaches_everything(self):
        self.start_all(400, 300, 2)
        self.expect_no_larger_than(400, 300)
        self.assertEqual(len(self.window.scroll_bars()), 2)
        self.assertLess(self.window.inside(), set(self.window.shown()))
        self.assertEqual(self.window.seen_while_scrolling(), set(self.window.shown()))

    def test_on_800_by_600_at_scale_2_the_focus_scrolls_what_it_reaches_into_view(self):
        self.start_all(400, 300, 2)
        for stop in TAB_STOPS:
            self.session.run("xdotool", "key", "Tab")
            self.window.wait_for(lambda: self.window.focused_inside() == [stop], f"focus on {stop}")


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2, warnings="ignore")
