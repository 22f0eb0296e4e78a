# SPDX-License-Identifier: MIT
"""What the screen reader Orca says about the panel, and the accessibility tree that it reads.

usage: orca_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import os
import queue
import re
import signal
import sys
import threading
import time
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402
from orca import orca_platform  # noqa: E402
from Xlib import X, display  # noqa: E402

from panel_session import TIME_LIMIT, Session  # noqa: E402

BUILD = None

MENUS = {
    "Inputs 1/2": "Source of input channels 1 and 2",
    "Inputs 3/4": "Source of input channels 3 and 4",
    "Inputs 5/6": "Source of input channels 5 and 6",
    "Line outputs": "Source of the line outputs",
    "Digital output": "Source of the digital output",
    "Sample clock": "Sample clock source",
    "Output format": "Digital output format",
}


# Orca words the same differently before and from version 48.
if int(orca_platform.version.split(".")[0]) < 48:
    MENU, BUTTON, OPENED = "{label} combo box", "{name} push button", "List with"
    TELLS_SECTIONS = True
    PICKED = "{purpose}: {value}"
else:
    MENU, BUTTON, OPENED = "{label} {value} combo box {value}", "{name} button", "{value}"
    # Of a menu alone it does not tell the section: _generate_combo_box in its speech_generator.py does
    # not call _generate_default_prefix, with which the other controls tell theirs.
    TELLS_SECTIONS = False
    # It keeps descriptions, and may tell the one of before the pick with the new value.
    PICKED = MENU

# Runs Orca without the module through which it speaks. It goes on without a voice.
WITHOUT_VOICE = """import runpy, sys
sys.modules["speechd"] = None
sys.argv[0] = "orca"
runpy.run_path("/usr/bin/orca", run_name="__main__")
"""


class Orca:
    """A running Orca without a voice: its debug log tells what it would say."""

    SPEECH = re.compile(r"SPEECH OUTPUT: '(.*)' ?(\{|None)")

    def __init__(self, session):
        os.environ.update(
            HOME=str(session.folder),
            XDG_DATA_HOME=str(session.folder / "data"),
            GSETTINGS_BACKEND="memory",
            LC_ALL="C.UTF-8",
        )
        self.said = queue.Queue()
        # Orca's log is buffered unless it is a terminal. This side keeps the terminal open.
        self.log, self.terminal = os.openpty()
        threading.Thread(target=self.read, daemon=True).start()
        session.start(
            "orca", sys.executable, "-c", WITHOUT_VOICE, "--debug-file", os.ttyname(self.terminal)
        )

    def read(self):
        with os.fdopen(self.log, errors="replace") as log:
            for line in log:
                if speech := self.SPEECH.search(line):
                    self.said.put(speech[1])

    def expect(self, *phrases):
        """Waits until Orca has said each of the phrases, as whole utterances or parts of them."""
        missing, heard = list(phrases), []
        deadline = time.monotonic() + TIME_LIMIT
        while missing:
            try:
                speech = self.said.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"Orca did not say {missing} within {TIME_LIMIT} s, but {heard}") from None
            heard.append(speech)
            missing = [phrase for phrase in missing if phrase not in speech]


class WithAnInterface(unittest.TestCase):
    """The panel with a virtual interface on a desktop with a window manager."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)
        self.session.start("openbox", "openbox", "--sm-disable")
        self.session.start_pipewire()
        self.session.start_driver()

    def open_panel(self):
        from panel_window import PanelWindow  # finds the session's bus in the environment

        self.window = PanelWindow()  # starts the accessibility bus, which the panel looks for once
        self.session.start_panel()
        self.window.wait_for(
            lambda: self.window.fields().get("Device") == "VX-310", "the connected interface"
        )


class ScreenReader(WithAnInterface):
    def setUp(self):
        super().setUp()
        # Orca looks for others of the same user and gives way to them.
        self.session.replace_program("pgrep", "exit 1")
        self.orca = Orca(self.session)
        self.addCleanup(lambda: self.session.end("orca", signal.SIGKILL))
        self.orca.expect("Screen reader on")
        self.open_panel()
        # Orca follows the active window. Qt may have joined the accessibility bus too late to tell of
        # the activation at the start, so another window takes the focus and gives it back by its end.
        screen = display.Display()
        other = screen.screen().root.create_window(0, 0, 50, 50, 0, X.CopyFromParent)
        other.map()
        screen.sync()
        self.window.wait_for(lambda: not self.window.is_active(), "the window without the focus")
        screen.close()
        self.orca.expect("VX-310 Control Panel")

    def type(self, *keys):
        self.session.run("xdotool", "key", *keys)

    def test_each_menu_is_told_with_its_section_label_purpose_and_value(self):
        values = {label: self.window.fields()[label] for label in MENUS}
        sections = {"Inputs 1/2": "Inputs", "Line outputs": "Outputs", "Sample clock": "Settings"}
        for label, purpose in MENUS.items():
            self.type("Tab")
            section = [f"{sections[label]} panel"] if TELLS_SECTIONS and label in sections else []
            told = MENU.format(label=label, value=values[label])
            self.orca.expect(*section, told, f"{purpose}: {values[label]}")
        for name in ("Help", "Close"):
            self.type("Tab")
            self.orca.expect(BUTTON.format(name=name))

    def test_what_happens_to_the_interface_is_told(self):
        self.session.sim("unplug")
        self.orca.expect("Device: none found")
        self.session.sim("plug")
        self.orca.expect("Device: VX-310")
        self.session.sim("digital-input", "valid", "44100")
        self.orca.expect("Digital input: valid 44.1 kHz")
        self.session.sim("digital-input", "invalid")
        self.orca.expect("Digital input: no valid signal")

    def pick_second(self, label, second_item):
        """Moves to the label's menu and picks its second item with the keys."""
        values = self.window.fields()
        for reached, purpose in MENUS.items():
            self.type("Tab")
            told = MENU.format(label=reached, value=values[reached])
            self.orca.expect(told, f"{purpose}: {values[reached]}")
            if reached == label:
                break
        self.type("space")
        self.window.wait_for(lambda: self.window.is_open(self.window.control_of(label)), f"{label}, open")
        self.orca.expect(OPENED.format(value=values[label]))
        self.type("Home", "Down")
        self.orca.expect(second_item)
        self.type("Return")

    def test_a_pick_is_told(self):
        label, value = "Inputs 1/2", "Analog 3/4"
        self.pick_second(label, value)
        self.orca.expect(PICKED.format(label=label, value=value, purpose=MENUS[label]))

    def test_a_pick_that_the_interface_refuses_is_told(self):
        self.session.sim("fault", "refuse", "always")
        self.pick_second("Sample clock", "Internal")
        self.orca.expect("Sample clock: not accepted, still Automatic")


class AccessibilityTree(WithAnInterface):
    def setUp(self):
        super().setUp()
        self.open_panel()

    def ancestors_of(self, control):
        while control := control.get_parent():
            yield control

    def test_no_control_is_in_a_frame_other_than_the_window(self):
        for control in self.window.controls():
            frames = [a.get_name() for a in self.ancestors_of(control) if a.get_role() == Atspi.Role.FRAME]
            self.assertIn(frames, ([], ["VX-310 Control Panel"]), control.get_name())

    def test_each_section_is_a_group_with_a_name(self):
        groups = [c.get_name() for c in self.window.controls() if c.get_role() == Atspi.Role.PANEL]
        self.assertEqual(["Inputs", "Interface", "Outputs", "Settings"], sorted(filter(None, groups)))

    def test_each_field_and_menu_has_a_name_a_description_and_a_label(self):
        labelled = list(self.window.labelled())
        self.assertEqual(8 + 9, len(labelled))
        for label, control in labelled:
            if not control.get_state_set().contains(Atspi.StateType.SHOWING):
                continue
            with self.subTest(label):
                self.assertIn(control.get_role(), (Atspi.Role.LABEL, Atspi.Role.COMBO_BOX))
                self.assertTrue(control.get_name())
                self.assertTrue(control.get_description())
                self.assertIn(
                    Atspi.RelationType.LABELLED_BY,
                    [relation.get_relation_type() for relation in control.get_relation_set()],
                )
                if control.get_role() == Atspi.Role.COMBO_BOX:
                    self.assertIn(control.get_name(), self.window.items_of(label))
                    self.assertTrue(control.get_description().endswith(": " + control.get_name()))

    def test_the_picture_is_named_after_its_image(self):
        def picture():
            return [c.get_name() for c in self.window.controls() if c.get_role() == Atspi.Role.IMAGE]

        self.window.wait_for(lambda: picture() == ["VX-310"], "the interface's picture")
        self.session.sim("unplug")
        self.window.wait_for(lambda: picture() == ["None"], "the picture of no interface")


if __name__ == "__main__":
    BUILD = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2, warnings="ignore")
