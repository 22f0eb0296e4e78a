#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the cycles that the graph misses with the sound card in it, and checks its latency, at several periods.

usage: sound_graph.py BUILD_FOLDER [SECONDS]     how long altogether (600)

A JACK client plays a tone to each channel and records all. "late" are windows of a tenth of a second that are whole
but not exactly one period later than what was played. Missed cycles of the card's nodes are what pw-top calls errors.
"""

import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import struct
import sys
import termios
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
from sound_session import RATE, TONES, JackClient, Routings, SoundSession  # noqa: E402

PERIODS = (64, 256, 1024)
ERRORS = re.compile(r"(\d+)\s+F32P \d+ \d+\s+\+?\s*(vx310-[a-z-]+)")


def errors(session):
    """The missed cycles of the card's nodes since they were made, as the last picture of pw-top shows them."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("4H", 60, 200, 0, 0))
    session.start("pw-top", "pw-top", stdout=theirs, stdin=theirs, env={**os.environ, "TERM": "xterm"})
    os.close(theirs)
    text, end = b"", time.monotonic() + 5
    while time.monotonic() < end:
        if select.select([ours], [], [], 0.5)[0]:
            text += os.read(ours, 65536)
    session.end("pw-top", signal.SIGKILL)
    os.close(ours)
    plain = re.sub(r"\x1b[\[(][0-9;?]*[A-Za-z]", " ", text.decode(errors="replace"))
    counts = {name: int(count) for count, name in ERRORS.findall(plain)}
    if len(counts) != 4:
        raise AssertionError(f"pw-top shows {counts} in {plain}")
    return sum(counts.values())


def is_one_period_late(client, channels):
    late = client.first - client.period
    for samples, (number,) in zip(channels, Routings().expected(), strict=True):
        turns = client.meter.phase(samples, number) - TONES[number] * late / RATE
        if abs(turns - round(turns)) > 0.001:
            return False
    return True


def main():
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 600
    session = SoundSession(sys.argv[1])
    try:
        session.start_all(session_manager=False)
        session.sim("digital-input", "valid", RATE)
        print("period  seconds  cycles  client missed  card missed  windows  wrong  late", flush=True)
        for period in PERIODS:
            session.run("pw-metadata", "-n", "settings", "0", "clock.force-quantum", period)
            client = JackClient(session)
            client.record()
            missed, card, start = client.missed, errors(session), time.monotonic()
            windows = wrong = late = 0
            while time.monotonic() < start + seconds / len(PERIODS):
                channels = client.record()
                windows += 1
                if [client.meter.heard(samples) for samples in channels] != Routings().expected():
                    wrong += 1
                elif not is_one_period_late(client, channels):
                    late += 1
            took = time.monotonic() - start
            print(f"{period:6}{took:9.0f}{took * RATE / period:8.0f}{client.missed - missed:15}"
                  f"{errors(session) - card:13}{windows:9}{wrong:7}{late:6}", flush=True)
            client.close()
    finally:
        session.close()


if __name__ == "__main__":
    main()
