# SPDX-License-Identifier: MIT
"""The examples of docs/driver-protocol.md, played to the driver service: each byte of them must be true.

usage: protocol_examples_test.py BUILD_FOLDER Class.test_method
A block whose language is "exchange" is requests and answers on one connection, "bus" is calls, replies and
signals on the session bus; the document says how to read them. Each block gets a driver service of its own.
The blocks "pod" are compared by platform/pipewire/routing_property_test.cpp.
"""

import os
import pathlib
import queue
import re
import shlex
import socket
import sys
import unittest

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from panel_session import TIME_LIMIT, Session  # noqa: E402

BUILD = None
TOP = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = TOP / "docs/driver-protocol.md"
COMMANDS = TOP / "protocol/dispatch.h"

DRIVER = "com.vantrel.Driver1"
PATH = "/com/vantrel/Driver1"
SERVICE = "com.vantrel.Driver1.Service"
MESSAGE_TYPE = 0xE0000130

# How many bytes each kind of line stands for; 0: exactly those on display.
SIZES = {"packet": 264, "request": 260, "answer": 260, "failure": 0, "message": 36}
# Kinds of lines with words instead of bytes.
WORDS = ("before", "closed", "signal", "call", "reply", "error")
LINE = re.compile(r"([a-z]*) +(\d+)  ([0-9a-f]{2}(?: {1,2}[0-9a-f]{2})*) *(?:#.*)?$")


def blocks(language, text=None):
    """The lines of each fenced block of that language, with the number of the first."""
    text = DOCUMENT.read_text(encoding="utf-8") if text is None else text
    for found in re.finditer(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        yield text[: found.start(1)].count("\n") + 1, found.group(1).splitlines()


def parse(lines):
    """The steps of a block: pairs of a kind and its bytes or words."""
    steps = []
    for line in lines:
        if found := LINE.match(line):
            kind, offset, shown = found.groups()
            if kind:
                steps.append((kind, bytearray(SIZES[kind])))
            data, shown = steps[-1][1], bytes.fromhex(shown)
            end = int(offset) + len(shown)
            if SIZES[steps[-1][0]] == 0:
                data.extend(bytes(max(0, end - len(data))))
            if end > len(data):
                raise ValueError(f"beyond the end: {line}")
            data[int(offset) : end] = shown
        elif line.startswith(" ") and steps:
            steps[-1] = (steps[-1][0], f"{steps[-1][1]} {line.strip()}")
        elif line.split(" ")[0] in WORDS:
            kind, _, words = line.partition(" ")
            steps.append((kind, words.strip()))
        else:
            raise ValueError(f"not understood: {line}")
    return [(kind, bytes(step) if isinstance(step, bytearray) else step) for kind, step in steps]


def dump(data):
    """The bytes, four words to a line; lines of zeros are left out."""
    lines = [f"{at:>4}  {data[at:at + 16].hex(' ', 4)}" for at in range(0, len(data), 16) if any(data[at : at + 16])]
    return "\n".join([f"{len(data)} bytes", *lines])


class Driver:
    """A driver service and a client of it, which keeps the signals that it receives."""

    def __init__(self, session):
        self.session = session
        self.signals = queue.Queue()
        flags = (
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        )
        address = os.environ["DBUS_SESSION_BUS_ADDRESS"]
        self.bus = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
        self.bus.add_filter(self.filter)
        for rule in (f"sender='{DRIVER}'", f"member='NameOwnerChanged',arg0='{DRIVER}'"):
            arguments = GLib.Variant("(s)", (f"type='signal',{rule}",))
            self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus.AddMatch", arguments)
        session.start_driver()
        self.next_signal("NameOwnerChanged")
        self.paths = list(self.call(DRIVER, PATH, "org.freedesktop.DBus.ObjectManager.GetManagedObjects")[0])

    def close(self):
        self.bus.close_sync(None)
        self.session.end("driver")

    def filter(self, _bus, message, incoming):
        if incoming and message.get_message_type() == Gio.DBusMessageType.SIGNAL:
            self.signals.put(message)
        return message

    def next_signal(self, member):
        """The next signal with this name; those before it are dropped."""
        try:
            while (signal := self.signals.get(timeout=TIME_LIMIT)).get_member() != member:
                pass
            return signal
        except queue.Empty:
            raise AssertionError(f"the driver did not send {member} within {TIME_LIMIT} s") from None

    def received(self):
        """The signals that the driver has sent by now."""
        self.call(DRIVER, PATH, "org.freedesktop.DBus.Peer.Ping")
        signals = []
        while not self.signals.empty():
            signals.append(self.signals.get())
        return [signal for signal in signals if signal.get_member() != "NameOwnerChanged"]

    def call(self, name, path, method, arguments=None):
        return self.call_with_descriptors(name, path, method, arguments)[0]

    def call_with_descriptors(self, name, path, method, arguments):
        interface, _, member = method.rpartition(".")
        words = (name, path, interface, member, arguments, None, Gio.DBusCallFlags.NO_AUTO_START)
        return self.bus.call_with_unix_fd_list_sync(*words, TIME_LIMIT * 1000, None, None)

    def open(self):
        arguments = GLib.Variant("(u)", (2,))
        _, descriptors = self.call_with_descriptors(DRIVER, self.paths[0], f"{SERVICE}.Open", arguments)
        connection = socket.socket(fileno=descriptors.steal_fds()[0])
        connection.settimeout(TIME_LIMIT)
        return connection


class Examples(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)

    def play(self, language, take):
        """Gives each block of that language to `take`, with a new driver service."""
        found = list(blocks(language))
        self.assertTrue(found, f"{DOCUMENT.name} has no block {language}")
        for line, text in found:
            with self.subTest(f"{DOCUMENT.name}:{line}: {text[0]}"):
                driver = Driver(self.session)
                try:
                    take(driver, parse(text))
                finally:
                    driver.close()

    def prepare(self, command):
        program, *words = shlex.split(command)
        self.assertEqual("vx310ctl", program)
        self.session.ctl(*words)

    # Exchanges ----------------------------------------------------------------------------------

    def test_each_exchange_has_these_bytes(self):
        self.play("exchange", self.exchange)

    def exchange(self, driver, steps):
        while steps[0][0] == "before":
            self.prepare(steps.pop(0)[1])
        driver.received()
        with driver.open() as connection:
            for kind, expected in steps:
                self.take(driver, connection, kind, expected)
            if ("closed", "") not in steps:
                self.assertEqual([], self.arguments(driver), "more messages")

    def take(self, driver, connection, kind, expected):
        if kind == "request":
            connection.send(bytes(4) + expected)
        elif kind == "packet":
            connection.send(expected)
        elif kind in ("answer", "failure"):
            self.assertEqual(dump(expected), dump(connection.recv(1024)))
        elif kind == "message":
            self.assertEqual([dump(expected)], [dump(data) for data in self.arguments(driver)])
        elif kind == "closed":
            self.assertEqual(b"", connection.recv(1024))
        elif kind == "signal":
            self.assertEqual(expected, driver.next_signal(expected).get_member())
        else:
            self.fail(f"a block of exchanges has no line '{kind}'")

    def arguments(self, driver):
        """The arguments of the driver messages received."""
        messages = [signal.get_body() for signal in driver.received() if signal.get_member() == "Message"]
        for message in messages:
            self.assertEqual(MESSAGE_TYPE, message[0])
        return [bytes(message[1]) for message in messages]

    # The bus ------------------------------------------------------------------------------------

    def test_each_call_and_signal_on_the_bus_has_these_values(self):
        self.play("bus", self.on_the_bus)

    def on_the_bus(self, driver, steps):
        answer = None
        for kind, words in steps:
            if kind == "before":
                self.prepare(words)
            elif kind == "call":
                answer = self.answer(driver, words)
            elif kind in ("reply", "error"):
                self.assertEqual((kind, self.value(words)), answer)
            elif kind == "signal":
                path, member, body = words.split(" ", 2)
                signal = driver.next_signal(member.rpartition(".")[2])
                self.assertEqual(path, signal.get_path())
                self.assertEqual(member, f"{signal.get_interface()}.{signal.get_member()}")
                self.assertEqual(self.value(body), self.services(signal.get_body()))
            else:
                self.fail(f"a block of the bus has no line '{kind}'")

    def answer(self, driver, words):
        """What the driver replies: ("reply", values) or ("error", name)."""
        path, method, arguments = words.split(" ", 2)
        try:
            reply, descriptors = driver.call_with_descriptors(
                DRIVER, path, method, GLib.Variant.parse(None, arguments, None, None)
            )
        except GLib.Error as error:
            return "error", Gio.DBusError.get_remote_error(error)
        for descriptor in descriptors.steal_fds() if descriptors else ():
            with socket.socket(fileno=descriptor) as connection:
                self.assertEqual(socket.SOCK_SEQPACKET, connection.type)
        return "reply", self.services(reply)

    @staticmethod
    def value(text):
        """Values in GLib's text form, printed in one way; other texts as they are."""
        try:
            return GLib.Variant.parse(None, text, None, None).print_(True)
        except GLib.Error:
            return text

    @staticmethod
    def services(body):
        """The values, without the standard interfaces that a bus library lists beside the service's."""
        text = body.print_(True)
        return re.sub(r"('org\.freedesktop\.DBus\.\w+')(: \{\}|: @a\{sv\} \{\})?(, )?", "", text)


class Reader(unittest.TestCase):
    """No command is without an example, and what is no example is seen."""

    def test_each_command_has_an_example(self):
        numbers = set(re.findall(r"^  k\w+ = (\d+),$", COMMANDS.read_text(encoding="utf-8"), re.MULTILINE))
        self.assertGreater(len(numbers), 40)
        steps = [step for _, lines in blocks("exchange") for step in parse(lines)]
        shown = {str(int.from_bytes(data[:4], "little")) for kind, data in steps if kind == "request"}
        shown |= {str(int.from_bytes(data[4:8], "little")) for kind, data in steps if kind == "packet"}
        self.assertEqual(set(), numbers - shown, "commands without an example")

    def test_bytes_stand_at_their_offsets(self):
        steps = parse(["request   0  11 00 00 00  02  # one", "          8  80 bb", "failure   0  11 00 00 00"])
        self.assertEqual([("request", bytes([0x11, 0, 0, 0, 2, 0, 0, 0, 0x80, 0xBB]) + bytes(250)),
                          ("failure", bytes([0x11, 0, 0, 0]))], steps)

    def test_bytes_beyond_the_end_are_a_fault(self):
        with self.assertRaises(ValueError):
            parse(["answer  259  00 00"])

    def test_a_line_that_is_no_example_is_a_fault(self):
        for line in ("request  0  1g", "requests 0 11", "anything"):
            with self.subTest(line), self.assertRaises((ValueError, KeyError)):
                parse([line])


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
