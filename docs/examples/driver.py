#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A driver of one VX-310 that exists only in this file: an example of the driver protocol.

    /usr/bin/python3 driver.py

It serves an interface with its clock, its digital output and its routings on the session bus, until it is
terminated, and has no audio device. SIGUSR1 makes the interface leave, and come back half a second later. It
takes Debian's package python3-gi. A driver for hardware asks it in Interface.answer, or earlier: an answer has to
be there within 20 ms.
"""

import signal
import socket
import struct
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "com.vantrel.Driver1"
ROOT = "/com/vantrel/Driver1"
SERVICE = "com.vantrel.Driver1.Service"
MEMBERS = Gio.DBusNodeInfo.new_for_xml("""<node>
  <interface name="org.freedesktop.DBus.ObjectManager">
    <method name="GetManagedObjects"><arg type="a{oa{sa{sv}}}" direction="out"/></method>
    <signal name="InterfacesAdded"><arg type="o"/><arg type="a{sa{sv}}"/></signal>
    <signal name="InterfacesRemoved"><arg type="o"/><arg type="as"/></signal>
  </interface>
  <interface name="com.vantrel.Driver1.Service">
    <property name="ClassName" type="s" access="read"/>
    <property name="Properties" type="a{sv}" access="read"/>
    <method name="Open"><arg type="u" direction="in"/><arg type="h" direction="out"/></method>
    <signal name="Message"><arg type="u"/><arg type="ay"/></signal>
  </interface>
</node>""")

REQUEST = struct.Struct("<II256s")  # selector, command, payload
CONNECTIONS_OF_ONE_CLIENT = 16
AWAY_MS = 500

RATES = (44100, 48000, 88200, 96000)
BUFFER_SIZES = (64, 128, 256, 512, 1024, 2048)
SOURCES = {"RoutingOut": 5, "RoutingIn": 4}
# The number of the driver message that tells of a change.
NOTIFICATIONS = {"rate": 50, "frames": 50, "clock": 55, "format": 56, "routings": 56}
EVERYTHING = 3


def words(*numbers):
    return struct.pack(f"<{len(numbers)}I", *numbers)


def configuration(rate):
    return words(rate, 6, 24, 4, 24)


def element(values, index):
    """One value of a list, which fails past the last."""
    return values[index] if index < len(values) else None


class Interface:
    """What the interface has, and its answers to requests."""

    def __init__(self):
        self.state = {"rate": 48000, "frames": 256, "clock": 0, "format": 0,
                      "routings": {"RoutingOut0": 0, "RoutingOut1": 1,
                                   "RoutingIn0": 0, "RoutingIn1": 1, "RoutingIn2": 2}}

    def answer(self, command, payload):
        """The payload of the answer; None for a request that fails."""
        word = int.from_bytes(payload[:4], "little")
        match command:
            case 6:
                return words(len(RATES))
            case 7:
                return element([configuration(rate) for rate in RATES], word)
            case 8:
                return configuration(self.state["rate"])
            case 9:
                return self.set_configuration_or_buffer_size(word, payload)
            case 10:
                return words(len(BUFFER_SIZES))
            case 11:
                return element([words(size) for size in BUFFER_SIZES], word)
            case 12:
                return words(self.state["frames"])
            case 14:
                return words(int(word < 2))
            case 15:
                return words(self.state["clock"])
            case 16:
                return self.set("clock", word, (0, 1))
            case 17:
                return words(0, 0)  # nothing at the digital input
            case 18:
                return b"Example VX-310"
            case 19:
                return b"EXAMPLE-1"
            case 20:
                return words(1)  # USB 2.0
            case 21:
                return bytes.fromhex("0002 ff 00 00 40 217f 125d 0001 01 02 03 01")
            case 22:
                return words(0x02000400)  # 2.00
            case 23:
                return words(0x01070002)
            case 24:
                return b"Nov 22 2026 1.7"
            case 27:
                return words(self.state["format"])
            case 28:
                return self.set("format", word, (0, 1))
            case 40:
                return self.set_routing(*struct.unpack_from("<III", payload))
            case 67:
                return struct.pack("<d", self.state["rate"])
        return None

    def set(self, name, value, allowed):
        """Takes the value if it can; answers with the one that the interface then has."""
        if value in allowed:
            self.state[name] = value
        return words(self.state[name])

    def set_configuration_or_buffer_size(self, word, payload):
        if not any(payload[4:20]):
            return self.set("frames", word, BUFFER_SIZES)
        if payload[:20] in map(configuration, RATES):
            self.state["rate"] = word
        return configuration(self.state["rate"])

    def set_routing(self, is_input, pair, source):
        side = "RoutingIn" if is_input else "RoutingOut"
        key = f"{side}{pair}"
        if is_input > 1 or key not in self.state["routings"]:
            return None
        if source < SOURCES[side]:
            self.state["routings"] = {**self.state["routings"], key: source}
        return words(is_input, pair, self.state["routings"][key])

    def properties(self):
        routings = {key: GLib.Variant("i", source) for key, source in self.state["routings"].items()}
        return GLib.Variant("a{sv}", {"idVendor": GLib.Variant("q", 0x7F21), "idProduct": GLib.Variant("q", 0x5D12),
                                      "USB Product Name": GLib.Variant("s", "VX-310 example"),
                                      "AjExtData": GLib.Variant("a{sv}", routings)})


class Driver:
    """The interface on the bus, and the connections of its clients."""

    def __init__(self, bus):
        self.bus = bus
        self.interface = Interface()
        self.number = 0  # of the object: a path is used only once
        self.registration = 0
        self.connections = {}  # each with its client's unique bus name and the number of its watch
        bus.register_object(ROOT, MEMBERS.lookup_interface("org.freedesktop.DBus.ObjectManager"),
                            self.list_objects, None, None)
        bus.signal_subscribe("org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", None, None,
                             Gio.DBusSignalFlags.NONE, self.owner_changed)
        self.appear()

    # On the bus ---------------------------------------------------------------------------------

    @property
    def path(self):
        return f"{ROOT}/service{self.number}"

    def values(self):
        return {"ClassName": GLib.Variant("s", "LumKernelDeviceVantrelVX310"),
                "Properties": self.interface.properties()}

    def emit(self, path, interface, member, *arguments):
        self.bus.emit_signal(None, path, interface, member, GLib.Variant(*arguments))

    def appear(self):
        self.registration = self.bus.register_object(self.path, MEMBERS.lookup_interface(SERVICE),
                                                     self.open_connection, self.get_property, None)
        self.emit(ROOT, "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", "(oa{sa{sv}})",
                  (self.path, {SERVICE: self.values()}))
        return GLib.SOURCE_REMOVE

    def leave(self):
        if self.registration:
            self.bus.unregister_object(self.registration)
            self.registration = 0
            self.emit(ROOT, "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", "(oas)", (self.path, [SERVICE]))
            for connection in list(self.connections):
                self.close(connection)
            self.number += 1
            GLib.timeout_add(AWAY_MS, self.appear)
        return GLib.SOURCE_CONTINUE  # the next signal does the same

    def list_objects(self, _bus, _sender, _path, _interface, _method, _arguments, call):
        objects = {self.path: {SERVICE: self.values()}} if self.registration else {}
        call.return_value(GLib.Variant("(a{oa{sa{sv}}})", (objects,)))

    def open_connection(self, _bus, sender, _path, _interface, _method, arguments, call):
        if arguments.unpack() != (2,):
            call.return_dbus_error("org.freedesktop.DBus.Error.InvalidArgs", "the type is 2")
        elif len(self.connections_of(sender)) >= CONNECTIONS_OF_ONE_CLIENT:
            call.return_dbus_error("org.freedesktop.DBus.Error.LimitsExceeded", "too many connections")
        else:
            mine, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            watch = GLib.io_add_watch(mine.fileno(), GLib.PRIORITY_DEFAULT,
                                      GLib.IOCondition.IN | GLib.IOCondition.HUP,
                                      lambda _, condition: self.receive(mine, condition))
            self.connections[mine] = (sender, watch)
            descriptors = Gio.UnixFDList.new()
            descriptors.append(theirs.fileno())  # a copy
            theirs.close()
            call.return_value_with_unix_fd_list(GLib.Variant("(h)", (0,)), descriptors)

    def get_property(self, _bus, _sender, _path, _interface, name):
        return self.values()[name]

    def owner_changed(self, _bus, _sender, _path, _interface, _signal, arguments):
        name, _, owner = arguments.unpack()
        for connection in self.connections_of(name) if not owner else ():
            self.close(connection)

    def connections_of(self, client):
        return [connection for connection, (sender, _) in self.connections.items() if sender == client]

    # Requests -----------------------------------------------------------------------------------

    def receive(self, connection, condition):
        """Answers one request; closes the connection of a client that has closed it or breaks the protocol."""
        packet = b"" if condition & GLib.IOCondition.HUP else connection.recv(REQUEST.size + 1)
        if len(packet) != REQUEST.size or packet[:4] != bytes(4):
            self.close(connection)
            return GLib.SOURCE_REMOVE
        _, command, payload = REQUEST.unpack(packet)
        if command == 76:
            self.leave()
            return GLib.SOURCE_REMOVE
        before = dict(self.interface.state)
        answer = self.interface.answer(command, payload)
        try:  # without waiting for a client that does not read
            connection.send(words(command) + (answer.ljust(256, b"\0") if answer is not None else b""),
                            socket.MSG_DONTWAIT)
        except OSError:
            self.close(connection)
        self.announce(before)
        return connection in self.connections

    def close(self, connection):
        _, watch = self.connections.pop(connection)
        GLib.source_remove(watch)  # a watch on a closed descriptor would keep the loop turning
        connection.close()

    def announce(self, before):
        """Tells all clients what is other than before."""
        changed = [name for name, value in self.interface.state.items() if value != before[name]]
        if "routings" in changed:
            self.emit(self.path, "org.freedesktop.DBus.Properties", "PropertiesChanged", "(sa{sv}as)",
                      (SERVICE, {"Properties": self.interface.properties()}, []))
        if changed:
            number = NOTIFICATIONS[changed[0]] if len(changed) == 1 else EVERYTHING
            self.emit(self.path, SERVICE, "Message", "(uay)", (0xE0000130, words(36, number).ljust(36, b"\0")))


def refused(bus, _name):
    sys.exit("another driver service is running already" if bus else "the session bus has gone")


def main():
    try:
        bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    except GLib.Error as error:
        sys.exit(f"the session bus cannot be reached: {error.message}")
    loop = GLib.MainLoop()
    driver = Driver(bus)
    # Only now, so that a client that sees the name finds the interface.
    Gio.bus_own_name_on_connection(bus, NAME, Gio.BusNameOwnerFlags.NONE, lambda *_: print("ready", flush=True),
                                   refused)
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, driver.leave)
    for end in (signal.SIGINT, signal.SIGTERM):
        GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, end, loop.quit)
    loop.run()


if __name__ == "__main__":
    main()
