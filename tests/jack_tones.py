# SPDX-License-Identifier: MIT
"""A JACK client with ten outputs that play a tone each, and ten inputs.

usage: jack_tones.py NAME RATE HERTZ...     a word of ODD for HERTZ: this sample all the time

It is a process of its own, since it is ended by a signal. It obeys the lines on standard input:

an empty line    Prints one line, the graph's rate and period, the tones' position at the first sample and how many
                 cycles were missed since the start, and then the samples of one window of all inputs, one input after
                 the other: the samples that arrive from then on, but for as many as a change needs to get through. The
                 window is a tenth of a second at RATE, and begins once the graph runs at RATE. It begins anew after a
                 cycle that the machine missed: the samples of such a cycle say nothing about the interface.
keep             Keeps what is heard in each cycle from now on.
give RATE PERIOD COUNT
                 Once so many cycles have run at this rate and period, prints how many were kept, on one line, and each
                 of them: a CYCLE and the samples of all inputs, one input after the other. Goes on keeping.
"""

import ctypes
import math
import os
import pathlib
import select
import struct
import sys
import time

LOUDNESS = 0.25
ODD = {"inf": math.inf, "-inf": -math.inf, "nan": math.nan, "denormal": 1e-40}
TIME_LIMIT = 20  # seconds for a window without a missed cycle
LONGEST_PERIOD = 8192
CYCLE = struct.Struct("<3I")  # the frames, the rate, the tones' position
AUDIO = b"32 bit float mono audio"
IS_INPUT, IS_OUTPUT = 1, 2


def library_of_jack():
    """PipeWire's own, which is not in the linker's path."""
    for path in pathlib.Path("/usr/lib").glob("*/pipewire-0.3/jack/libjack.so.0"):
        return ctypes.CDLL(str(path))
    raise FileNotFoundError("pipewire-jack is not installed")


class Client:
    def __init__(self, name, rate, tones):
        self.jack, self.rate = library_of_jack(), rate
        for function, result, *arguments in (
            ("jack_client_open", ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int, ctypes.c_void_p),
            ("jack_port_register", ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_ulong,
             ctypes.c_ulong),
            ("jack_port_get_buffer", ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint32),
            ("jack_set_process_callback", ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p),
            ("jack_set_xrun_callback", ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p),
            ("jack_activate", ctypes.c_int, ctypes.c_void_p),
            ("jack_last_frame_time", ctypes.c_uint32, ctypes.c_void_p),
            ("jack_get_sample_rate", ctypes.c_uint32, ctypes.c_void_p),
            ("jack_get_buffer_size", ctypes.c_uint32, ctypes.c_void_p),
        ):
            getattr(self.jack, function).restype = result
            getattr(self.jack, function).argtypes = arguments
        self.client = self.jack.jack_client_open(name.encode(), 1, None)  # starts no server
        if not self.client:
            raise SystemExit("no JACK server")
        # A second of each tone, and the beginning again, so that every period is in one piece.
        self.loops = []
        for word in tones:
            step = 0 if word in ODD else 2 * math.pi * float(word) / rate
            wave = [ODD[word]] * rate if word in ODD else [LOUDNESS * math.sin(step * i) for i in range(rate)]
            self.loops.append((ctypes.c_float * (rate + LONGEST_PERIOD))(*wave, *wave[:LONGEST_PERIOD]))
        self.window = rate // 10
        self.samples = [(ctypes.c_float * self.window)() for _ in tones]
        ports = range(len(tones))
        self.outputs = [self.port(b"out%d" % n, IS_OUTPUT) for n in ports]
        self.inputs = [self.port(b"in%d" % n, IS_INPUT) for n in ports]
        self.position = self.to_skip = self.skip = self.first = self.next_time = 0
        self.missed = self.missed_before = 0
        self.kept = self.window
        self.keeps, self.cycles, self.awaited, self.awaited_clock = False, [], 0, None
        self.done, self.done_end = os.pipe()
        self.callback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_uint32, ctypes.c_void_p)(self.process)
        self.jack.jack_set_process_callback(self.client, self.callback, None)
        self.xrun_callback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)(self.missed_cycle)
        self.jack.jack_set_xrun_callback(self.client, self.xrun_callback, None)
        self.jack.jack_activate(self.client)

    def port(self, name, kind):
        return self.jack.jack_port_register(self.client, name, AUDIO, kind, 0)

    def missed_cycle(self, _=None):
        self.missed += 1
        return 0

    def process(self, frames, _):
        now = self.jack.jack_last_frame_time(self.client)
        if now != self.next_time:
            self.missed_cycle()
        self.next_time = (now + frames) % 2**32
        get = self.jack.jack_port_get_buffer
        start = 4 * (self.position % self.rate)
        for port, loop in zip(self.outputs, self.loops):
            ctypes.memmove(get(port, frames), ctypes.addressof(loop) + start, 4 * frames)
        self.position += frames
        if self.keeps:
            rate = self.jack.jack_get_sample_rate(self.client)
            heard = b"".join(ctypes.string_at(get(port, frames), 4 * frames) for port in self.inputs)
            self.cycles.append(CYCLE.pack(frames, rate, start // 4) + heard)
            if self.awaited > 0 and (rate, frames) == self.awaited_clock:
                self.awaited -= 1
                if self.awaited == 0:
                    os.write(self.done_end, b"1")
        if self.kept < self.window and self.jack.jack_get_sample_rate(self.client) == self.rate:
            if self.missed != self.missed_before:
                self.missed_before, self.skip, self.kept = self.missed, self.to_skip, 0
            if self.skip > 0:
                self.skip -= frames
                return 0
            if self.kept == 0:
                self.first = self.position - frames
            count = min(frames, self.window - self.kept)
            for port, samples in zip(self.inputs, self.samples):
                ctypes.memmove(ctypes.addressof(samples) + 4 * self.kept, get(port, frames), 4 * count)
            self.kept += count
            if self.kept == self.window:
                os.write(self.done_end, b"1")
        return 0

    def record(self):
        period = self.jack.jack_get_buffer_size(self.client)
        # Three periods for the change, and what links that are being made need.
        self.to_skip = 4 * period + self.rate // 10
        before, limit = self.missed, time.monotonic() + TIME_LIMIT
        is_whole = False
        while not is_whole:
            self.missed_before, self.skip, self.kept = self.missed, self.to_skip, 0
            if not select.select([self.done], [], [], max(0, limit - time.monotonic()))[0]:
                raise SystemExit(f"no window in {TIME_LIMIT} s; {self.missed - before} cycles missed")
            os.read(self.done, 1)
            is_whole = self.missed == self.missed_before
        head = f"{self.jack.jack_get_sample_rate(self.client)} {period} {self.first} {self.missed}\n".encode()
        return head + b"".join(bytes(samples) for samples in self.samples)

    def give(self, rate, period, count):
        self.awaited_clock = (rate, period)
        self.awaited = count
        if not select.select([self.done], [], [], TIME_LIMIT)[0]:
            raise SystemExit(f"no {count} cycles of {period} frames at {rate} Hz in {TIME_LIMIT} s")
        os.read(self.done, 1)
        kept = len(self.cycles)
        given = b"".join(self.cycles[:kept])
        del self.cycles[:kept]
        return f"{kept}\n".encode() + given


def main():
    client = Client(sys.argv[1], int(sys.argv[2]), sys.argv[3:])
    for line in sys.stdin:
        word, *numbers = line.split() or [""]
        if word == "keep":
            client.keeps = True
            continue
        sys.stdout.buffer.write(client.give(*map(int, numbers)) if word == "give" else client.record())
        sys.stdout.buffer.flush()


if __name__ == "__main__":
    main()
