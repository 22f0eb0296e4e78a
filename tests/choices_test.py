# SPDX-License-Identifier: MIT
"""The user's choices from the window to the device and both stores, and back after a restart.

usage: choices_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import functools
import json
import os
import pathlib
import plistlib
import re
import signal
import struct
import subprocess
import sys
import time
import unittest

from panel_session import TIME_LIMIT, Session

BUILD = None


class Menu:
    """One menu: its label, its name for vx310ctl, and its key among the panel's choices; `words` are the items in
    JSON."""

    def __init__(self, label, setting, key, words):
        self.label, self.setting, self.key, self.words = label, setting, key, words
        self.member = setting.replace("-", "_")

    @functools.cached_property
    def items(self):
        """The items' texts, which vx310ctl lists when `set` gets an unknown one."""
        command = [pathlib.Path(BUILD) / "bin/vx310ctl", "set", self.setting, ""]
        result = subprocess.run(command, capture_output=True, text=True, timeout=TIME_LIMIT)
        return re.findall(r"^  \d+  (.+)$", result.stderr, re.MULTILINE)


INPUTS = ("analog-1-2", "analog-3-4", "digital", "loopback")
OUTPUTS = ("playback-1-2", "playback-3-4", "input-1-2", "input-3-4", "input-5-6")
CLOCK = Menu("Sample clock", "clock-source", "ClockSource", ("automatic", "internal"))
FORMAT = Menu("Output format", "digital-output-format", "DigOutFormat", ("consumer", "professional"))
LINE = Menu("Line outputs", "line-output", "Out12", OUTPUTS)
# The menus that a panel with an interface shows: all but the USB 1.1 input selection and the audio
# performance, which this interface does not use.
MENUS = (
    Menu("Inputs 1/2", "input-1-2", "In12", INPUTS),
    Menu("Inputs 3/4", "input-3-4", "In34", INPUTS),
    Menu("Inputs 5/6", "input-5-6", "In56", INPUTS),
    LINE,
    Menu("Digital output", "digital-output", "Out34", OUTPUTS),
    CLOCK,
    FORMAT,
)
DEFAULTS = {
    "In12": 0,
    "In34": 1,
    "In56": 2,
    "Out12": 0,
    "Out34": 1,
    "DigOutFormat": 0,
    "ClockSource": 0,
    "AudioPerformance": 0,
    "USB11Mode": 0,
    "Version": "1.00",
}
# Another item than the default in every menu.
PICKS = {"In12": 3, "In34": 2, "In56": 1, "Out12": 4, "Out34": 2, "ClockSource": 1, "DigOutFormat": 1}

SET_OUTPUT_FORMAT = "28"  # the command's number in request records

# The routing property's records, in the driver's order: input or output, pair, and the choice's key.
ROUTINGS = ((0, 0, "Out12"), (0, 1, "Out34"), (1, 0, "In12"), (1, 1, "In34"), (1, 2, "In56"))


class ChoicesTest(unittest.TestCase):
    """A session with every server; the panel is not running yet."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        from panel_window import PanelWindow  # finds the session's bus in the environment

        self.window = PanelWindow()
        self.session.start_pipewire()
        self.session.start_driver()

    # The stores and the device -------------------------------------------------------------------

    def store(self, identifier):
        folder = self.session.folder / "config/vantrel/preferences"
        return folder / f"com.vantrel.{identifier}.plist"

    def read_store(self, identifier):
        with open(self.store(identifier), "rb") as file:
            return plistlib.load(file)

    def write_store(self, identifier, values):
        path = self.store(identifier)
        path.parent.mkdir(parents=True)
        with open(path, "wb") as file:
            plistlib.dump(values, file)

    def device(self):
        """The interface's settings as indices, by the choice's key."""
        settings = json.loads(self.session.ctl("get", "--json"))["settings"]
        return {menu.key: menu.words.index(settings[menu.member]) for menu in MENUS}

    def reset_device(self):
        """Sets the interface and its driver to the defaults; the panel's choices stay."""
        for menu in MENUS:
            self.session.ctl("set", menu.setting, DEFAULTS[menu.key])
        self.assertEqual(self.device(), {menu.key: DEFAULTS[menu.key] for menu in MENUS})

    def node_routings(self):
        """The routings from the audio device's property, as another PipeWire program reads it."""
        for thing in json.loads(self.session.run("pw-dump")):
            if thing.get("info", {}).get("props", {}).get("node.description") == "VX-310":
                return routings_of(self.session.run("pw-cli", "enum-params", thing["id"], "Props"))
        raise AssertionError("there is no audio device")

    # The panel -----------------------------------------------------------------------------------

    def open_panel(self, **choices):
        """Opens the panel and waits until it shows an interface with these choices."""
        self.session.start_panel()
        self.expect_shown({**DEFAULTS, **choices})

    def expect_shown(self, choices):
        texts = {menu.label: menu.items[choices[menu.key]] for menu in MENUS}

        def menus_show_them():
            shown = self.window.fields()
            return all(shown.get(label) == text for label, text in texts.items())

        self.window.wait_for(menus_show_them, texts)

    def close_panel(self):
        self.click(self.window.button("Close"))
        self.assertEqual(self.session.wait_for_end("panel"), 0)

    def expect_everywhere(self, choices):
        """The panel shows these choices, the interface has them and both stores hold them."""
        self.expect_shown(choices)
        self.assertEqual(self.read_store("vx310.panel"), choices)
        self.assertEqual(self.device(), {menu.key: choices[menu.key] for menu in MENUS})
        self.assertEqual(self.node_routings(), {key: choices[key] for _, _, key in ROUTINGS})
        settings = self.read_store("vx310.hal")
        self.assertEqual(settings["ClockSource"], str(choices["ClockSource"]))
        self.assertEqual(settings["DigitalOutMode"], str(choices["DigOutFormat"]))
        self.assertEqual(settings["Version"], "1.0")

    def expect_device(self, name):
        self.window.wait_for(lambda: self.window.fields()["Device"] == name, name)

    # The command line ----------------------------------------------------------------------------

    def start_watch(self):
        command = (self.session.bin / "vx310ctl", "watch", "--json")
        self.session.start("watch", *command, stdout=subprocess.PIPE)

    def wait_for_event(self, event):
        """The next line of `watch` about this kind of event."""
        return json.loads(self.session.wait_for_line("watch", f'{{"schema":1,"event":"{event}"'))

    def wait_for_change(self, menu):
        """The item of the menu in the next line of `watch` about its change."""
        while menu.member not in (settings := self.wait_for_event("changed").get("settings", {})):
            pass
        return menu.words.index(settings[menu.member])

    # The user's input ----------------------------------------------------------------------------

    def click(self, control):
        x, y = self.window.middle(control)
        self.session.run("xdotool", "mousemove", x, y, "click", 1)

    def pick(self, menu, index):
        """Opens the menu with the mouse and moves to the item with the keys."""
        control = self.window.control_of(menu.label)
        self.click(control)
        self.window.wait_for(lambda: self.window.is_open(control), f"{menu.label}, open")
        self.session.run("xdotool", "key", "Home", *["Down"] * index, "Return")
        self.window.wait_for(lambda: not self.window.is_open(control), f"{menu.label}, closed")


def routings_of(listing):
    """The routings by the choice's key, from the output of pw-cli about the audio device."""
    dump = listing.split('String "VQrt"')[1]
    data = b"".join(bytes.fromhex(line) for line in re.findall(r"0x[0-9a-f]+: (.*)", dump))
    values = {}
    for i, (is_input, pair, key) in enumerate(ROUTINGS):
        record = struct.unpack_from("=IiI", data, 12 * i)
        assert record[:2] == (is_input, pair), record
        values[key] = record[2]
    return values


class ByHand(ChoicesTest):
    def test_a_pick_in_every_menu_reaches_the_device_and_both_stores_and_comes_back(self):
        self.open_panel()
        choices = dict(DEFAULTS)
        for menu in MENUS:
            self.pick(menu, PICKS[menu.key])
            choices[menu.key] = PICKS[menu.key]
            self.expect_everywhere(choices)
        self.close_panel()
        self.assertEqual(self.read_store("vx310.panel"), choices)
        self.reset_device()
        self.open_panel(**PICKS)
        self.expect_everywhere(choices)

    def test_the_same_pick_again_changes_nothing(self):
        self.open_panel()
        self.pick(LINE, 2)
        choices = {**DEFAULTS, "Out12": 2}
        self.expect_everywhere(choices)
        stores = [self.store(name) for name in ("vx310.panel", "vx310.hal")]
        before = [store.read_bytes() for store in stores]
        self.start_watch()
        self.wait_for_event("connected")

        self.pick(LINE, 2)
        self.expect_everywhere(choices)
        self.assertEqual([store.read_bytes() for store in stores], before)
        # The next event of `watch` is that of another pick.
        self.pick(LINE, 3)
        event = self.wait_for_event("changed")
        self.assertEqual(event, {"schema": 1, "event": "changed", "settings": {LINE.member: LINE.words[3]}})


class ThroughTheAccessibilityTree(ChoicesTest):
    def test_a_pick_in_every_menu_found_by_its_label_reaches_the_device_and_both_stores(self):
        self.open_panel()
        choices = dict(DEFAULTS)
        for menu in MENUS:
            self.window.pick(menu.label, PICKS[menu.key])
            choices[menu.key] = PICKS[menu.key]
            self.expect_everywhere(choices)
        self.window.press("Close")
        self.assertEqual(self.session.wait_for_end("panel"), 0)
        self.reset_device()
        self.open_panel(**PICKS)
        self.expect_everywhere(choices)


class RoundTrips(ChoicesTest):
    def setUp(self):
        super().setUp()
        self.open_panel()
        for menu in MENUS:
            self.pick(menu, PICKS[menu.key])
        self.choices = {**DEFAULTS, **PICKS}
        self.expect_everywhere(self.choices)

    def test_an_interface_that_was_unplugged_gets_the_choices_again(self):
        self.reset_device()
        self.session.sim("unplug")
        self.expect_device("none found")
        self.session.sim("plug")
        self.expect_device("VX-310")
        self.expect_everywhere(self.choices)

    def test_a_driver_that_was_killed_gets_the_choices_when_it_is_back(self):
        self.reset_device()
        self.session.end("driver", signal.SIGKILL)
        self.expect_device("none found")
        self.session.start_driver()
        self.expect_device("VX-310")
        self.expect_everywhere(self.choices)

    def test_a_driver_without_a_panel_starts_with_the_settings_that_it_was_given_last(self):
        self.close_panel()
        self.session.end("driver")
        self.start_watch()
        self.wait_for_event("disconnected")
        self.session.start_driver()
        settings = self.wait_for_event("connected")["settings"]
        self.assertEqual(settings["clock_source"], "internal")
        self.assertEqual(settings["digital_output_format"], "professional")
        self.assertEqual(settings["line_output"], "playback-1-2")  # routings are the panel's alone


class BesideTheCommandLine(ChoicesTest):
    def setUp(self):
        super().setUp()
        self.open_panel()

    def test_both_offer_the_same_items(self):
        for menu in MENUS:
            self.assertEqual(self.window.items_of(menu.label), menu.items)
            for index, item in enumerate(menu.items):
                self.session.ctl("set", menu.setting, item)
                self.assertEqual(self.device()[menu.key], index)

    def test_the_panel_shows_at_once_what_vx310ctl_sets_and_keeps_its_own_choices(self):
        for menu in MENUS:
            self.session.ctl("set", menu.setting, menu.items[PICKS[menu.key]])
        self.expect_shown(PICKS)
        self.assertEqual(self.device(), PICKS)
        self.assertEqual(self.read_store("vx310.panel"), DEFAULTS)
        settings = self.read_store("vx310.hal")
        self.assertEqual((settings["ClockSource"], settings["DigitalOutMode"]), ("1", "1"))

    def test_watch_tells_of_every_pick_in_the_panel(self):
        self.start_watch()
        self.wait_for_event("connected")
        for menu in MENUS:
            self.pick(menu, PICKS[menu.key])
            self.assertEqual(self.wait_for_change(menu), PICKS[menu.key])


class Restored(ChoicesTest):
    """vx310ctl restore beside a running panel."""

    def setUp(self):
        super().setUp()
        self.open_panel()
        self.pick(LINE, 3)
        self.preset = self.session.folder / "preset.json"
        settings = {menu.member: menu.words[PICKS[menu.key]] for menu in MENUS}
        head = {"schema": 1, "vendor_id": 0x7F21, "product_id": 0x5D12}
        self.preset.write_text(json.dumps({**head, "settings": settings}))
        self.session.ctl("restore", self.preset)
        self.choices = {**DEFAULTS, **PICKS}

    def replug(self):
        self.session.sim("unplug")
        self.expect_device("none found")
        self.reset_device_of_driver()
        self.session.sim("plug")
        self.expect_device("VX-310")

    def reset_device_of_driver(self):
        for side, pair, key in (("out", 0, "Out12"), ("out", 1, "Out34"), ("in", 0, "In12"), ("in", 1, "In34"),
                                ("in", 2, "In56")):
            self.session.sim("routing", side, pair, DEFAULTS[key])
        self.session.sim("clock", "automatic")

    def test_the_panel_shows_and_keeps_what_was_restored(self):
        self.expect_everywhere(self.choices)
        self.replug()
        self.expect_everywhere(self.choices)
        self.close_panel()
        self.open_panel(**PICKS)
        self.expect_everywhere(self.choices)

    def test_a_pick_after_it_changes_that_choice_alone(self):
        self.expect_shown(self.choices)
        self.pick(LINE, 2)
        self.expect_everywhere({**self.choices, "Out12": 2})
        self.replug()
        self.expect_everywhere({**self.choices, "Out12": 2})

    def test_an_undo_is_shown_and_kept_too(self):
        self.expect_shown(self.choices)
        self.session.ctl("restore", "--undo")
        self.expect_everywhere({**DEFAULTS, "Out12": 3})
        self.replug()
        self.expect_everywhere({**DEFAULTS, "Out12": 3})


class StoredChoices(ChoicesTest):
    def test_of_another_version_are_replaced_by_the_defaults(self):
        self.write_store("vx310.panel", {**DEFAULTS, **PICKS, "Version": "1.0"})
        self.open_panel()
        self.expect_everywhere(DEFAULTS)

    def test_that_lack_one_give_its_first_item(self):
        stored = {**DEFAULTS, **PICKS}
        del stored["In34"]
        self.write_store("vx310.panel", stored)
        self.session.start_panel()
        self.expect_shown({**PICKS, "In34": 0})
        self.assertEqual(self.device(), {**PICKS, "In34": 0})
        self.assertEqual(self.read_store("vx310.panel"), stored)

    def test_of_the_menus_that_are_hidden_reach_the_interface_and_are_kept(self):
        stored = {**DEFAULTS, "USB11Mode": 1, "AudioPerformance": 2}
        self.write_store("vx310.panel", stored)
        self.open_panel()
        self.assertEqual(json.loads(self.session.ctl("show", "--json"))["usb1_input"], "digital")
        self.assertEqual(self.read_store("vx310.hal")["DigitalOutSel"], "1")
        self.pick(LINE, 2)
        self.assertEqual(self.read_store("vx310.panel"), {**stored, "Out12": 2})

    def test_outside_the_items_leave_the_interface_and_the_menus_as_they_are(self):
        stored = {**DEFAULTS, "In12": 99, "Out34": -1, "Out12": 3}
        self.write_store("vx310.panel", stored)
        self.session.start_panel()
        self.expect_shown({**DEFAULTS, "Out12": 3})
        self.assertEqual(self.device()["In12"], 0)
        self.assertEqual(self.device()["Out34"], 1)
        self.pick(LINE, 2)
        self.expect_shown({**DEFAULTS, "Out12": 2})


class Faults(ChoicesTest):
    def setUp(self):
        super().setUp()
        self.open_panel()

    def expect_picks_not_taken(self, fault):
        """With the fault, picks are stored; the panel and the driver's store have the interface's values."""
        self.session.sim("fault", fault, "always")
        self.pick(CLOCK, 1)
        self.pick(FORMAT, 1)
        self.expect_shown(DEFAULTS)
        choices = self.read_store("vx310.panel")
        self.assertEqual((choices["ClockSource"], choices["DigOutFormat"]), (1, 1))
        settings = self.read_store("vx310.hal")
        self.assertEqual((settings["ClockSource"], settings["DigitalOutMode"]), ("0", "0"))

    def test_a_setting_that_the_interface_ignores_is_shown_and_stored_as_the_interface_has_it(self):
        self.expect_picks_not_taken("ignore")

    def test_a_setting_that_the_interface_refuses_is_shown_and_stored_as_the_interface_has_it(self):
        self.expect_picks_not_taken("refuse")

    def test_a_driver_that_hangs_while_the_choices_are_applied_holds_the_panel_up_only_a_moment(self):
        self.session.sim("unplug")
        self.expect_device("none found")
        # The output format is sent second; the other choices reach a driver that answers nothing.
        self.session.sim("fault", "hang", "command", SET_OUTPUT_FORMAT)
        self.session.sim("plug")
        driver = self.session.processes["driver"].pid
        os.waitid(os.P_PID, driver, os.WSTOPPED)
        hung = time.monotonic()
        self.expect_device("VX-310")
        self.assertLess(time.monotonic() - hung, 2)

        os.kill(driver, signal.SIGCONT)
        self.pick(CLOCK, 1)
        self.pick(LINE, 3)
        self.assertEqual(self.device()["ClockSource"], 1)
        self.assertEqual(self.device()["Out12"], 3)
        self.expect_shown({**DEFAULTS, "ClockSource": 1, "Out12": 3})

    def test_a_routing_that_is_picked_without_an_audio_server_is_kept_for_the_next_connection(self):
        self.session.end("pipewire", signal.SIGKILL)
        self.pick(LINE, 2)
        self.assertEqual(self.read_store("vx310.panel")["Out12"], 2)
        self.session.start_pipewire()
        self.session.sim("unplug")
        self.expect_device("none found")
        self.session.sim("plug")
        self.expect_device("VX-310")
        self.expect_everywhere({**DEFAULTS, "Out12": 2})

    def test_a_pick_reaches_the_interface_also_when_it_cannot_be_stored(self):
        self.close_panel()
        stores = self.store("vx310.panel").parent
        stores.rename(stores.with_name("kept"))
        stores.write_text("no folder")
        self.open_panel()
        for menu in MENUS:
            self.pick(menu, PICKS[menu.key])
        self.expect_shown(PICKS)
        self.assertEqual(self.device(), PICKS)
        self.assertEqual(self.node_routings(), {key: PICKS[key] for _, _, key in ROUTINGS})

    def test_two_panels_corrupt_neither_store_and_show_each_others_picks(self):
        from panel_window import PanelWindow

        first = self.window
        # A panel that does not answer does not keep another one from opening.
        self.session.processes["panel"].send_signal(signal.SIGSTOP)
        self.session.start("second panel", self.session.bin / "vx310-panel")
        self.session.run("xdotool", "search", "--sync", "--all", "--pid", self.session.processes["second panel"].pid,
                         "--name", "VX-310 Control Panel")
        self.session.processes["panel"].send_signal(signal.SIGCONT)
        second = PanelWindow(number=1)
        self.window = second
        self.expect_shown(DEFAULTS)
        for number, menu in enumerate(MENUS):
            (first, second)[number % 2].pick(menu.label, PICKS[menu.key])
        for window in (first, second):
            self.window = window
            self.expect_everywhere({**DEFAULTS, **PICKS})


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
