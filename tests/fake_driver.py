# SPDX-License-Identifier: MIT
"""A driver service that nobody would want, for tests: it publishes many services, answers slowly or never,
and sends floods of messages.

usage: fake_driver.py [--services N] [--class NAME] [--answer-after MS | --silent] [--unlisted]
                      [--flood MESSAGES_PER_SECOND SECONDS] [--payload COMMAND WORD...]...
Unlisted, it does not answer who asks for the list of its services. Its answers are the requests; to a
command with a payload, the first words are these.
Prints "ready" once it owns the name. A flood begins when a line arrives on standard input.
"""

import argparse
import socket
import struct
import sys
import threading
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "com.vantrel.Driver1"
PATH = "/com/vantrel/Driver1"
SERVICE = "com.vantrel.Driver1.Service"
VX310 = "LumKernelDeviceVantrelVX310"
STATE_CHANGED = struct.pack("<II28x", 36, 3)
MESSAGE_TYPE = 0xE0000130


class FakeDriver:
    def __init__(self, options):
        self.options = options
        self.paths = [f"{PATH}/Service{number}" for number in range(options.services)]
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        self.bus.add_filter(self.filter)
        self.open = []
        self.payloads = {command: words for command, *words in options.payload}

    def filter(self, _bus, message, incoming):
        """Answers calls on the thread on which they arrive."""
        if not incoming or message.get_message_type() != Gio.DBusMessageType.METHOD_CALL:
            return message
        reply = Gio.DBusMessage.new_method_reply(message)
        member = message.get_member()
        if member == "GetManagedObjects" and self.options.unlisted:
            return None
        if member == "GetManagedObjects":
            reply.set_body(self.listed())
        elif member == "Get":
            reply.set_body(GLib.Variant("(v)", (GLib.Variant("a{sv}", {}),)))
        elif member == "Open":
            mine, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            self.open.append(mine)
            descriptors = Gio.UnixFDList.new()
            index = descriptors.append(theirs.fileno())
            theirs.close()
            reply.set_unix_fd_list(descriptors)
            reply.set_body(GLib.Variant("(h)", (index,)))
            threading.Thread(target=self.serve, args=(mine,), daemon=True).start()
        else:
            return message
        self.bus.send_message(reply, Gio.DBusSendMessageFlags.NONE)
        return None

    def listed(self):
        name = GLib.Variant("s", self.options.class_name)
        return GLib.Variant("(a{oa{sa{sv}}})", ({path: {SERVICE: {"ClassName": name}} for path in self.paths},))

    def serve(self, channel):
        while request := channel.recv(1024):
            if not self.options.silent:
                time.sleep(self.options.answer_after / 1000)
                (command,) = struct.unpack_from("<I", request, 4)
                payload = struct.pack(f"<{len(words)}I", *words) if (words := self.payloads.get(command)) else b""
                answer = request[4:8] + payload + request[8 + len(payload) :]
                try:
                    channel.send(answer)
                except OSError:
                    return

    def flood(self):
        rate, seconds = self.options.flood
        argument = GLib.Variant("(uay)", (MESSAGE_TYPE, STATE_CHANGED))
        begin = time.monotonic()
        for number in range(rate * seconds):
            self.bus.emit_signal(None, self.paths[0], SERVICE, "Message", argument)
            ahead = begin + number / rate - time.monotonic()
            if ahead > 0.01:
                time.sleep(ahead)
        self.bus.flush_sync(None)

    def run(self):
        owned = lambda *_: print("ready", flush=True)
        Gio.bus_own_name_on_connection(self.bus, NAME, Gio.BusNameOwnerFlags.NONE, owned, None)
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()
        for _ in sys.stdin:
            self.flood()
            print("flooded", flush=True)
        threading.Event().wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--services", type=int, default=1)
    parser.add_argument("--class", dest="class_name", default=VX310)
    parser.add_argument("--answer-after", type=int, default=0)
    parser.add_argument("--silent", action="store_true")
    parser.add_argument("--unlisted", action="store_true")
    number = lambda word: int(word, 0)
    parser.add_argument("--payload", type=number, nargs="+", action="append", default=[])
    parser.add_argument("--flood", type=int, nargs=2)
    FakeDriver(parser.parse_args()).run()


if __name__ == "__main__":
    main()
