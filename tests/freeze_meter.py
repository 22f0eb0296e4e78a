# SPDX-License-Identifier: MIT
"""Measures how long a program's main thread fails to answer: pings its window as a window manager does.

Each ping (_NET_WM_PING of the Extended Window Manager Hints) is answered by the thread that handles the
window's events. The freeze is the longest time from a ping to its answer.
"""

import select
import threading
import time

from Xlib import X, Xatom, display
from Xlib.protocol import event

INTERVAL = 0.02  # seconds between pings
LIMIT = 60  # seconds for the last answers


class FreezeMeter:
    """Measures from its making to stop(). `title` is the window's."""

    def __init__(self, title):
        self.display = display.Display()
        self.root = self.display.screen().root
        # What a window manager selects; answers go to whoever has done so.
        self.root.change_attributes(event_mask=X.SubstructureNotifyMask | X.SubstructureRedirectMask)
        self.protocols = self.display.intern_atom("WM_PROTOCOLS")
        self.ping = self.display.intern_atom("_NET_WM_PING")
        self.window = self.find(title)
        self.sent = {}
        self.longest = 0.0
        self.answered = 0
        self.ending = threading.Event()
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def find(self, title):
        name = self.display.intern_atom("_NET_WM_NAME")
        waiting = [self.root]
        while waiting:
            window = waiting.pop()
            found = window.get_full_property(name, X.AnyPropertyType) or window.get_full_property(Xatom.WM_NAME, X.AnyPropertyType)
            value = found.value if found else b""
            if (value.decode() if isinstance(value, bytes) else value) == title:
                return window
            waiting += window.query_tree().children
        raise LookupError(f"there is no window {title!r}")

    def run(self):
        number = 0
        due = time.monotonic()
        while not self.ending.is_set() or self.sent:
            now = time.monotonic()
            if now >= due and not self.ending.is_set():
                number += 1
                due = now + INTERVAL
                self.sent[number] = now
                message = event.ClientMessage(
                    window=self.window,
                    client_type=self.protocols,
                    data=(32, [self.ping, number, self.window.id, 0, 0]),
                )
                self.window.send_event(message, event_mask=X.NoEventMask)
                self.display.flush()
            select.select([self.display], [], [], INTERVAL / 2)
            while self.display.pending_events():
                self.take(self.display.next_event())

    def take(self, received):
        if received.type & 0x7F != X.ClientMessage or received.client_type != self.protocols:
            return
        kind, number = received.data[1][:2]
        if kind == self.ping and number in self.sent:
            self.answered += 1
            self.longest = max(self.longest, time.monotonic() - self.sent.pop(number))

    def stop(self):
        """Waits for the last answers; the longest freeze in seconds."""
        self.ending.set()
        self.thread.join(LIMIT)
        if self.thread.is_alive() or self.sent or not self.answered:
            raise AssertionError(f"{self.answered} pings answered, {len(self.sent)} not")
        self.display.close()
        return self.longest
