# SPDX-License-Identifier: MIT
"""The virtual interface as a sound card: programs of every kind play to it and record what the routings say.

usage: sound_test.py BUILD_FOLDER Class.test_method
"""

import collections
import itertools
import json
import math
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from panel_session import TIME_LIMIT  # noqa: E402
from sound_session import (  # noqa: E402
    CAPTURE, CUT, JACKS_OUT, LATENCY, LOUDNESS, PLAYBACK, RATE, SOURCES, TONES, WINDOW, JackClient, Meter, Recording,
    Routings, SoundTest, aux, longest_between, pieces_of, second_of_tones)

FULL_SCALE = 0x7FFFFF
LONGEST_PERIOD = 8192
EVENTFD = "anon_inode:[eventfd]"
PLAY_TO_PLAYBACK = ("pw-play", "--target", "vx310-playback", "--channel-map", aux(PLAYBACK))


class Programs:
    """Players of the tones on all playback channels and jacks, and recorders of all others."""

    def __init__(self, session, play, record, *, header=True):
        self.session, self.meter = session, Meter()
        for name, channels in (("playback", range(PLAYBACK)), ("jacks-in", range(PLAYBACK, SOURCES))):
            session.play(f"play {name}", second_of_tones(channels), len(channels),
                         play(f"vx310-{name}", len(channels)), header=header)
        self.recordings = [
            Recording(session, f"record {name}", channels, *record(f"vx310-{name}", channels))
            for name, channels in (("capture", CAPTURE), ("jacks-out", JACKS_OUT))
        ]

    def catch_up(self):
        """Waits until all players are heard."""
        deadline = time.monotonic() + TIME_LIMIT
        while not all(any(samples) for samples in self.record(0, WINDOW)):
            if time.monotonic() > deadline:
                raise AssertionError("a channel stays silent")

    def close(self):
        for recording in self.recordings:
            recording.close()

    def heard(self):
        """The tones on each recorded channel from now on."""
        return [self.meter.heard_around_holes(samples) for samples in self.record(LATENCY, 3 * WINDOW)]

    def record(self, skipped, frames):
        """What each recorded channel carries from now on, but for so many frames."""
        for recording in self.recordings:
            recording.keep()
        for recording in self.recordings:
            recording.wait_for(skipped + frames)
        return [samples[skipped : skipped + frames] for recording in self.recordings for samples in recording.take()]


def other_sink(properties=""):
    return f"""context.objects = [ {{ factory = adapter args = {{ factory.name = support.null-audio-sink
      node.name = other media.class = Audio/Sink audio.position = [ FL FR ] {properties} }} }} ]"""


# Another sink beside the interface's, in these tests. Hardware has a priority of 1000 and more.
OTHER_SINKS = {
    "test_plugging_in_takes_over_nobodys_sound": other_sink("priority.session = 1000"),
    "test_plugging_in_takes_over_no_sound_of_a_sink_without_a_priority": other_sink(),
}


class Desktop(SoundTest):
    """With a session manager."""

    def setUp(self):
        super().setUp()
        self.session.start_all(configuration=OTHER_SINKS.get(self._testMethodName, ""))

    def wait_for_links(self, count):
        self.session.watch_graph(lambda: self.session.run("pw-link", "-l").count("|->") >= count)

    def test_the_session_manager_lists_a_sink_and_a_source(self):
        status = self.session.run("wpctl", "status")
        print(status)
        for heading in ("Sinks:", "Sources:"):
            section = status.partition(heading)[2].partition("endpoints")[0]
            self.assertRegex(section, r"\d+\. VX-310 +\[vol: 1.00\]")
            self.assertRegex(section, r"\d+\. VX-310 Jacks +\[vol: 1.00\]")
        nodes = self.session.nodes()
        channels = {name: (node["info"]["n-input-ports"], node["info"]["n-output-ports"])
                    for name, node in nodes.items()}
        # A sink has monitors of its channels.
        self.assertEqual(channels, {"vx310-playback": (4, 4), "vx310-capture": (0, 6),
                                    "vx310-jacks-in": (6, 6), "vx310-jacks-out": (0, 4)})
        for node in nodes.values():
            self.assertEqual(node["vantrel.driver.object"], "/com/vantrel/Driver1/service0")
            self.assertEqual(node["node.rate"], "1/48000")
            self.assertLess(node["priority.session"], 0)

    def test_a_jack_client_hears_each_routing(self):
        client = JackClient(self.session)
        self.addCleanup(client.close)
        self.check_all_routings(client)

    def test_pw_record_hears_each_routing_of_what_pw_play_plays(self):
        def play(target, channels):
            return ("pw-play", "--target", target, "--channel-map", aux(channels))

        def record(target, channels):
            return ("pw-record", *raw_option(), "--target", target, "--channels", channels, "--channel-map",
                    aux(channels), "--format", "f32", "--rate", RATE, "-")

        programs = Programs(self.session, play, record)
        self.addCleanup(programs.close)
        self.wait_for_links(SOURCES * 2)
        self.check_all_routings(programs)

    def test_parecord_hears_each_routing_of_what_paplay_plays(self):
        self.session.start_pulse()
        form = ("--raw", "--format=float32le", f"--rate={RATE}")

        def play(target, channels):
            return ("paplay", f"--device={target}", *form, f"--channels={channels}",
                    f"--channel-map={aux(channels).lower()}")

        def record(target, channels):
            return ("parecord", f"--device={target}", *form, f"--channels={channels}",
                    f"--channel-map={aux(channels).lower()}", "--latency-msec=50")

        programs = Programs(self.session, play, record, header=False)
        self.addCleanup(programs.close)
        self.wait_for_links(SOURCES * 2)
        self.check_all_routings(programs)

    def test_the_default_sink_is_the_one_that_was_chosen(self):
        session = self.session
        for key, node in (("sink", "vx310-playback"), ("source", "vx310-capture")):
            session.watch_graph(lambda: f'"{node}"' in session.run("pw-metadata", "0", f"default.audio.{key}"))
        session.run("wpctl", "set-default", session.nodes()["vx310-jacks-in"]["object.id"])
        session.watch_graph(
            lambda: '"vx310-jacks-in"' in session.run("pw-metadata", "0", "default.audio.sink"))

    def test_plugging_in_takes_over_nobodys_sound(self):
        self.check_that_another_sink_stays_the_default()

    def test_plugging_in_takes_over_no_sound_of_a_sink_without_a_priority(self):
        self.check_that_another_sink_stays_the_default()

    def check_that_another_sink_stays_the_default(self):
        session = self.session
        session.sim("unplug")
        session.watch_graph(lambda: '"other"' in session.run("pw-metadata", "0", "default.audio.sink"))
        session.play("play", second_of_tones(range(2)), 2, ("pw-play",))
        session.watch_graph(lambda: "|-> other:playback" in session.run("pw-link", "-l"))
        session.sim("plug")
        session.wait_for_ports()
        # The session manager links what starts now after it has chosen anew.
        session.play("play more", second_of_tones(range(2)), 2, ("pw-play",))
        self.wait_for_links(4)
        links = session.run("pw-link", "-l")
        self.assertEqual(links.count("|-> other:playback"), 4, links)
        self.assertNotIn("|-> vx310", links)
        self.assertIn('"other"', session.run("pw-metadata", "0", "default.audio.sink"))

    def test_a_restarted_session_manager_links_what_has_run_before(self):
        session = self.session
        for restarts in range(4):
            if restarts > 0:
                session.end("wireplumber")
                session.start("wireplumber", "wireplumber")
            session.play("play", second_of_tones(range(4)), 4, PLAY_TO_PLAYBACK)
            session.watch_graph(lambda: "|-> vx310-playback:playback_AUX3" in session.run("pw-link", "-l"))
            session.end("play")


class WithoutASessionManager(SoundTest):
    def test_a_jack_client_hears_each_routing(self):
        self.session.start_all(session_manager=False)
        client = JackClient(self.session)
        self.addCleanup(client.close)
        self.check_all_routings(client)

    def test_all_nodes_run_on_one_of_any_number_of_data_threads(self):
        """Old versions have one thread and take no notice."""
        session = self.session
        for loops in ("context.num-data-loops = 0", "context.num-data-loops = 3",
                      "context.data-loops = [ { loop.name = first } { loop.name = second } ]"):
            with self.subTest(loops):
                session.configure(f"context.properties = {{ {loops} }}", "client")
                session.start_all(session_manager=False)
                session.sim("digital-input", "valid", RATE)
                client = JackClient(session)
                try:
                    self.assertEqual(client.heard(), Routings().expected())
                    cycles, before = 50, wake_ups(session)
                    client.keep()
                    client.cycles(RATE, client.period, cycles)
                    rises = {name: count - before.get(name, 0) for name, count in wake_ups(session).items()}
                    self.assertEqual(len([rise for rise in rises.values() if rise >= cycles / 2]), 1, rises)
                finally:
                    client.close()
                    session.end("driver")
                    session.end("pipewire")

    def test_a_session_manager_that_comes_later_links_it(self):
        session = self.session
        session.start_all(session_manager=False)
        session.start("wireplumber", "wireplumber")
        session.play("play", second_of_tones(range(4)), 4, PLAY_TO_PLAYBACK)
        session.watch_graph(lambda: "|-> vx310-playback:playback_AUX3" in session.run("pw-link", "-l"))

    def test_two_interfaces_are_told_apart(self):
        self.session.start_all(session_manager=False, count=2)
        self.session.watch_graph(lambda: len(self.session.nodes()) == 8)
        objects = {name: node["vantrel.driver.object"] for name, node in self.session.nodes().items()}
        first, second = "/com/vantrel/Driver1/service0", "/com/vantrel/Driver1/service1"
        self.assertEqual(objects["vx310-playback"], first)
        self.assertEqual(objects["vx310-2-playback"], second)
        self.assertEqual(sorted(objects.values()), [first] * 4 + [second] * 4)
        paths = self.session.run("busctl", "--user", "tree", "--list", "com.vantrel.Driver1").split()
        self.assertTrue({first, second} <= set(paths), paths)


class Jacks(SoundTest):
    """What is heard and measured at the jacks."""

    def setUp(self):
        super().setUp()
        self.session.start_all(session_manager=False)
        self.client = JackClient(self.session)
        self.addCleanup(self.client.close)

    def test_the_digital_input_is_heard_only_while_its_signal_is_valid(self):
        routings = Routings()
        for state, hears in (("valid", True), ("muted", False), ("valid", True), ("invalid", False), ("none", False)):
            with self.subTest(state):
                self.session.sim("digital-input", state, *([RATE] if state in ("valid", "muted") else []))
                routings.hears_digital = hears
                self.assertEqual(self.client.heard(), routings.expected())

    def test_suspended_streaming_is_silent(self):
        with Requests() as requests:
            requests.send(38)
            self.assertEqual(self.client.heard(), [()] * SOURCES)
            requests.send(37)
            self.session.sim("digital-input", "valid", RATE)
            self.assertEqual(self.client.heard(), Routings().expected())

    def test_the_latency_is_the_one_period_that_the_ports_report(self):
        self.session.sim("digital-input", "valid", RATE)
        for samples, (number,) in zip(self.client.record(), Routings().expected(), strict=True):
            late = self.client.first - self.client.period
            # All tones together are at the same place only once in a window.
            turns = self.client.meter.phase(samples, number) - TONES[number] * late / RATE
            self.assertAlmostEqual(turns, round(turns), delta=0.001)
        reported = [thing["info"]["params"]["Latency"] for thing in json.loads(self.session.run("pw-dump"))
                    if thing.get("info", {}).get("props", {}).get("port.name", "").startswith("capture_AUX")]
        self.assertEqual(len(reported), SOURCES)
        for port in reported:
            self.assertEqual([latency["minQuantum"] for latency in port if latency["direction"] == "Output"], [1.0])

    def test_levels_are_the_peaks_of_what_flows(self):
        peak = LOUDNESS * FULL_SCALE
        with Requests() as requests:
            self.session.sim("digital-input", "none")
            self.client.record()
            requests.send(35)
            self.client.record()
            inputs, outputs = requests.send(72), requests.send(49)
            self.client.record()
            both = requests.send(35)
        for ins, outs in ((inputs, outputs), (both, both[8:])):
            for level in (*ins[:4], *outs[:4]):
                self.assertAlmostEqual(level / peak, 1, delta=0.01)
            self.assertEqual((*ins[4:8], *outs[4:8]), (0,) * 8)

    def test_levels_are_zero_after_the_player_has_stopped(self):
        self.client.record()
        with Requests() as requests:
            self.assertNotIn(0, requests.send(35)[8:12])
            self.client.close()
            self.session.watch_graph(lambda: "|->" not in self.session.run("pw-link", "-l"))
            requests.send(35)
            self.assertEqual(requests.send(35), (0,) * 64)

    def test_infinities_and_denormals_at_a_jack_are_no_sound(self):
        self.client.close()
        odd = {0: "-inf", 4: "inf", 5: "nan", 6: "denormal"}
        client = JackClient(self.session, tones=[odd.get(number, hertz) for number, hertz in enumerate(TONES)])
        self.addCleanup(client.close)
        self.session.sim("digital-input", "valid", RATE)
        with Requests() as requests:
            client.record()
            requests.send(35)
            for samples, (number,) in zip(client.record(), Routings().expected(), strict=True):
                if number in odd:
                    self.assertTrue(all(abs(sample) < 1e-38 for sample in samples), number)
                else:
                    self.assertEqual(client.meter.heard(samples), (number,))
            levels = requests.send(35)
        self.assertEqual([level == 0 for level in levels[:6]], [True, True, True, False, False, False])
        self.assertEqual([level == 0 for level in levels[8:12]], [True, False, False, False])

    def test_a_thousand_changes_of_routing_a_second_are_as_smooth_as_the_tones(self):
        """A step between two samples is no larger than the highest tone's own, and a fade's share of what it spans."""
        session = self.session
        session.sim("digital-input", "valid", RATE)
        session.run("pw-metadata", "-n", "settings", "0", "clock.force-quantum", 256)
        self.client.record()
        ended = threading.Event()
        count, seconds = 0, time.monotonic()

        def change():
            """Each pair in turn, to each of its values in turn; many at a time, for the answers take longest."""
            nonlocal count
            routings = itertools.cycle([(is_input, pair, value) for value in range(20)
                                        for is_input, pair, value in [*((1, pair, value % 4) for pair in range(3)),
                                                                      *((0, pair, value % 5) for pair in range(2))]])
            with Requests() as requests:
                while not ended.is_set():
                    requests.send_all((40, *next(routings)) for _ in range(20))
                    count += 20

        changes = threading.Thread(target=change)
        changes.start()
        try:
            channels = self.client.record()
        finally:
            ended.set()
            changes.join()
            seconds = time.monotonic() - seconds
        own = LOUDNESS * 2 * math.pi * TONES[-1] / RATE
        largest = [max(abs(after - before) for before, after in itertools.pairwise(samples)) for samples in channels]
        print(f"{count / seconds:.0f} changes a second, largest steps as parts of the highest tone's:",
              *(f"{step / own:.2f}" for step in largest))
        self.assertGreater(count / seconds, 1000)
        for samples, step in zip(channels, largest):
            self.assertGreater(len(self.client.meter.heard(samples)), 1)  # several tones, or "wrong": not as loud
            self.assertLess(step, own + 2 * LOUDNESS / 64)

    def test_the_last_of_many_changes_of_routing_holds(self):
        with Requests() as requests:
            for i in range(1000):
                requests.send(40, 1, i % 3, i % 4)
            for pair in range(3):
                requests.send(40, 1, pair, pair)
        self.session.sim("digital-input", "valid", RATE)
        self.assertEqual(self.client.heard(), Routings().expected())


class Rates(SoundTest):
    ALLOWED = "context.properties = { default.clock.allowed-rates = [ 44100 48000 88200 96000 192000 ] }"

    def test_the_configuration_is_the_graphs_rate(self):
        session = self.session
        session.start_all(configuration=self.ALLOWED)
        for rate in (44100, 48000, 88200, 96000):
            with self.subTest(rate):
                session.sim("sample-rate", rate)
                routings = Routings()
                routings.hears_digital = False
                self.check_at(rate, routings)

    def test_the_digital_inputs_rate_is_the_graphs_while_it_is_the_clock(self):
        session = self.session
        session.start_all(configuration=self.ALLOWED)
        session.sim("digital-input", "valid", 96000)
        self.check_at(96000, Routings())

    def test_of_the_rates_that_are_asked_for_one_is_the_graphs(self):
        """A program asks for the rate of what it plays. Old versions take the lowest of all, new ones the highest."""
        session = self.session
        session.start_all(configuration=self.ALLOWED)
        choose = min if session.run("pipewire", "--version").rpartition("libpipewire ")[2].startswith("0.") else max
        for rate in (44100, 96000):
            with self.subTest(rate):
                session.sim("sample-rate", rate)
                self.wait_for_node_rate(rate)
                session.play("play", bytes(4 * PLAYBACK * RATE), PLAYBACK, PLAY_TO_PLAYBACK)
                session.watch_graph(lambda: "|-> vx310-playback:playback_AUX3" in session.run("pw-link", "-l"))
                client = JackClient(session, choose(rate, RATE))
                try:
                    client.record()  # once the graph runs at that rate
                finally:
                    client.close()
                    session.end("play")
                session.watch_graph(lambda: "|->" not in session.run("pw-link", "-l"))

    def wait_for_node_rate(self, rate):
        self.session.watch_graph(lambda: self.session.nodes()["vx310-playback"]["node.rate"] == f"1/{rate}")

    def check_at(self, rate, routings):
        """The graph, which was idle, runs at this rate when nobody else asks for one: a JACK client does not.

        Only a graph that starts takes another rate. A client that is not yet linked is a graph of its own, so a cable
        between jacks starts the interface's.
        """
        session = self.session
        self.wait_for_node_rate(rate)
        cable = ("vx310-jacks-out:capture_AUX0", "vx310-jacks-in:playback_AUX0")
        session.link(*cable)
        session.watch_graph(lambda: session.nodes()["vx310-jacks-in"]["info"]["state"] == "running")
        client = JackClient(session, rate)
        try:
            session.run("pw-link", "--disconnect", *cable)
            self.assertEqual(client.heard(), routings.expected())
            self.assertEqual(client.rate, rate)
        finally:
            client.close()
        session.watch_graph(lambda: session.nodes()["vx310-jacks-in"]["info"]["state"] != "running")

    def test_at_a_forced_rate_and_period_everything_is_heard(self):
        session = self.session
        session.start_all(session_manager=False, configuration=self.ALLOWED)
        session.sim("digital-input", "valid", RATE)
        for rate, period in ((48000, 16), (48000, 64), (44100, 256), (192000, 8192), (192000, 1024), (48000, 8192)):
            with self.subTest(rate=rate, period=period):
                self.force(rate, period)
                client = JackClient(session, rate)
                try:
                    client.keep()
                    self.check_cycles(client, self.hear_all(client, rate, period, max(12, rate // 2 // period)))
                finally:
                    client.close()

    def test_changes_of_rate_and_period_make_silence_at_most_for_a_client_that_runs_on(self):
        session = self.session
        session.start_all(session_manager=False, configuration=self.ALLOWED)
        session.sim("digital-input", "valid", RATE)
        client = JackClient(session)
        self.addCleanup(client.close)
        client.keep()
        cycles = []
        for rate, period in ((48000, 64), (48000, 1024), (48000, 256), (48000, 8192), (44100, 8192), (44100, 256),
                             (96000, 1024), (48000, 1024)):
            self.force(rate, period)
            cycles += self.hear_all(client, rate, period, 12)
        self.check_cycles(client, cycles)

    def force(self, rate, period):
        for key, value in (("clock.force-rate", rate), ("clock.force-quantum", period)):
            self.session.run("pw-metadata", "-n", "settings", "0", key, value)

    def hear_all(self, client, rate, period, count):
        """The client's cycles up to so many at this rate and period, or more until it has heard all channels."""
        cycles, deadline = [], time.monotonic() + TIME_LIMIT
        while True:
            cycles += client.cycles(rate, period, count)
            counts, _ = client.judge(cycles, Routings())
            if all(channel["right"] for channel in counts):
                return cycles
            self.assertLess(time.monotonic(), deadline, f"{rate}/{period}: {counts}")

    def check_cycles(self, client, cycles):
        """Each cycle carries what it must or is silent."""
        counts, wrong = client.judge(cycles, Routings())
        total = sum(counts, collections.Counter())
        print(f"{cycles[-1].rate}/{cycles[-1].frames}: {len(cycles)} cycles, of all channels", dict(total))
        self.assertEqual(wrong[:10], [])

    def test_a_change_of_the_graphs_rate_is_heard_as_cuts_and_silence_only(self):
        """At a cut the converters' filters are heard for a moment. What lasts longer must be the tone or silence."""
        tones = (3000, 4000)
        waves = [[LOUDNESS * math.sin(2 * math.pi * hertz * i / RATE) for i in range(RATE)] for hertz in tones]
        recorded = self.record_loopback(waves, [(rate, 8192) for rate in (44100, 96000, 48000, 44100, 48000)])
        for samples, hertz in zip(recorded, tones):
            pieces = pieces_of(samples, hertz)
            print(f"{hertz} Hz, frames of each piece:", *(end - first for first, end in pieces))
            wrong = longest_between(pieces, len(samples))
            self.assertLessEqual(wrong, CUT, f"{wrong} frames are neither the tone nor silence")
            first, end = pieces[-1]
            self.assertAlmostEqual(max(samples[first:end]), LOUDNESS, delta=0.01)

    def test_a_change_of_the_period_is_heard_as_cuts_and_silence_only(self):
        """Each frame that is played is its own number, on one channel below zero: none comes much too late.

        When a program is late, new versions of PipeWire play the end of what it has played once more.
        """
        count = 2**20
        numbers = range(1, 20 * RATE)
        recorded = self.record_loopback([[sign * number / count for number in numbers] for sign in (1, -1)],
                                        [(RATE, period) for period in (64, 1024, 256, 8192, 256, 1024, 64)])
        for samples, sign in zip(recorded, (1, -1)):
            heard = [sign * count * sample for sample in samples if sample]
            cuts = [(before, after) for before, after in itertools.pairwise(heard) if after != before + 1]
            print(f"{len(samples)} frames, {len(samples) - len(heard)} silent, {len(cuts)} cuts")
            self.assertEqual([cut for cut in cuts if cut[1] <= cut[0] - LONGEST_PERIOD], [])
            self.assertEqual([number for number in heard if not number.is_integer()], [])
            self.assertGreater(len(heard), len(samples) / 2)

    def record_loopback(self, waves, clocks):
        """What a program records without a break of what another one plays, while the graph changes its clock."""
        session = self.session
        session.start_all(configuration=self.ALLOWED)
        session.sim("routing", "in", 0, 3)
        session.play("play", b"".join(struct.pack("<2f", *frame) for frame in zip(*waves)), 2,
                     ("pw-play", "--target", "vx310-playback", "--channel-map", aux(2)))
        recording = Recording(session, "record", 2, "pw-record", *raw_option(), "--target", "vx310-capture",
                              "--channels", 2, "--channel-map", aux(2), "--format", "f32", "--rate", RATE, "-")
        self.addCleanup(recording.close)
        links = ("|-> vx310-playback:playback_AUX1", "|-> pw-record:input_AUX1")
        session.watch_graph(lambda: all(link in session.run("pw-link", "-l") for link in links))
        recording.keep()
        recording.wait_for_sound()
        for rate, period in clocks:
            self.force(rate, period)
            recording.wait_for(recording.kept() + RATE // 2)
            recording.wait_for_sound()  # after some changes it takes most of a second
        recording.wait_for(recording.kept() + RATE // 2)
        return recording.take()

    def test_a_rate_that_the_server_does_not_allow_leaves_the_graph_at_its_own(self):
        session = self.session
        session.start_all(session_manager=False, configuration=
                          "context.properties = { default.clock.allowed-rates = [ 48000 ] }")
        session.sim("sample-rate", 44100)
        client = JackClient(session)
        self.addCleanup(client.close)
        routings = Routings()
        routings.hears_digital = False
        self.assertEqual(client.heard(), routings.expected())


class Faults(SoundTest):
    def test_a_client_that_stops_silences_only_what_waits_for_it(self):
        """It plays silence to the jacks, and hears them."""
        session = self.session
        session.start_all(session_manager=False)
        session.sim("digital-input", "valid", RATE)
        session.sim("routing", "in", 0, 3)
        routings = Routings()
        routings.inputs[0] = 3
        stopped = JackClient(session, name="stopped", tones=[0] * SOURCES, jacks_alone=True)
        self.addCleanup(stopped.close)
        client = JackClient(session)
        self.addCleanup(client.close)
        self.assertEqual(client.heard(), routings.expected())
        stopped.stream.send_signal(signal.SIGSTOP)
        client.keep()
        counts, wrong = client.judge(client.cycles(RATE, client.period, 50)[-30:], routings)
        print(*(dict(count) for count in counts))
        self.assertEqual(wrong, [])
        for count, (number,) in zip(counts, routings.expected(), strict=True):
            self.assertEqual(count["right"] > 0, number < PLAYBACK, f"tone {number}: {count}")
        stopped.close()
        session.watch_graph(lambda: "stopped:" not in session.run("pw-link", "-l"))
        self.assertEqual(client.heard(), routings.expected())

    def test_after_the_server_was_killed_it_is_heard_again(self):
        """The panel shows it too, and nothing is left over in the driver."""
        session = self.session
        session.start_all(session_manager=False)
        session.sim("digital-input", "valid", RATE)
        from panel_window import PanelWindow  # finds the session's bus in the environment

        window = PanelWindow()
        session.start_panel()
        session.wait_for_line("panel", "getRouting RoutingIn2 returns")
        session.sim("routing", "in", 0, 3)
        routings = Routings()
        routings.inputs[0] = 3
        for kills in range(7):
            client = JackClient(session)
            self.addCleanup(client.close)
            heard = client.heard()
            shown = {"Device": "VX-310", "Inputs 1/2": "Loopback", "Inputs 3/4": "Analog 3/4"}
            window.wait_for(lambda: shown.items() <= window.fields().items() and window.status() is None, shown)
            if kills == 2:  # by then it has all the memory that a new start needs
                before, kb = descriptors(session), memory(session)
            if kills == 6:
                break
            session.end("pipewire", signal.SIGKILL)
            client.close()
            self.assertEqual(heard, routings.expected())
            session.start_pipewire()
            session.wait_for_ports(False)
        self.assertEqual(heard, routings.expected())
        self.wait_for_descriptors(before)
        print("kB before and after:", kb, memory(session))
        self.assertLess(memory(session), kb + 4000)

    def wait_for_descriptors(self, wanted):
        """Buffers come and go a little later than links; the server is asked something after each look."""
        deadline = time.monotonic() + TIME_LIMIT
        while (found := descriptors(self.session)) != wanted and time.monotonic() < deadline:
            self.session.nodes()
        self.assertEqual(found, wanted)

    def test_a_node_that_is_destroyed_at_the_server_comes_back(self):
        session = self.session
        session.start_all(session_manager=False)
        session.sim("digital-input", "valid", RATE)
        for name in ("vx310-playback", "vx310-capture", "vx310-jacks-in", "vx310-jacks-out"):
            destroyed = session.nodes()[name]
            session.run("pw-cli", "destroy", destroyed["object.id"])
            self.wait_for_another(name, destroyed["object.serial"])
            session.wait_for_ports(False)
            client = JackClient(session)
            try:
                self.assertEqual(client.heard(), Routings().expected())
            finally:
                client.close()

    def wait_for_another(self, name, serial):
        """Waits for the node of this name that is not the one with this serial."""
        self.session.watch_graph(
            lambda: self.session.nodes().get(name, {}).get("object.serial", serial) != serial)

    def test_a_hundred_plugs_while_audio_runs(self):
        session = self.session
        session.start_all()
        session.sim("digital-input", "valid", RATE)
        session.play("play", second_of_tones(range(4)), 4, PLAY_TO_PLAYBACK)

        def wait_for_audio():
            session.wait_for_ports()
            session.watch_graph(lambda: "|-> vx310-playback:playback_AUX3" in session.run("pw-link", "-l"))

        def replug(times, wait_at_each):
            for number in range(1, times + 1):
                session.sim("unplug")
                session.sim("plug")
                if number % wait_at_each == 0:
                    wait_for_audio()
            return memory(session)

        wait_for_audio()
        replug(1, 1)  # PipeWire 1.4 opens an eventfd at the first, and keeps it
        before = descriptors(session)
        kb = replug(30, 1)
        self.wait_for_descriptors(before)
        kb_afterwards = replug(70, 10)
        quick = descriptors(session)
        print("descriptors:", before, "quick:", quick, "kB:", kb, kb_afterwards)
        # To each of the four nodes the server sends an eventfd of every node that joins their graph. When the driver
        # has taken the nodes away meanwhile, PipeWire's library drops these messages, and old versions leave what is
        # in them open.
        self.assertLessEqual(quick[EVENTFD] - before[EVENTFD], 4 * 70)
        self.wait_for_descriptors({**before, EVENTFD: quick[EVENTFD]})
        # What runs at the moment takes some of it; an interface's audio that stays behind would be 30 MB in 50 plugs.
        self.assertLess(kb_afterwards, kb + 8000)
        self.assertEqual(len(session.nodes()), 4)


class Requests:
    """A connection to the interface, for commands that vx310ctl does not send."""

    def __enter__(self):
        # The driver closes the connections of a client that leaves the bus.
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        objects = self.bus.call_sync("com.vantrel.Driver1", "/com/vantrel/Driver1", "org.freedesktop.DBus.ObjectManager",
                                "GetManagedObjects", None, None, Gio.DBusCallFlags.NONE, -1)
        path = next(iter(objects.unpack()[0]))
        _, descriptors = self.bus.call_with_unix_fd_list_sync(
            "com.vantrel.Driver1", path, "com.vantrel.Driver1.Service", "Open", GLib.Variant("(u)", (2,)), None,
            Gio.DBusCallFlags.NONE, -1, None, None)
        self.connection = socket.socket(fileno=descriptors.steal_fds()[0])
        self.connection.settimeout(TIME_LIMIT)
        return self

    def __exit__(self, *_):
        self.connection.close()

    def send(self, command, *words):
        """The words of the answer's payload."""
        return self.send_all([(command, *words)])[0]

    def send_all(self, commands):
        """The answers of commands that are all sent before the first answer is read."""
        commands = list(commands)
        for command, *words in commands:
            self.connection.send(struct.pack("<66I", 0, command, *words, *[0] * (64 - len(words))))
        return [self.answer(command) for command, *_ in commands]

    def answer(self, command):
        answer = self.connection.recv(264)
        if len(answer) != 260:
            raise AssertionError(f"command {command} failed")
        return struct.unpack("<65I", answer)[1:]


def descriptors(session):
    """How many of each kind the driver has."""
    folder = pathlib.Path(f"/proc/{session.processes['driver'].pid}/fd")
    return collections.Counter(re.sub("[0-9]+", "", os.readlink(path)) for path in folder.iterdir())


def wake_ups(session):
    """How often each thread of the driver has waited and been woken."""
    folder = pathlib.Path(f"/proc/{session.processes['driver'].pid}/task")
    return {
        (task.name, (task / "comm").read_text().strip()):
            int((task / "status").read_text().partition("\nvoluntary_ctxt_switches:")[2].split()[0])
        for task in folder.iterdir()
    }


def memory(session):
    """The kB that the driver takes."""
    status = pathlib.Path(f"/proc/{session.processes['driver'].pid}/status").read_text()
    return int(status.partition("VmRSS:")[2].split()[0])


def raw_option():
    """From some version on pw-record writes samples without a header only when it is told to."""
    help_text = subprocess.run(["pw-record", "--help"], capture_output=True, text=True, timeout=TIME_LIMIT).stdout
    return ("--raw",) if "--raw" in help_text else ()


def main():
    SoundTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
