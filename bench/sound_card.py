#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures the processor time that the driver takes for each period of audio, beside two pw-loopback of the same
channels in the same graph, which only copy.

usage: sound_card.py BUILD_FOLDER [SECONDS]     how long each period is measured (10)

Programs play to all channels and record them, ours and the reference's. Needs a session manager (wireplumber).
Everything runs on one processor: on several, a thread that the scheduler wakes on an idle one costs up to
twice as much, and which thread that is differs from run to run.
"""

import os
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
from sound_session import RATE, SoundSession, aux, second_of_tones  # noqa: E402

PERIODS = (64, 256, 1024)
# What is played to, what is recorded, and how many channels.
OURS = (("vx310-playback", "vx310-jacks-out", 4), ("vx310-jacks-in", "vx310-capture", 6))
REFERENCE = (("loop4-in", "loop4-out", 4), ("loop6-in", "loop6-out", 6))


def processor_time(process):
    """Nanoseconds of all threads."""
    tasks = pathlib.Path(f"/proc/{process.pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks)


def main():
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    session, seconds = SoundSession(sys.argv[1]), float(sys.argv[2]) if len(sys.argv) > 2 else 10
    try:
        session.start_all()
        session.sim("digital-input", "valid", RATE)
        for sink, source, channels in REFERENCE:
            places = f"[ {aux(channels).replace(',', ' ')} ]"
            session.start(sink, "pw-loopback", "-c", channels, "-m", places,
                          f"--capture-props=media.class=Audio/Sink node.name={sink}",
                          f"--playback-props=media.class=Audio/Source node.name={source}")
        session.watch_graph(lambda: "loop6-out:capture_AUX5" in session.run("pw-link", "-io"))
        links = 0
        for sink, source, channels in OURS + REFERENCE:
            session.play(f"play {sink}", second_of_tones(range(channels)), channels,
                         ("pw-play", "--target", sink, "--channel-map", aux(channels)))
            session.start(f"record {source}", "pw-record", "--target", source, "--channels", channels,
                          "--channel-map", aux(channels), "/dev/null")
            links += 2 * channels
        session.watch_graph(lambda: session.run("pw-link", "-l").count("|->") == links)
        print("period  driver us  loopbacks us  ratio")
        for period in PERIODS:
            session.run("pw-metadata", "-n", "settings", "0", "clock.force-quantum", period)
            time.sleep(1)  # until the graph has changed
            groups = [[session.processes["driver"]], [session.processes[sink] for sink, *_ in REFERENCE]]
            before = [sum(map(processor_time, group)) for group in groups]
            time.sleep(seconds)
            after = [sum(map(processor_time, group)) for group in groups]
            ours, reference = ((end - start) / 1000 / (seconds * RATE / period) for start, end in zip(before, after))
            print(f"{period:6}{ours:11.1f}{reference:14.1f}{ours / reference:7.2f}", flush=True)
    finally:
        session.close()


if __name__ == "__main__":
    main()
