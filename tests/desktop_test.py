# SPDX-License-Identifier: MIT
"""The panel on an X11 desktop with the window manager Openbox.

usage: desktop_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import os
import sys
import unittest

from Xlib import X, Xutil, display
from Xlib.protocol import event

from panel_session import Session

BUILD = None

DESKTOP_ENTRY = "vx310-panel"
SIZE = (640, 558)  # of the window in the window file
TAB_STOPS = ["Analog 1/2", "Analog 3/4", "Digital", "Playback 1/2", "Playback 3/4", "Automatic",
             "Consumer (S/PDIF)", "Help", "Close"]  # what the menus show, and the buttons


class DesktopTest(unittest.TestCase):
    def start(self, screen="1920x1200", scale=1):
        os.environ["QT_SCALE_FACTOR"] = str(scale)
        Session.SCREEN = f"{screen}x24"
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        from panel_window import TITLE, PanelWindow  # finds the session's bus in the environment

        self.title = TITLE
        self.window = PanelWindow()
        self.server = display.Display()
        self.addCleanup(self.server.close)
        self.root = self.server.screen().root
        self.session.start("openbox", "openbox", "--sm-disable")
        self.expect(lambda: self.property(self.root, "_NET_SUPPORTING_WM_CHECK"), "the window manager")
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start_panel()
        self.expect(lambda: self.window.fields().get("Sample clock") == "Automatic", "the connected interface")
        self.expect(self.client, "the window in the window manager's list")

    def expect(self, condition, what):
        self.window.wait_for(condition, what, nudge=(100, self.window.loop.quit))

    def property(self, window, name):
        value = window.get_full_property(self.server.intern_atom(name), X.AnyPropertyType)
        return value.value if value else None

    def client(self):
        """The panel's window among those that the window manager manages."""
        for number in self.property(self.root, "_NET_CLIENT_LIST") or ():
            client = self.server.create_resource_object("window", number)
            if self.property(client, "_NET_WM_NAME") == self.title.encode():
                return client
        return None

    def tell_the_window_manager(self, message, *data):
        """Asks for something as a task bar does."""
        words = [*data, *[0] * (5 - len(data))]
        request = event.ClientMessage(
            window=self.client(), client_type=self.server.intern_atom(message), data=(32, words)
        )
        mask = X.SubstructureRedirectMask | X.SubstructureNotifyMask
        self.root.send_event(request, event_mask=mask)
        self.server.flush()

    def place_on_screen(self):
        """The edges of the window with its frame."""
        frame = self.client()
        while (parent := frame.query_tree().parent) != self.root:
            frame = parent
        place = frame.get_geometry()
        return place.x, place.y, place.x + place.width, place.y + place.height

    def expect_on_screen(self, width, height):
        left, top, right, bottom = self.place_on_screen()
        self.assertGreaterEqual(min(left, top), 0)
        self.assertLessEqual(right, width)
        self.assertLessEqual(bottom, height)


class LargeScreen(DesktopTest):
    def expect_whole(self, scale):
        self.start(scale=scale)
        size = self.client().get_geometry()
        self.assertEqual((size.width, size.height), tuple(length * scale for length in SIZE))
        self.assertEqual(self.window.scroll_bars(), [])
        self.assertEqual(self.window.inside(), set(self.window.shown()))
        self.expect_on_screen(1920, 1200)

    def test_at_scale_1_the_window_is_whole(self):
        self.expect_whole(1)

    def test_at_scale_1_5_the_window_is_whole(self):
        self.expect_whole(1.5)

    def test_at_scale_2_the_window_is_whole(self):
        self.expect_whole(2)


class SmallScreen(DesktopTest):
    def test_on_800_by_600_the_window_is_whole(self):
        self.start("800x600")
        self.assertEqual(self.window.scroll_bars(), [])
        self.assertEqual(self.window.inside(), set(self.window.shown()))
        self.expect_on_screen(800, 600)

    def test_on_800_by_600_at_scale_1_5_scrolling_reaches_everything(self):
        self.start("800x600", 1.5)
        self.expect_on_screen(800, 600)
        self.assertEqual(len(self.window.scroll_bars()), 2)
        self.assertLess(self.window.inside(), set(self.window.shown()))
        self.assertEqual(self.window.seen_while_scrolling(), set(self.window.shown()))

    def test_on_800_by_600_at_scale_1_5_the_focus_scrolls_what_it_reaches_into_view(self):
        self.start("800x600", 1.5)
        for stop in TAB_STOPS:
            self.session.run("xdotool", "key", "Tab")
            self.expect(lambda: self.window.focused_inside() == [stop], f"focus on {stop}")


class Handling(DesktopTest):
    def setUp(self):
        self.start()

    def is_active(self):
        return self.property(self.root, "_NET_ACTIVE_WINDOW")[0] == self.client().id

    def test_its_class_is_the_name_of_its_desktop_entry(self):
        self.assertEqual(self.client().get_wm_class(), (DESKTOP_ENTRY, DESKTOP_ENTRY))

    def test_it_has_an_icon(self):
        self.expect(lambda: self.property(self.client(), "_NET_WM_ICON"), "the icon")

    def test_a_second_start_shows_the_minimised_window(self):
        self.expect(self.is_active, "the active window")
        self.tell_the_window_manager("WM_CHANGE_STATE", Xutil.IconicState)
        self.expect(lambda: self.client().get_attributes().map_state != X.IsViewable, "the minimised window")
        self.session.start("second panel", self.session.bin / "vx310-panel")
        self.assertEqual(self.session.wait_for_end("second panel"), 0)
        self.expect(lambda: self.client().get_attributes().map_state == X.IsViewable, "the window")
        self.expect(self.is_active, "the active window")

    def test_closing_the_window_ends_the_program_cleanly(self):
        self.tell_the_window_manager("_NET_CLOSE_WINDOW")
        self.assertEqual(self.session.wait_for_end("panel"), 0)
        self.assertEqual(self.session.log("panel"), "")


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2, warnings="ignore")
