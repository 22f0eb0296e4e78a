# SPDX-License-Identifier: MIT
"""The page about the virtual interface as a sound card: its commands run as they stand and do what it says.

usage: sound_page_test.py BUILD_FOLDER Class.test_method
"""

import math
import os
import pathlib
import re
import signal
import struct
import subprocess
import sys
import unittest

from panel_session import TIME_LIMIT
from sound_session import RATE, SILENCE, WINDOW, SoundTest

PAGE = pathlib.Path(__file__).resolve().parent.parent / "docs/try-without-hardware.md"
HERTZ, LOUDNESS = 440, 0.25
IS_TONE, IS_SILENT = "tone", "silent"


def blocks_of(page):
    """The blocks of commands that this test runs, in the order of the page, under their headings."""
    found = {}
    for section in page.split("\n## ")[1:]:
        heading = section.partition("\n")[0]
        found[heading] = re.findall(rf"^```sh run by tests/{pathlib.Path(__file__).name}\n(.*?)^```$", section,
                                    re.MULTILINE | re.DOTALL)
    return found


def what_it_holds(path):
    """Of each channel of a recording: the tone, silence, or the loudness of what else it is."""
    data = path.read_bytes()
    channels = struct.unpack_from("<H", data, 22)[0]
    samples = struct.unpack(f"<{(len(data) - data.index(b'data') - 8) // 2}h", data[data.index(b"data") + 8 :])
    # Near its end: the links were made after its beginning.
    window = samples[-2 * WINDOW * channels : -WINDOW * channels]
    return [what_it_is([value / 0x8000 for value in window[channel::channels]]) for channel in range(channels)]


def what_it_is(samples):
    if max(map(abs, samples)) < SILENCE:
        return IS_SILENT
    step = 2 * math.pi * HERTZ / RATE
    sine, cosine = (sum(value * wave(step * i) for i, value in enumerate(samples)) for wave in (math.sin, math.cos))
    amplitude = 2 / len(samples) * math.hypot(sine, cosine)
    power = sum(value * value for value in samples) / len(samples)
    is_tone = abs(amplitude - LOUDNESS) < 0.01 and abs(power - LOUDNESS**2 / 2) < 0.0005
    return IS_TONE if is_tone else f"{amplitude:.4f} of the tone, {math.sqrt(2 * power):.4f} in all"


class Page(SoundTest):
    def setUp(self):
        super().setUp()
        self.blocks = blocks_of(PAGE.read_text(encoding="utf-8"))
        os.environ["PATH"] = f"{self.session.bin}:{os.environ['PATH']}"

    def next_block(self, heading):
        return self.blocks[heading].pop(0)

    def start(self, name, heading):
        """Starts the section's next block, as in a terminal of its own."""
        return self.session.start(name, "bash", "-c", self.next_block(heading), cwd=self.session.folder)

    def run_block(self, heading):
        """Runs the section's next block to its end; a recording ends after its time."""
        result = subprocess.run(["bash", "-c", self.next_block(heading)], cwd=self.session.folder, capture_output=True,
                                text=True, timeout=TIME_LIMIT)
        self.assertIn((result.returncode, result.stderr), ((0, ""), (124, "")))

    def wait_for_links(self, *links):
        """Waits for links, each "SOURCE SINK"."""
        wanted = [tuple(link.split()) for link in links]
        self.session.watch_graph(lambda: all(f"{source}\n  |-> {sink}\n" in self.session.run("pw-link", "-ol")
                                             for source, sink in wanted))

    def wait_for_ports(self, *ports):
        self.session.watch_graph(lambda: set(ports) <= set(self.session.run("pw-link", "-io").split()))

    def wait_for_meters(self, *channels, command="vx310ctl levels"):
        """Waits until the meters show the tone on these inputs and on no others."""
        self.session.start("levels", "bash", "-c", f"exec {command}", stdout=subprocess.PIPE)
        wanted = "; ".join(f"Input {n}: {'-12.0' if n in channels else '-inf'} dBFS" for n in range(1, 7))
        self.session.wait_for_line("levels", wanted)
        self.session.end("levels", signal.SIGINT)

    def what_is_in(self, name):
        return what_it_holds(self.session.folder / name)

    def test_with_a_session_manager(self):
        from panel_window import PanelWindow  # it takes the session's environment

        self.session.start_all()
        window = PanelWindow()
        self.session.start_panel()
        window.wait_for(lambda: window.fields().get("Inputs 1/2") == "Analog 1/2", "the panel")

        self.run_block("Make a tone")
        self.start("player", "Play it into a jack")
        self.wait_for_links("pw-play:output_AUX2 vx310-jacks-in:playback_AUX2")
        levels = self.next_block("Play it into a jack")
        self.wait_for_meters(3, command=levels)

        self.run_block("Route it")
        window.wait_for(lambda: window.fields().get("Inputs 1/2") == "Analog 3/4", "the routing")
        self.wait_for_meters(1, 3)
        self.run_block("Record it")
        self.assertEqual(self.what_is_in("recorded.wav"), [IS_TONE, IS_SILENT])

        self.run_block("Send it out again")
        self.assertEqual(self.what_is_in("line.wav"), [IS_TONE, IS_SILENT])

        self.session.end("player")
        self.start("digital player", "Play into the digital input")
        window.wait_for(lambda: window.fields().get("Digital input") == "valid 48 kHz", "the digital input")
        self.wait_for_meters(5)
        self.expect_all_were_run(but="Without a session manager")

    def test_without_a_session_manager(self):
        self.link_by_hand(session_manager=False)

    def test_links_by_hand_beside_a_session_manager(self):
        self.link_by_hand(session_manager=True)

    def link_by_hand(self, session_manager):
        self.session.start_all(session_manager=session_manager)
        self.run_block("Make a tone")
        section = "Without a session manager"
        self.start("player", section)
        self.wait_for_ports("pw-play:output_AUX0")
        self.run_block(section)
        self.wait_for_meters(3)
        self.start("recorder", section)
        self.wait_for_ports("pw-record:input_AUX0", "pw-record:input_AUX1")
        self.run_block(section)
        self.session.wait_for_end("recorder")
        self.assertEqual(self.what_is_in("linked.wav"), [IS_TONE, IS_SILENT])
        self.assertEqual(self.blocks[section], [])

    def expect_all_were_run(self, but):
        self.assertEqual({heading: blocks for heading, blocks in self.blocks.items() if blocks and heading != but}, {})


def main():
    SoundTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
