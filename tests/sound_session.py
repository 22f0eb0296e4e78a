# SPDX-License-Identifier: MIT
"""A desktop's audio session with the virtual interface as a sound card, and programs that play and record.

Every channel that something is played to has a tone of its own; what a channel carries is measured by the tones in
it. Only what came after a change is measured: programs have up to LATENCY frames on the way.
"""

import collections
import json
import math
import operator
import os
import pathlib
import select
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
import unittest

from panel_session import TIME_LIMIT, Session, read_line

RATE = 48000
WINDOW = 4800  # frames that are measured; every tone has whole periods in them
LATENCY = 16000

# What is played to: playback channels 1 to 4, then the jacks' inputs: analog 1 to 4, digital 1 and 2.
PLAYBACK, JACKS_IN = 4, 6
# What is recorded: capture channels 1 to 6, then the jacks' outputs: line 1 and 2, digital 1 and 2.
CAPTURE, JACKS_OUT = 6, 4
SOURCES = PLAYBACK + JACKS_IN
TONES = [310 + 170 * number for number in range(SOURCES)]  # Hz
LOUDNESS = 0.25  # of each tone
SILENCE = 0.0005  # -54 dB below a tone: no trace of another channel
GOES_ON = 0.001  # how far a tone's next sample may be from where the two before it lead
SHORTEST_PIECE = 16  # frames: another tone crosses this one's way for some
CUT = 480  # frames that a cut is heard when the samples' rate is converted

# The source channels of each value of a routing.
INPUT_SOURCES = [(4, 5), (6, 7), (8, 9), (0, 1)]  # analog 1/2, analog 3/4, digital, loopback
OUTPUT_SOURCES = 5  # playback 1/2, playback 3/4, input pairs 0 to 2


def tone(number, frames, rate=RATE):
    step = 2 * math.pi * TONES[number] / rate
    return [LOUDNESS * math.sin(step * i) for i in range(frames)]


class Meter:
    """Measures the tones in a window of samples."""

    def __init__(self, rate=RATE):
        self.frames = WINDOW * rate // RATE
        steps = [2 * math.pi * hertz / rate for hertz in TONES]
        self.waves = [
            ([math.sin(step * i) for i in range(self.frames)], [math.cos(step * i) for i in range(self.frames)])
            for step in steps
        ]

    def amplitudes(self, samples):
        scale = 2 / self.frames
        return [
            scale * math.hypot(sum(map(operator.mul, samples, sine)), sum(map(operator.mul, samples, cosine)))
            for sine, cosine in self.waves
        ]

    def phase(self, samples, number):
        """That of a tone, in turns."""
        sine, cosine = self.waves[number]
        x, y = sum(map(operator.mul, samples, sine)), sum(map(operator.mul, samples, cosine))
        return math.atan2(y, x) / (2 * math.pi)

    def heard_around_holes(self, samples):
        """What is heard in a longer recording, where no cycle was missed.

        A missed cycle leaves silence, or a cut in the tone. Anything else between two pieces of the tone is "wrong".
        """
        windows = [self.amplitudes(samples[first : first + self.frames])
                   for first in range(0, len(samples) - self.frames + 1, self.frames)]
        loudest = max(range(SOURCES), key=lambda number: max(window[number] for window in windows))
        pieces = pieces_of(samples, TONES[loudest])
        if longest_between(pieces, len(samples)) > CUT:
            return "wrong"
        sounding = [piece for piece in pieces if any(samples[slice(*piece)])]
        first, end = max(sounding, key=lambda piece: piece[1] - piece[0], default=pieces[0])
        return self.heard(samples[first : first + self.frames]) if end - first >= self.frames else "wrong"

    def heard(self, samples):
        """The numbers of the tones in the samples; "wrong" when they are not as loud as they were played."""
        amplitudes = self.amplitudes(samples)
        loud = [number for number, amplitude in enumerate(amplitudes) if amplitude > SILENCE]
        if any(abs(amplitudes[number] - LOUDNESS) > 0.01 for number in loud):
            return "wrong"
        power = sum(map(operator.mul, samples, samples)) / self.frames
        if abs(power - len(loud) * LOUDNESS**2 / 2) > 0.0005:
            return "wrong"
        return tuple(loud)


def pieces_of(samples, hertz):
    """The first and the end of each piece in which a tone of this frequency goes on, or silence, at RATE."""
    twice = 2 * math.cos(2 * math.pi * hertz / RATE)
    breaks = [number for number, (before, now, after) in enumerate(zip(samples, samples[1:], samples[2:]), 1)
              if abs(before + after - twice * now) > GOES_ON]
    starts = [0, *(number + 1 for number in breaks)]
    return [(first, end) for first, end in zip(starts, [*breaks, len(samples)]) if end - first >= SHORTEST_PIECE]


def longest_between(pieces, frames):
    """The longest stretch without a piece."""
    edges = [0, *(edge for piece in pieces for edge in piece), frames]
    return max(end - first for first, end in zip(edges[::2], edges[1::2]))


class Routings:
    """The routings as this test sets them, and which tone each recorded channel then carries."""

    def __init__(self):
        self.outputs, self.inputs = [0, 1], [0, 1, 2]
        self.hears_digital = True

    def expected(self):
        inputs = [INPUT_SOURCES[value] for value in self.inputs]
        if not self.hears_digital:
            inputs = [(None, None) if pair == (8, 9) else pair for pair in inputs]
        outputs = [((0, 1), (2, 3), *inputs)[value] for value in self.outputs]
        return [() if channel is None else (channel,) for pair in inputs + outputs for channel in pair]


# Every value of every routing, the others as at the start.
VALUES = [("in", pair, value) for pair in range(3) for value in range(4)] + [
    ("out", pair, value) for pair in range(2) for value in range(OUTPUT_SOURCES)
]


class SoundSession(Session):
    def start_all(self, *, session_manager=True, configuration="", count=1):
        """PipeWire, its session manager and the driver, which answers and whose nodes have their ports at the return."""
        if configuration:
            self.configure(configuration)
        self.start_pipewire()
        if session_manager:
            self.watch_graph(lambda: True)  # the session manager ends when no server listens
            self.start("wireplumber", "wireplumber")
        self.start_driver("--count", count)
        self.start("watch", self.bin / "vx310ctl", "watch", stdout=subprocess.PIPE)
        self.wait_for_line("watch", "connected")
        self.end("watch")
        self.wait_for_ports(session_manager)

    def configure(self, sections, program="pipewire"):
        """Sections of the configuration of the server, or of all clients, beside the usual ones."""
        folder = self.folder / f"config/pipewire/{program}.conf.d"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "test.conf").write_text(sections)

    def wait_for_ports(self, session_manager=True):
        """Waits for the last ports; a session manager adds monitors to the sinks."""
        awaited = {"vx310-playback:playback_AUX3", "vx310-capture:capture_AUX5", "vx310-jacks-in:playback_AUX5",
                   "vx310-jacks-out:capture_AUX3"}
        if session_manager:
            awaited |= {"vx310-playback:monitor_AUX3", "vx310-jacks-in:monitor_AUX5"}
        self.watch_graph(lambda: awaited <= set(self.run("pw-link", "-io").split()))

    def watch_graph(self, is_done):
        """Asks after every change of the graph, until the answer is yes."""
        deadline = time.monotonic() + TIME_LIMIT
        while not self.monitor_until(is_done, deadline):
            # A server that was just started does not listen yet.
            if time.monotonic() > deadline:
                raise AssertionError(f"no server, or it does not become so: {self.run('pw-link', '-iol')}")

    def monitor_until(self, is_done, deadline):
        """False when there is no server, or no change before the deadline makes the answer yes."""
        output = self.start("monitor", "pw-dump", "--monitor", "--no-colors", stdout=subprocess.PIPE).stdout
        try:
            while select.select([output], [], [], max(0, deadline - time.monotonic()))[0]:
                if not os.read(output.fileno(), 1 << 20):
                    return False
                if is_done():
                    return True
                if time.monotonic() > deadline:  # asking changes the graph, too
                    return False
            return False
        finally:
            self.end("monitor", signal.SIGKILL)  # it may wait for a reader

    def play(self, name, second, channels, command, *, rate=RATE, header=True):
        """Starts a program that plays a file, whose path comes last: this second of samples again and again."""
        path = self.folder / f"{name}.wav"
        if not path.exists():
            os.mkfifo(path)
        data = wave_header(channels, rate) if header else b""
        threading.Thread(target=repeat, args=(path, data, second), daemon=True).start()
        return self.start(name, *command, path)

    def start_pulse(self):
        """PipeWire's server for PulseAudio programs, with a socket that they can connect to at the return."""
        path = self.folder / "runtime/pulse/native"
        path.parent.mkdir(mode=0o700)
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(str(path))
            listener.listen()
            given = listener.fileno()
            # As systemd gives it.
            self.start("pipewire-pulse", "sh", "-c", f"LISTEN_PID=$$ LISTEN_FDS=1 exec pipewire-pulse 3<&{given}",
                       pass_fds=(given,))

    def link(self, source, sink):
        self.run("pw-link", source, sink)

    def nodes(self):
        """The interface's nodes by their names: the properties of each."""
        found = {}
        # What changes meanwhile is printed behind it.
        for thing in json.JSONDecoder().raw_decode(self.run("pw-dump"))[0]:
            properties = thing.get("info", {}).get("props", {})
            if str(properties.get("node.name", "")).startswith("vx310"):
                found[properties["node.name"]] = {**properties, "info": thing["info"]}
        return found


class SoundTest(unittest.TestCase):
    build = None

    def setUp(self):
        self.session = SoundSession(self.build)
        self.addCleanup(self.session.close)

    def check_all_routings(self, program, values=VALUES):
        """Sets each routing to each of its values and compares the tones on all recorded channels."""
        session = self.session
        session.sim("digital-input", "valid", RATE)
        rows, wrong = [], 0
        program.catch_up()
        for direction, pair, value in values:
            routings = Routings()
            side = routings.inputs if direction == "in" else routings.outputs
            before, side[pair] = side[pair], value
            session.sim("routing", direction, pair, value)
            heard = program.heard()
            session.sim("routing", direction, pair, before)
            cells = []
            for got, wanted in zip(heard, routings.expected(), strict=True):
                wrong += got != wanted
                text = got if got == "wrong" else "+".join(str(number) for number in got) or "-"
                cells.append(text if got == wanted else f"{text}!")
            rows.append(f"{direction:>4} {pair} {value}  " + " ".join(f"{cell:>3}" for cell in cells))
        head = "routing     in1 in2 in3 in4 in5 in6 lo1 lo2 do1 do2   (tones: 0-3 playback, 4-7 analog, 8-9 digital)"
        table = "\n".join([head, *rows, f"{len(rows) * SOURCES - wrong} of {len(rows) * SOURCES} as expected"])
        print(table)
        self.assertEqual(wrong, 0, table)


Cycle = collections.namedtuple("Cycle", "frames rate position heard")


class JackClient:
    """A JACK client with a port for each channel of the interface, linked to it, or to its jacks. Plays the tones."""

    LATEST = 4  # cycles that samples are late when the machine was

    def __init__(self, session, rate=RATE, name="tones", tones=TONES, *, jacks_alone=False):
        self.session, self.meter, self.name = session, Meter(rate), name
        self.loops = [struct.pack(f"<{rate}f", *tone(number, rate, rate)) * 2 for number in range(SOURCES)]
        self.stream = session.start(name, sys.executable, pathlib.Path(__file__).parent / "jack_tones.py", name, rate,
                                    *tones, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        session.watch_graph(lambda: f"{name}:in9" in session.run("pw-link", "-io").split())
        for n in range(PLAYBACK if jacks_alone else 0, SOURCES):
            sink = f"vx310-playback:playback_AUX{n}" if n < PLAYBACK else f"vx310-jacks-in:playback_AUX{n - PLAYBACK}"
            session.link(f"{name}:out{n}", sink)
        for n in range(CAPTURE if jacks_alone else 0, SOURCES):
            source = f"vx310-capture:capture_AUX{n}" if n < CAPTURE else f"vx310-jacks-out:capture_AUX{n - CAPTURE}"
            session.link(source, f"{name}:in{n}")

    def ask(self, line):
        """The first line of the answer."""
        self.stream.stdin.write(f"{line}\n".encode())
        self.stream.stdin.flush()
        answer = read_line(self.stream.stdout, 2 * TIME_LIMIT)
        if answer is None:
            raise AssertionError(f"the JACK client hears nothing: {self.session.log(self.name)}")
        return answer

    def record(self):
        """What each recorded channel carries from now on, for one window."""
        self.rate, self.period, self.first, self.missed = (int(word) for word in self.ask("").split())
        data = read_bytes(self.stream.stdout, 4 * SOURCES * self.meter.frames)
        samples = struct.unpack(f"<{len(data) // 4}f", data)
        return [samples[n * self.meter.frames : (n + 1) * self.meter.frames] for n in range(SOURCES)]

    def heard(self):
        """The tones on each recorded channel."""
        return [self.meter.heard(samples) for samples in self.record()]

    def keep(self):
        """Keeps what is heard in each cycle from now on."""
        self.stream.stdin.write(b"keep\n")
        self.stream.stdin.flush()

    def cycles(self, rate, period, count):
        """Those that were kept until so many had run at this rate and period."""
        cycles = []
        for _ in range(int(self.ask(f"give {rate} {period} {count}"))):
            frames, at_rate, position = struct.unpack("<3I", read_bytes(self.stream.stdout, 12))
            data = read_bytes(self.stream.stdout, 4 * SOURCES * frames)
            heard = [data[4 * frames * n : 4 * frames * (n + 1)] for n in range(SOURCES)]
            cycles.append(Cycle(frames, at_rate, position, heard))
        return cycles

    def judge(self, cycles, routings):
        """Counts the cycles of each channel by what is heard, and lists those that are wrong.

        Right is what was played to the channel's source in the cycle before, bit by bit. When that cycle was shorter
        there is silence first, and when it was longer only its end is heard. A whole cycle may be silent, and after
        the machine was late samples come some cycles later than usual, but never twice and never at another rate.
        """
        counts, wrong = [collections.Counter() for _ in range(SOURCES)], []
        last = [-1] * SOURCES
        for number in range(self.LATEST, len(cycles)):
            cycle = cycles[number]
            for channel, source in enumerate(routings.expected()):
                heard = cycle.heard[channel]
                if heard.count(0) == len(heard):
                    counts[channel]["silent"] += 1
                    continue
                for late in range(1, self.LATEST + 1):
                    if source and heard == self.end_of(cycles[number - late], source[0], cycle.frames):
                        break
                else:
                    wrong.append((number, channel, cycle.frames, "another sound"))
                    continue
                if cycles[number - late].rate != cycle.rate:
                    wrong.append((number, channel, cycle.frames, f"samples of {cycles[number - late].rate} Hz"))
                elif number - late <= last[channel]:
                    wrong.append((number, channel, cycle.frames, "samples that were heard before"))
                counts[channel]["right" if late == 1 else "late"] += 1
                last[channel] = number - late
        return counts, wrong

    def end_of(self, cycle, number, frames):
        """The last samples of what a tone's output played in a cycle, after silence when it has not so many."""
        count = min(cycle.frames, frames)
        end = 4 * (cycle.position + cycle.frames)
        return bytes(4 * (frames - count)) + self.loops[number][end - 4 * count : end]

    def catch_up(self):
        """A JACK client is never late."""

    def close(self):
        """Ends the client, once."""
        if self.name in self.session.processes:
            self.stream.stdin.close()
            self.session.end(self.name, signal.SIGKILL)


def read_bytes(stream, count):
    data = bytearray()
    while len(data) < count:
        ready, _, _ = select.select([stream], [], [], TIME_LIMIT)
        part = os.read(stream.fileno(), count - len(data)) if ready else b""
        if not part:
            raise AssertionError("no more samples come")
        data += part
    return bytes(data)


def second_of_tones(channels):
    """A second of the tones with these numbers, interleaved. Each has whole periods in it."""
    tones = [tone(number, RATE) for number in channels]
    return b"".join(struct.pack(f"<{len(channels)}f", *frame) for frame in zip(*tones))


def wave_header(channels, rate):
    """Of a file of floating-point samples that is as long as it can be."""
    longest = 0x7FFFFF00
    form = struct.pack("<HHIIHH", 3, channels, rate, rate * channels * 4, channels * 4, 32)
    return (b"RIFF" + struct.pack("<I", longest) + b"WAVEfmt " + struct.pack("<I", len(form)) + form
            + b"data" + struct.pack("<I", longest - 36))


def repeat(path, data, second):
    """Writes until the reader has gone."""
    try:
        with open(path, "wb", buffering=0) as pipe:
            pipe.write(data)
            while True:
                pipe.write(second)
    except BrokenPipeError:
        pass


def aux(channels):
    return ",".join(f"AUX{n}" for n in range(channels))


class Recording:
    """A program that prints interleaved floating-point samples without an end.

    A thread reads them all the time, so that none wait in the program while the test does something else.
    """

    def __init__(self, session, name, channels, *command):
        self.session, self.name, self.channels = session, name, channels
        self.samples, self.keeps, self.changed = bytearray(), False, threading.Condition()
        stream = session.start(name, *command, stdout=subprocess.PIPE).stdout
        threading.Thread(target=self.read, args=(os.dup(stream.fileno()),), daemon=True).start()

    def close(self):
        self.session.end(self.name, signal.SIGKILL)  # it may wait for a reader

    def read(self, descriptor):
        with os.fdopen(descriptor, "rb", buffering=0) as stream:
            while part := stream.read(65536):
                with self.changed:
                    self.samples += part
                    if not self.keeps:
                        del self.samples[: len(self.samples) // (4 * self.channels) * 4 * self.channels]
                    self.changed.notify()

    def keep(self):
        """Keeps what comes from now on, until it is taken."""
        with self.changed:
            self.keeps = True

    def wait_for_sound(self):
        """Waits until what is kept from now on is not silence only."""
        with self.changed:
            first = len(self.samples)
            if not self.changed.wait_for(lambda: any(self.samples[first:]), TIME_LIMIT):
                raise AssertionError(f"only silence comes: {self.session.log(self.name)}")

    def wait_for(self, frames):
        """Waits until so many are kept; returns how many."""
        with self.changed:
            if not self.changed.wait_for(lambda: self.kept() >= frames, TIME_LIMIT):
                raise AssertionError(f"no more samples come: {self.session.log(self.name)}")
            return self.kept()

    def kept(self):
        return len(self.samples) // (4 * self.channels)

    def take(self):
        """The samples of each channel that were kept."""
        with self.changed:
            self.keeps = False
            count = self.kept() * self.channels
            samples = struct.unpack_from(f"<{count}f", self.samples)
            del self.samples[: 4 * count]
        return [samples[channel :: self.channels] for channel in range(self.channels)]
