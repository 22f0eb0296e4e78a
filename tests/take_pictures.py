# SPDX-License-Identifier: MIT
"""Takes a picture of the panel in each state that the documents show.

usage: take_pictures.py BUILD_FOLDER PICTURES_FOLDER
"""

import os
import pathlib
import subprocess
import sys
import time

from panel_session import TIME_LIMIT, Session

TITLE = "VX-310 Control Panel"
ESCAPE = 0xFF1B  # X11 key symbol

# A desktop's settings of high contrast, as Qt reads them where the desktop is KDE.
HIGH_CONTRAST = "\n".join(
    f"[Colors:{part}]\nBackgroundNormal={ground}\nForegroundNormal={text}\n"
    for part, ground, text in (
        *((part, "0,0,0", "255,255,255") for part in ("Window", "View", "Button", "Tooltip")),
        ("Selection", "255,255,255", "0,0,0"),
    )
)


class Photographer(Session):
    SCREEN = "1600x1200x24"  # room for a window of twice the size

    def __init__(self, build, folder):
        super().__init__(build)
        global Atspi
        from panel_window import Atspi, PanelWindow  # they take the session's environment

        self.pictures = folder
        self.start_pipewire()
        self.start_driver()
        self.window = PanelWindow()

    def wait_until_shown(self, field, value):
        self.window.wait_for(lambda: self.window.fields().get(field) == value, f"{field} {value}")

    def open_panel(self, **environment):
        os.environ.update(environment)
        self.start_panel()
        for name in environment:
            os.environ.pop(name)
        self.wait_until_shown("Device", "VX-310")

    def take(self, name, *parts):
        """Writes the window, or the part of the screen that ImageMagick's words describe, to `name`.png.

        A value is painted some time after assistive technologies read it: waits for two equal pictures.
        """
        words = parts or ("-window", TITLE)
        limit = time.monotonic() + TIME_LIMIT
        taken = None
        while (now := subprocess.check_output(["import", *words, "-strip", "rgba:-"])) != taken:
            if time.monotonic() > limit:
                raise AssertionError(f"{name}: the window does not come to rest")
            taken = now
            time.sleep(0.2)
        self.run("import", *words, "-strip", "-define", "png:exclude-chunks=date,time", self.pictures / f"{name}.png")

    def take_all(self):
        self.open_panel()
        self.take("panel")
        menu = self.window.control_of("Line outputs")
        Atspi.Action.do_action(menu, 0)
        self.window.wait_for(lambda: self.window.is_open(menu), "the open list")
        self.take("menu", "-window", "root", "-crop", "640x558+0+0", "+repage")
        Atspi.generate_keyboard_event(ESCAPE, None, Atspi.KeySynthType.SYM)
        self.window.wait_for(lambda: not self.window.is_open(menu), "the closed list")
        self.sim("digital-input", "valid", 44100)
        self.wait_until_shown("Digital input", "valid 44.1 kHz")
        self.take("locked")
        self.sim("digital-input", "muted", 96000)
        self.wait_until_shown("Digital input", "muted 96 kHz")
        self.take("muted")
        self.sim("digital-input", "none")
        self.sim("usb", "1.1")
        self.wait_until_shown("Connection type", "USB 1.1 (unsupported) ")
        self.take("usb-1.1")
        self.sim("usb", "2.0")
        self.wait_until_shown("Connection type", "USB 2.0")
        self.sim("unplug")
        self.wait_until_shown("Device", "none found")
        self.take("empty")
        self.end("driver")
        self.window.wait_for(self.window.status, "the status line")
        self.take("no-driver")
        self.end("panel")
        self.start_driver()
        self.open_panel(QT_SCALE_FACTOR="2")
        self.take("scale-200")
        self.end("panel")
        (self.folder / "config" / "kdeglobals").write_text(HIGH_CONTRAST)
        self.open_panel(XDG_CURRENT_DESKTOP="KDE", KDE_SESSION_VERSION="5")
        self.take("high-contrast")
        self.end("panel")


def main():
    photographer = Photographer(sys.argv[1], pathlib.Path(sys.argv[2]))
    try:
        photographer.take_all()
    finally:
        photographer.close()


if __name__ == "__main__":
    main()
