# SPDX-License-Identifier: MIT
"""The panel, the driver service, PipeWire and a session bus together, on a display of their own.

usage: panel_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import os
import re
import signal
import sys
import unittest

from panel_session import TIME_LIMIT, Session

BUILD = None

# The labels of the eight fields.
DEVICE = "Device"
CONNECTION = "Connection type"
DRIVER = "Driver version"
FIRMWARE = "Firmware version"
WIDTH = "Sample width"
RATE = "Sample rate"
CLOCK = "Clock source"
DIGITAL_INPUT = "Digital input"

# The labels of the menus that a USB 2.0 interface has, with the names of their values in `vx310ctl show`.
MENUS = {
    "Inputs 1/2": "Inputs 1/2",
    "Inputs 3/4": "Inputs 3/4",
    "Inputs 5/6": "Inputs 5/6",
    "Line outputs": "Line outputs",
    "Digital output": "Digital output",
    "Sample clock": "Chosen clock source",
    "Output format": "Digital output format",
}

FILLED = {
    DEVICE: "VX-310",
    CONNECTION: "USB 2.0",
    WIDTH: "24 bits",
    RATE: "48 kHz",
}
EMPTY = {
    DEVICE: "none found",
    CONNECTION: None,
    FIRMWARE: None,
    WIDTH: None,
    RATE: None,
    CLOCK: None,
    DIGITAL_INPUT: None,
} | dict.fromkeys(MENUS)


class PanelTest(unittest.TestCase):
    """A session with a bus and a display; PipeWire, driver and panel are not running yet."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        from panel_window import PanelWindow  # finds the session's bus in the environment

        self.window = PanelWindow()

    def expect(self, texts, what):
        """Waits until the fields show these texts; None stands for a hidden field."""

        def fields_show_them():
            shown = self.window.fields()
            return all(label in shown and shown[label] == texts[label] for label in texts)

        self.window.wait_for(fields_show_them, what)


class WithAnInterface(PanelTest):
    def setUp(self):
        super().setUp()
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start_panel()
        self.expect(FILLED, "the connected interface")

    def shown(self):
        """The values by their names, as vx310ctl shows them."""
        return dict(re.split(": +", line, 1) for line in self.session.ctl("show").splitlines())

    def test_the_panel_shows_what_the_interface_reports(self):
        shown = self.shown()
        self.expect(
            {
                DRIVER: shown["Driver version"],
                FIRMWARE: shown["Firmware"],
                CLOCK: shown["Effective clock source"],
                DIGITAL_INPUT: shown["Digital input"],
            },
            "what vx310ctl shows",
        )

    def test_the_menus_show_what_the_interface_is_set_to(self):
        shown = self.shown()
        items = {label: shown[name] for label, name in MENUS.items()}
        self.expect(items, "the settings that vx310ctl shows")

    def test_the_routing_menus_have_the_names_that_vx310ctl_prints(self):
        shown = self.session.ctl("show")
        for label in list(MENUS)[:5]:
            self.assertIn(f"\n{label}: ", shown)

    def test_one_running_panel_follows_the_interface_through_everything(self):
        session = self.session
        session.sim("unplug")
        self.expect(EMPTY, "no device after unplugging")
        session.sim("plug")
        self.expect(FILLED, "the interface after plugging it in again")
        session.sim("digital-input", "valid", "44100")
        self.expect({DIGITAL_INPUT: "valid 44.1 kHz"}, "a valid digital input")
        session.sim("usb", "1.1")
        self.expect(
            {CONNECTION: "USB 1.1 (unsupported) ", WIDTH: None, RATE: None}, "a USB 1.1 connection"
        )
        session.sim("usb", "2.0")
        self.expect({CONNECTION: "USB 2.0", WIDTH: "24 bits"}, "a USB 2.0 connection")
        session.end("driver", signal.SIGKILL)
        self.expect(EMPTY, "no device after the driver service was killed")
        session.start_driver()
        self.expect(FILLED, "the interface of the new driver service")
        self.assertIsNone(session.processes["panel"].poll(), "the panel was restarted")

    def test_the_digital_input_is_shown_in_each_of_its_states(self):
        for words, text in (
            (("none",), "no signal"),
            (("invalid",), "no valid signal"),
            (("valid", "96000"), "valid 96 kHz"),
            (("muted", "88200"), "muted 88.2 kHz"),
        ):
            self.session.sim("digital-input", *words)
            self.expect({DIGITAL_INPUT: text}, text)

    def test_the_sample_rate_follows_the_interface(self):
        for rate, text in (("44100", "44.1 kHz"), ("88200", "88.2 kHz"), ("96000", "96 kHz")):
            self.session.sim("digital-input", "none")
            self.session.sim("sample-rate", rate)
            self.expect({RATE: text}, text)

    def test_a_second_interface_is_ignored_while_one_is_current(self):
        self.session.sim("plug", "--second")
        self.session.sim("digital-input", "valid", "88200")
        # The clock is automatic: the first interface runs at the rate of its digital input.
        self.expect(
            FILLED | {RATE: "88.2 kHz", DIGITAL_INPUT: "valid 88.2 kHz"}, "the first interface"
        )

    def test_a_device_of_other_ids_is_not_taken_for_the_interface(self):
        self.session.sim("unplug")
        self.expect(EMPTY, "no device")
        self.session.sim("ids", "0x7F21", "0x5D13")
        self.session.sim("plug")
        # The panel takes the next interface only if it has not taken the foreign device.
        self.session.sim("plug", "--second")
        self.session.sim("--interface", "1", "digital-input", "muted", "96000")
        self.expect(FILLED | {DIGITAL_INPUT: "muted 96 kHz"}, "the interface with its own ids")

    def test_a_panel_whose_driver_hangs_fills_in_again_when_it_answers(self):
        self.session.sim("fault", "stall")
        self.session.sim("notify", "3")
        self.expect({CLOCK: "unknown"}, "the failure values of a driver that does not answer")
        self.session.sim("fault", "none")
        # The driver connection is opened again at the latest with the second of the next two events.
        self.window.wait_for(
            lambda: self.window.fields().get(CLOCK) not in (None, "unknown"),
            "the interface whose driver answers again",
            nudge=(1100, lambda: self.session.sim("notify", "3") and None),
        )

    def test_the_panel_finds_the_audio_device_again_after_pipewire_was_restarted(self):
        session = self.session
        session.end("pipewire")
        session.wait_for_line("panel", "Found matching device: 0x 0 for VX-310")
        session.start_pipewire()
        session.wait_for_line("panel", "Found matching device: 0x", but_not="Found matching device: 0x 0")

    def test_the_panel_finds_the_interface_again_each_time_the_session_bus_was_restarted(self):
        # The window is read through the session bus, so the panel's output tells what it found.
        session = self.session
        for _ in range(2):
            session.skip_output("panel")
            session.end("bus", signal.SIGKILL)
            session.wait_for_end("driver")
            session.start_bus()
            session.start_driver()
            session.wait_for_line("panel", "getRouting RoutingIn2 returns")

    def test_the_panel_prints_no_warnings(self):
        self.session.sim("unplug")
        self.expect(EMPTY, "no device")
        self.session.sim("plug")
        self.expect(FILLED, "the interface")
        self.session.end("panel")
        self.assertEqual(self.session.log("panel"), "")

    def test_the_close_button_ends_the_program_cleanly(self):
        self.window.press("Close")
        self.assertEqual(0, self.session.processes["panel"].wait(TIME_LIMIT))

    def test_sigterm_ends_the_program_cleanly(self):
        self.assertEqual(0, self.session.end("panel"))


class KeysForAListThatVanishes(PanelTest):
    """The interface vanishes while a menu's list is open, and the user goes on typing."""

    def setUp(self):
        super().setUp()
        self.help = self.session.folder / "help"
        self.session.replace_program("xdg-open", f'echo "$@" >> {self.help}')
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start_panel()
        self.expect(FILLED, "the connected interface")
        menu = self.window.control_of("Inputs 1/2")
        x, y = self.window.middle(menu)
        self.session.run("xdotool", "mousemove", x, y, "click", 1)
        self.window.wait_for(lambda: self.window.is_open(menu), "the list, open")

    def type(self):
        self.expect(EMPTY, "no device")
        self.session.run("xdotool", "key", "Home", "Down", "Return", "space")

    def expect_no_button_was_pressed(self):
        self.expect(FILLED, "the interface in the same panel")
        self.assertIsNone(self.session.processes["panel"].poll(), "the panel has ended")
        self.assertFalse(self.help.exists(), "the help was opened")

    def test_the_panel_stays_open_when_the_interface_was_unplugged(self):
        self.session.sim("unplug")
        self.type()
        self.session.sim("plug")
        self.expect_no_button_was_pressed()

    def test_the_panel_stays_open_when_the_driver_died(self):
        self.session.end("driver", signal.SIGKILL)
        self.type()
        self.session.start_driver()
        self.expect_no_button_was_pressed()


class WithoutAnInterface(PanelTest):
    def setUp(self):
        super().setUp()
        self.session.start_pipewire()
        self.session.start_driver("--unplugged")
        self.session.start_panel()
        self.expect(EMPTY, "no device")

    def test_the_panel_shows_only_the_driver_packages_version(self):
        self.expect({DRIVER: "2.05"}, "the driver package's version")

    def test_an_interface_that_is_plugged_in_later_fills_the_panel(self):
        self.session.sim("plug")
        self.expect(FILLED, "the interface")


class ASecondStart(PanelTest):
    def setUp(self):
        super().setUp()
        self.session.start_driver()
        self.session.start_panel()
        self.expect(FILLED, "the interface")

    def cover_the_panel(self):
        """Maps a window above the panel's; returns what is on top of the screen, to be called."""
        from Xlib import display

        server = display.Display()
        self.addCleanup(server.close)
        root = server.screen().root
        cover = root.create_window(0, 0, 2000, 2000, 0, server.screen().root_depth)
        cover.map()
        cover.configure(stack_mode=0)  # above
        server.sync()

        def top():
            return root.query_tree().children[-1]

        self.assertEqual(cover, top())
        return cover, top

    def test_it_raises_the_first_window_and_ends(self):
        cover, top = self.cover_the_panel()
        self.session.start("second panel", self.session.bin / "vx310-panel")
        self.assertEqual(0, self.session.wait_for_end("second panel"))
        self.assertNotEqual(cover, top())
        self.assertEqual("", self.session.log("second panel"))

    def test_beside_a_panel_that_hangs_it_opens_a_window(self):
        from panel_window import PanelWindow

        first = self.session.processes["panel"]
        first.send_signal(signal.SIGSTOP)
        self.session.start("second panel", self.session.bin / "vx310-panel")
        self.session.run("xdotool", "search", "--sync", "--all", "--pid", self.session.processes["second panel"].pid,
                         "--name", "VX-310 Control Panel")
        first.send_signal(signal.SIGCONT)
        self.window = PanelWindow(number=1)
        self.expect(FILLED, "the interface in the second window")

    def test_after_the_first_has_ended_it_opens_a_window(self):
        self.session.end("panel")
        self.session.start_panel()
        self.expect(FILLED, "the interface")


class WindowPlace(PanelTest):
    """Where the window opens."""

    TITLE = "^VX-310 Control Panel$"
    FRAME = 40  # wider than a window manager's frame

    def open_panel(self):
        self.session.start_panel()
        self.expect(EMPTY, "no device")

    def place(self):
        """The centre of the close button on the screen."""
        return self.window.middle(self.window.button("Close"))

    def expect_place(self, place, what):
        self.window.wait_for(lambda: self.place() == place, f"the window at {place}: {what}")

    def move_to(self, x, y):
        """Moves the window; again, should the window manager have placed it only after that."""
        target = (x + 570, y + 530)
        self.window.wait_for(
            lambda: all(0 <= at - to < self.FRAME for at, to in zip(self.place(), target)),
            "the moved window",
            nudge=(500, lambda: self.session.run("xdotool", "search", "--name", self.TITLE, "windowmove", x, y) and None),
        )

    def end_with_manager(self):
        """Asks the window to close as a window manager does."""
        from Xlib import display
        from Xlib.protocol import event

        server = display.Display()
        self.addCleanup(server.close)
        panel = int(self.session.run("xdotool", "search", "--name", self.TITLE).split()[-1])
        window = server.create_resource_object("window", panel)
        protocols, delete = server.intern_atom("WM_PROTOCOLS"), server.intern_atom("WM_DELETE_WINDOW")
        message = event.ClientMessage(window=window, client_type=protocols, data=(32, [delete, 0, 0, 0, 0]))
        window.send_event(message)
        server.sync()
        self.assertEqual(0, self.session.wait_for_end("panel"))

    def end_with_button(self):
        self.window.press("Close")
        self.assertEqual(0, self.session.wait_for_end("panel"))

    def end_with_signal(self):
        self.assertEqual(0, self.session.end("panel"))

    def test_under_a_window_manager_it_is_where_the_window_was_closed(self):
        self.session.start("openbox", "openbox", "--sm-disable")
        self.open_panel()
        ends = ((self.end_with_manager, 30, 40), (self.end_with_button, 500, 300), (self.end_with_signal, 90, 200))
        for end, x, y in ends:
            self.move_to(x, y)
            left = self.place()
            end()
            self.open_panel()
            self.expect_place(left, end.__name__)

    def test_a_place_outside_of_every_screen_or_a_damaged_file_counts_as_none(self):
        self.open_panel()
        usual = self.place()
        file = self.session.folder / "state/vantrel/panel-window"
        self.end_with_signal()
        for content in (b"5000 200", b"20 -900", b"", b"x", b"20", b"20 20 20", b"99999999999 1", bytes(range(256)) * 99):
            file.write_bytes(content)
            self.open_panel()
            self.expect_place(usual, content[:20])
            self.end_with_signal()

    def test_a_folder_that_cannot_be_written_is_harmless(self):
        (self.session.folder / "state").write_text("no folder")
        self.open_panel()
        self.end_with_signal()
        self.assertEqual("", self.session.log("panel"))


class WithoutADriverService(PanelTest):
    def test_the_panel_starts_empty_and_fills_in_when_the_service_starts(self):
        self.session.start_panel()
        self.expect(EMPTY, "no device")
        self.session.start_driver()
        self.expect(FILLED, "the interface")


NO_DRIVER = "The driver service is not running"
NO_AUDIO_DEVICE = "No audio device: routing cannot be changed"
REFUSED = "The interface did not take the last choice"
UNCONFIRMED = "The last routing was not confirmed"
NO_HELP = "The help page could not be opened"


class StatusLine(PanelTest):
    """The line between the help and the close button."""

    def expect_line(self, text):
        """Waits until the line shows this text; None: until it is hidden."""
        self.window.wait_for(lambda: self.window.status() == text, f"status line {text!r}")

    def start_all(self):
        self.session.start_pipewire()
        self.session.start_driver()
        self.session.start_panel()
        self.expect(FILLED, "the interface")
        self.expect_line(None)

    def test_it_tells_of_a_driver_service_that_is_not_running_until_it_starts(self):
        self.session.start_pipewire()
        self.session.start_panel()
        self.expect_line(NO_DRIVER)
        self.session.start_driver("--unplugged")
        self.expect_line(None)
        self.expect(EMPTY, "no device")
        self.session.end("driver", signal.SIGKILL)
        self.expect_line(NO_DRIVER)

    def test_it_tells_of_a_missing_audio_device_only_beside_an_interface(self):
        self.start_all()
        self.session.end("pipewire")
        self.expect_line(NO_AUDIO_DEVICE)
        self.session.sim("unplug")
        self.expect_line(None)
        self.session.sim("plug")
        self.expect_line(NO_AUDIO_DEVICE)
        self.session.start_pipewire()
        self.expect_line(None)

    def test_it_tells_of_a_refused_choice_until_one_is_taken(self):
        self.start_all()
        self.session.sim("fault", "refuse", "always")
        self.window.pick("Sample clock", 1)
        self.expect_line(REFUSED)
        self.session.sim("fault", "none")
        self.window.pick("Sample clock", 1)
        self.expect_line(None)

    def test_it_tells_of_a_routing_that_was_not_confirmed_until_it_is(self):
        self.start_all()
        driver = self.session.processes["driver"]
        driver.send_signal(signal.SIGSTOP)
        self.window.pick("Line outputs", 2)
        self.expect_line(UNCONFIRMED)
        driver.send_signal(signal.SIGCONT)
        self.expect_line(None)

    def test_it_tells_of_a_help_page_that_could_not_be_opened_until_it_is(self):
        programs = self.session.folder / "bin"
        self.session.start_driver()
        self.session.start("panel", "env", f"PATH={programs}", self.session.bin / "vx310-panel")
        self.expect(FILLED, "the interface")
        self.expect_line(NO_AUDIO_DEVICE)
        self.session.start_pipewire()
        self.expect_line(None)
        self.window.press("Help")
        self.expect_line(NO_HELP)
        self.session.replace_program("xdg-open", ":")
        self.window.press("Help")
        self.expect_line(None)


class WithoutAServer(unittest.TestCase):
    """What the panel says on standard error when it misses a server."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        os.environ.pop("QT_QPA_PLATFORM")

    def expect_end_without_display(self, reason):
        self.session.start_panel()
        self.assertEqual(1, self.session.wait_for_end("panel"))
        self.assertEqual(f"vx310-panel: cannot open a display ({reason})\n", self.session.log("panel"))

    def test_without_a_display_the_panel_says_so_and_ends(self):
        del os.environ["DISPLAY"]
        self.expect_end_without_display("neither DISPLAY nor WAYLAND_DISPLAY is set")

    def test_with_a_display_that_does_not_exist_the_panel_says_so_and_ends(self):
        os.environ["DISPLAY"] = ":9999"
        self.expect_end_without_display("DISPLAY=:9999")

    def test_with_a_wayland_display_that_does_not_exist_the_panel_says_so_and_ends(self):
        del os.environ["DISPLAY"]
        os.environ["WAYLAND_DISPLAY"] = "missing"
        self.expect_end_without_display("WAYLAND_DISPLAY=missing")

    def test_a_session_bus_that_is_started_after_the_panel_is_found(self):
        session = self.session
        session.end("bus")
        session.start_pipewire()
        session.start_panel()
        session.run("xdotool", "search", "--sync", "--name", "VX-310 Control Panel")
        session.start_bus()
        session.start_driver()
        session.wait_for_line("panel", "getRouting RoutingIn2 returns")

    def test_without_a_session_bus_the_panel_says_so_and_stays_open(self):
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent/bus"
        self.session.start_panel()
        self.session.run("xdotool", "search", "--sync", "--name", "VX-310 Control Panel")
        self.session.end("panel")
        self.assertEqual(
            "vx310-panel: cannot reach the session bus: No such file or directory; "
            "no interface can be found\n",
            self.session.log("panel"),
        )


if __name__ == "__main__":
    BUILD = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2, warnings="ignore")
