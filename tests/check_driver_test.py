# SPDX-License-Identifier: MIT
"""vx310-check-driver: the virtual interface's driver holds, and each fault that it can inject is found.

usage: check_driver_test.py BUILD_FOLDER Class.test_method
"""

import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import unittest

from panel_session import ENDS_WITH_US, TIME_LIMIT, read_line
from tool_session import TOOL, ToolTest

CHECK = "vx310-check-driver"
DOCUMENTS = pathlib.Path(__file__).resolve().parent.parent / "docs"

# What is skipped of a driver that runs without being installed, and serves the VX-310 alone.
NEVER_SEEN = {"An installed driver has a bus activation file",
              "OrbekUID: sibling family only: the unit's 64-bit id, 8 bytes"}

NODES = 'PipeWire nodes with the node.description "VX-310" (or "VX-310 (Bit Accurate)"), by which clients find the device'
OBJECT = ("Their property vantrel.driver.object is the path of the service's object, which tells the nodes of two "
          "interfaces apart")
ON_BOTH = "a write to either is answered on both"
ONCE = "It does so once for each write"
REFUSED = "also when it did not take the record because the pair or the source does not exist"
NODE_FIRST = "The driver publishes them before the D-Bus service, so that a client that sees the service finds them"
NODE_LAST = "and removes them after the service"
NAME_LAST = "A driver requests the name only after it has added the interfaces that are connected at the start"

# How each fault kind is injected, and the beginnings of the sentences that it breaks.
NOT_TAKEN = "A setting that the interface does not take is not a failed request"
SETTINGS = [NOT_TAKEN, "9 set configuration", "16 set clock source", "Source 2 is taken only", "5 set logic-chip byte", "26 set USB 1.1 mode",
            "28 set digital output format", "66 set channel map", "68 set configuration and map", "71 set device name",
            "After each write the driver sets the property again"]
FAULTS = {
    "short": ("100 command 24 always", ["24 firmware date"]),
    "long": ("300 command 17 always", ["17 digital input"]),
    "late": ("400 command 23 always", ["23 firmware version", "should answer any request"]),
    "missing": ("command 19 always", ["19 string 1", "should answer any request"]),
    "garbled": ("command 20 always", ["20 speed"]),
    "empty": ("command 12 always", [NOT_TAKEN, "9 set configuration", "12 current buffer size"]),
    "close": ("command 18 always", ["18 string 0"]),
    "die": ("command 14 always", ["14 can the clock source be chosen"]),
    "hang": ("command 48 always", ["48 unit id"]),
    "refuse": ("always", [*SETTINGS, "3 set digital-out selector"]),
    "ignore": ("always", [*SETTINGS, "36 control port bytes", "40 set routing"]),
}


class CheckTest(ToolTest):
    def check(self, *options, status):
        """Runs the check, which must end with this status; its findings by their sentences."""
        result = self.call(CHECK, "--json", *options)
        self.assertEqual(status, result[0], result)
        self.assertEqual("", result[2])
        return {entry["sentence"]: entry for entry in json.loads(result[1])["checks"]}

    def expect(self, findings, result, sentences):
        self.assertEqual(sorted(sentences), sorted(sentence for sentence, entry in findings.items()
                                                   if entry["result"] == result), findings)

    def start_check(self, *options):
        return self.session.start("check", self.session.bin / CHECK, *options)

    def wait_for_driver(self):
        """Waits until its interfaces are there, which are when its name is."""
        self.session.start("watch", self.session.bin / TOOL, "watch", stdout=subprocess.PIPE)
        self.session.wait_for_line("watch", "connected")
        self.session.end("watch")

    def start_all(self):
        self.session.start_pipewire()
        self.start_driver()
        self.wait_for_audio_device()


class Driver(CheckTest):
    def test_the_virtual_interface_holds_to_each_sentence(self):
        self.start_all()
        tool = self.session.bin / TOOL
        before = self.session.sim("state", "--json")
        findings = self.check("--removal", f"{tool} sim unplug && {tool} sim plug", status=0)
        intrusive = {sentence for sentence, entry in findings.items() if "--intrusive" in entry.get("reason", "")}
        self.assertEqual(7, len(intrusive))
        restart = {sentence for sentence, entry in findings.items() if "--restart" in entry.get("reason", "")}
        self.assertEqual(1, len(restart))
        self.expect(findings, "skipped", NEVER_SEEN | intrusive | restart)
        left = {"control_port_received_bytes": 1, "control_port_latest": [0]}
        for options, changes in ((), {}), (("--intrusive",), left):
            self.check(*options, status=0)
            after = json.loads(self.session.sim("state", "--json"))
            self.assertEqual(json.loads(before) | changes, after | {"path": json.loads(before)["path"]})

    def test_the_virtual_interface_holds_when_it_leaves_by_itself_and_its_driver_is_killed(self):
        driver = " ".join(map(str, (*ENDS_WITH_US, self.session.bin / "vx310-driver")))
        shell = self.session.start("driver", "sh", "-c", f"{driver}; exec {driver}")
        self.wait_for_driver()
        children = f"/proc/{shell.pid}/task/{shell.pid}/children"
        findings = self.check("--intrusive", "--restart", f"kill -KILL $(cat {children})", status=0)
        removal = {sentence for sentence, entry in findings.items() if "--removal" in entry.get("reason", "")}
        self.assertEqual(7, len(removal))
        self.expect({sentence: entry for sentence, entry in findings.items()
                     if entry["section"] != "The audio device"}, "skipped",
                    NEVER_SEEN | removal)

    def test_each_of_two_interfaces_can_be_named_and_has_nodes_of_its_own(self):
        self.session.start_pipewire()
        self.session.start_driver("--count", 2)
        self.wait_for_driver()
        self.wait_for_audio_device()
        for index in range(2):
            result = self.call(CHECK, "--json", "--interface", index)
            self.assertEqual(0, result[0], result)
            output = json.loads(result[1])
            self.assertEqual(f"/com/vantrel/Driver1/service{index}", output["interface"])
            self.assertEqual({"ok"}, {entry["result"] for entry in output["checks"]
                                      if entry["section"] == "The audio device"})

    def test_without_pipewire_the_reason_is_told(self):
        self.start_driver()
        reasons = {entry["reason"] for entry in self.check(status=0).values()
                   if entry["section"] == "The audio device" and entry["result"] == "skipped"}
        self.assertIn("PipeWire cannot be reached: No such file or directory", reasons)
        self.assertNotIn("", reasons)

    def test_each_sentence_stands_on_the_page(self):
        self.start_driver()
        page = re.sub(r"```.*?```", "", (DOCUMENTS / "driver-protocol.md").read_text(encoding="utf-8"), flags=re.DOTALL)
        page = re.sub(r"\]\([^)]*\)|[`*\[\]]", "", page)
        rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in page.splitlines()
                if line.startswith("|")]
        known = {f"{row[0]}: {row[-1]}" for row in rows} | {": ".join(row[1:]) for row in rows}
        prose = " ".join(page.split())
        for sentence in self.check(status=0):
            with self.subTest(sentence):
                self.assertTrue(sentence in known or sentence in prose or any(sentence in row for row in known))


class Faults(CheckTest):
    def test_each_kind_of_fault_is_tried(self):
        self.start_driver()
        section = self.session.sim("help").split("Fault kinds:\n")[1].split("\n\n")[0]
        self.assertEqual(sorted(FAULTS), sorted(re.findall(r"^  (\w+)", section, re.MULTILINE)))

    def find(self, kind):
        self.start_all()
        words, broken = FAULTS[kind]
        self.session.sim("fault", kind, *words.split())
        findings = self.check(status=1)
        wrong = [sentence for sentence, entry in findings.items() if entry["result"] == "WRONG"]
        found = [start for start in broken if any(sentence.startswith(start) for sentence in wrong)]
        self.assertEqual((broken, []), (found, [one for one in wrong if not one.startswith(tuple(broken))]))
        return findings

    def test_an_answer_that_is_too_short_is_found(self):
        self.find("short")

    def test_an_answer_that_is_too_long_is_found(self):
        self.find("long")

    def test_an_answer_that_is_late_is_found(self):
        self.find("late")

    def test_a_missing_answer_is_found(self):
        self.find("missing")

    def test_a_garbled_answer_is_found(self):
        self.find("garbled")

    def test_an_empty_answer_is_found(self):
        self.find("empty")

    def test_a_connection_that_is_closed_instead_is_found(self):
        self.find("close")

    def test_settings_that_fail_are_found(self):
        self.find("refuse")

    def test_settings_that_are_not_taken_are_found(self):
        self.find("ignore")

    def test_a_driver_that_dies_is_found_and_nothing_more_is_asked(self):
        findings = self.find("die")
        self.assertIn("the driver service has ended", findings["14 can the clock source be chosen: w0 1 for yes, 0 for no"]["came"])
        self.assertEqual("the driver service has ended", findings["22 driver version: w0 version, w1 0"]["reason"])

    def test_a_driver_that_hangs_is_found_and_nothing_more_is_asked(self):
        self.addCleanup(lambda: self.session.processes["driver"].send_signal(signal.SIGCONT))
        findings = self.find("hang")
        self.assertIn("does not answer", findings["48 unit id: 64-bit number"]["came"])

    def test_a_driver_that_stalls_is_found(self):
        self.start_driver()
        self.session.sim("fault", "stall")
        findings = self.check(status=1)
        self.assertEqual("the driver does not answer requests", findings["20 speed: w0 non-zero for USB 2.0, 0 for "
                                                                          "USB 1.1"]["reason"])


# The example's driver, with changes that come before its start.
CHANGED_EXAMPLE = """
import sys
sys.path.insert(0, {folder!r})
import driver
from gi.repository import GLib
{changes}
driver.main()
"""

# Another value of one registry property, and of the class name, and an answer to command 48.
DICTIONARY_AS_UNIT_ID = """
plain = driver.Interface
class Interface(plain):
    def properties(self):
        properties = GLib.VariantDict.new(plain.properties(self))
        properties.insert_value("OrbekUID", GLib.Variant("a{sv}", {str(i): GLib.Variant("y", i) for i in range(8)}))
        return properties.end()
    def answer(self, command, payload):
        return bytes(8) if command == 48 else plain.answer(self, command, payload)
driver.Interface = Interface
values = driver.Driver.values
driver.Driver.values = lambda self: values(self) | {"ClassName": GLib.Variant("s", "LumKernelDeviceOrbekTalvo4")}
"""

# Command 76 is answered, and the interface stays.
ANSWERED_RE_ENUMERATION = """
import socket
receive = driver.Driver.receive
def receive_or_stay(self, connection, condition):
    if connection.recv(8, socket.MSG_PEEK)[4:] != driver.words(76):
        return receive(self, connection, condition)
    connection.recv(264)
    connection.send(bytes(100))
    return True
driver.Driver.receive = receive_or_stay
"""


# Changes of the example's answers: this function is asked first, and lets the example answer by its result.
OTHER_ANSWERS = """
import time
plain = driver.Interface.answer
kept = {4: bytes(4), 70: bytes(32)}
def answer(self, command, payload):
    CHANGE
    return plain(self, command, payload)
driver.Interface.answer = answer
"""

# Each connection has a state of its own.
OWN_STATES = """
receive = driver.Driver.receive
interfaces = {}
def receive_own(self, connection, condition):
    self.interface = interfaces.setdefault(connection, driver.Interface())
    return receive(self, connection, condition)
driver.Driver.receive = receive_own
"""

# What the driver says on the bus goes through this function.
OTHER_SIGNALS = """
emit = driver.Driver.emit
waiting = []
def other_emit(self, path, interface, member, *arguments):
    CHANGE
driver.Driver.emit = other_emit
"""

SECOND_MESSAGE = OTHER_SIGNALS.replace("CHANGE", """
    emit(self, path, interface, member, *arguments)
    if member == "Message":
        GLib.timeout_add(30, lambda: emit(self, path, interface, member, *arguments))
""")

MESSAGE_FIRST = OTHER_SIGNALS.replace("CHANGE", """
    if member == "PropertiesChanged":
        return waiting.append(arguments)
    emit(self, path, interface, member, *arguments)
    while waiting:
        emit(self, path, "org.freedesktop.DBus.Properties", "PropertiesChanged", *waiting.pop())
""")

OLD_PROPERTIES = OTHER_SIGNALS.replace("CHANGE", """
    if member == "PropertiesChanged":
        arguments = "(sa{sv}as)", (driver.SERVICE, {"Properties": driver.Interface().properties()}, [])
    emit(self, path, interface, member, *arguments)
""")

# The interface comes a moment after the name.
NAME_FIRST = """
appear = driver.Driver.appear
driver.Driver.appear = lambda self: GLib.timeout_add(200, appear, self)
"""


class OtherDrivers(CheckTest):
    def start_example(self, changes=""):
        script = self.session.folder / "changed_driver.py"
        script.write_text(CHANGED_EXAMPLE.format(folder=str(DOCUMENTS / "examples"), changes=changes), encoding="utf-8")
        self.assertEqual("ready", self.session.start_and_read_line("driver", sys.executable, "-B", script))

    def replug(self):
        return f"kill -USR1 {self.session.processes['driver'].pid}"

    def test_a_unit_id_that_is_a_dictionary_is_found(self):
        self.start_example(DICTIONARY_AS_UNIT_ID)
        findings = self.check(status=1)
        self.assertEqual("WRONG", findings["OrbekUID: sibling family only: the unit's 64-bit id, 8 bytes"]["result"])

    def test_an_answer_to_command_76_is_found_and_no_departure_awaited(self):
        self.start_example(ANSWERED_RE_ENUMERATION)
        findings = self.check("--intrusive", status=1)
        found = findings["After command 76 the driver removes the service and closes its connections without answering"]
        self.assertEqual(("no answer", "100 bytes with the command number 00 00 00 00"),
                         (found["expected"], found["came"]))

    def expect_found(self, changes, *sentences, options=()):
        """The sentences that begin so are wrong of the example with these changes."""
        self.start_example(changes)
        wrong = [sentence for sentence, entry in self.check(*options, status=1).items() if entry["result"] == "WRONG"]
        for start in sentences:
            self.assertTrue(any(sentence.startswith(start) for sentence in wrong), (start, wrong))

    def test_a_state_for_each_connection_is_found(self):
        self.expect_found(OWN_STATES, "9 set configuration", "16 set clock source", "28 set digital output format")

    def test_a_second_message_that_is_late_is_found(self):
        self.expect_found(SECOND_MESSAGE, "A driver sends one message for every change")

    def test_a_message_before_its_properties_is_found(self):
        self.expect_found(MESSAGE_FIRST, "PropertiesChanged comes before the message")

    def test_properties_that_are_announced_with_old_values_are_found(self):
        self.expect_found(OLD_PROPERTIES, "PropertiesChanged is sent with the new value")

    def test_another_list_of_configurations_is_found(self):
        self.expect_found("driver.RATES = driver.RATES[:3]", "The VX-310 has four")

    def test_a_clock_source_that_cannot_be_chosen_and_is_is_found(self):
        self.expect_found(OTHER_ANSWERS.replace("CHANGE", "if command == 14: return bytes(4)"), "14 can the clock source be chosen")

    def test_a_digital_input_that_is_followed_without_a_signal_is_found(self):
        self.expect_found(OTHER_ANSWERS.replace("CHANGE", "if command == 16: return self.set('clock', payload[0], (0, 1, 2))"),
                          "Source 2 is taken only while the input can be followed")

    def test_a_logic_byte_with_more_bits_is_found(self):
        self.expect_found(OTHER_ANSWERS.replace("CHANGE", "if command in (4, 5): return kept.update({4: payload[:4]} "
                                               "if command == 5 else {}) or kept[4]"), "5 set logic-chip byte")

    def test_a_name_without_an_end_is_found(self):
        self.expect_found(OTHER_ANSWERS.replace("CHANGE", "if command in (70, 71): return kept.update({70: payload[:32]} "
                                               "if command == 71 else {}) or kept[70]"), "71 set device name")

    def test_a_stage_that_does_not_exist_is_found(self):
        self.expect_found(OTHER_ANSWERS.replace("CHANGE", "if command == 22: return driver.words(0x02000500)"), "22 driver version")

    def test_a_routing_source_that_does_not_exist_and_is_taken_is_found(self):
        self.expect_found("driver.SOURCES['RoutingIn'] = 5", "40 set routing")

    def test_more_connections_of_one_client_are_found(self):
        self.expect_found("driver.CONNECTIONS_OF_ONE_CLIENT = 17", "A driver keeps at most 16 connections")

    def test_connections_of_a_client_that_has_left_are_found(self):
        self.expect_found("driver.Driver.owner_changed = lambda *_: None", "When the name leaves the bus")

    def test_a_path_that_is_used_again_and_connections_that_stay_are_found(self):
        self.start_example("driver.Driver.path = driver.ROOT + '/service'\ndriver.Driver.close = lambda *_: None")
        findings = self.check("--removal", self.replug(), status=1)
        for sentence in ("an interface that leaves and returns gets a new path",
                         "When the interface leaves, the driver closes its connections"):
            self.assertEqual("WRONG", findings[sentence]["result"], sentence)

    def test_an_interrupted_check_sets_back_what_it_has_set(self):
        rate = (44100).to_bytes(4, "little")  # the first that is another one
        self.start_example(OTHER_ANSWERS.replace("CHANGE", f"""
    if command == 9 and payload.startswith({rate!r}):
        print("set", flush=True)
        time.sleep(0.1)
"""))
        check = self.start_check()
        self.session.wait_for_line("driver", "set")
        check.send_signal(signal.SIGINT)
        self.assertEqual(-signal.SIGINT, self.session.wait_for_end("check"))
        self.assertIn("Sample rate:            48 kHz\n", self.session.ctl("show"))

    def test_a_name_before_the_interface_is_found(self):
        script = self.session.folder / "changed_driver.py"
        script.write_text(CHANGED_EXAMPLE.format(folder=str(DOCUMENTS / "examples"), changes=NAME_FIRST))
        command = " ".join(map(str, (*ENDS_WITH_US, sys.executable, "-B", script)))
        shell = self.session.start("driver", "sh", "-c", f"{command}; exec {command}")
        self.wait_for_driver()
        findings = self.check("--restart", f"kill $(cat /proc/{shell.pid}/task/{shell.pid}/children)", status=1)
        self.assertEqual(("WRONG", "0 interfaces"), tuple(findings[NAME_LAST][key] for key in ("result", "came")))

    def check_nodes(self, service, *answers):
        """The findings on the example with these nodes, which are what is wrong with it."""
        self.session.start_pipewire()
        self.start_example()
        program = pathlib.Path(self.build) / "tests/other_driver_nodes"
        self.assertEqual("ready", self.session.start_and_read_line("nodes", program,
                                                                   f"/com/vantrel/Driver1/{service}", *answers))
        return self.check("--removal", self.replug(), status=1)

    def expect_wrong(self, finding, expected, came):
        self.assertEqual(("WRONG", expected, came), tuple(finding.get(key) for key in ("result", "expected", "came")))

    def test_a_node_of_another_interface_is_not_taken_for_its_own(self):
        findings = self.check_nodes("elsewhere", 1, 1)
        self.expect_wrong(findings[OBJECT], "the object path of a service", '"/com/vantrel/Driver1/elsewhere"')
        self.expect_wrong(findings[NODES], "a node of /com/vantrel/Driver1/service0", "none")
        self.assertEqual("skipped", findings[NODE_FIRST]["result"])

    def test_nodes_that_stay_when_their_interface_leaves_are_found(self):
        self.expect_wrong(self.check_nodes("service0", 1, 1)[NODE_LAST], "no node of an interface that has left",
                          "one after 1 s")

    def test_nodes_with_equal_properties_are_found(self):
        findings = self.check_nodes("service0", 1, 1, 1, 1)
        self.expect_wrong(findings[OBJECT], "another path for another interface",
                          '"/com/vantrel/Driver1/service0" of two nodes Audio/Sink')
        self.expect_wrong(findings[NODES], "Audio/Sink with 4 channels, Audio/Source with 6",
                          "Audio/Sink with 4, Audio/Source with 6, Audio/Sink with 4, Audio/Source with 6")

    def test_a_missing_node_is_found(self):
        self.expect_wrong(self.check_nodes("service0", 1)[NODES], "Audio/Sink with 4 channels, Audio/Source with 6",
                          "Audio/Sink with 4")

    def test_an_answer_of_one_node_alone_is_found(self):
        findings = self.check_nodes("service0", 1, 0)
        self.expect_wrong(findings[ON_BOTH], "an answer of each node within 250 ms", "0 of a node")
        self.assertEqual("ok", findings[ONCE]["result"])

    def test_a_second_answer_is_found(self):
        findings = self.check_nodes("service0", 1, 2)
        self.expect_wrong(findings[ONCE], "one answer of each node", "2 of a node")
        self.assertEqual("ok", findings[ON_BOTH]["result"])

    def test_a_second_answer_that_is_late_is_found(self):
        self.expect_wrong(self.check_nodes("service0", "1+", 1)[ONCE], "one answer of each node", "2 of a node")

    def test_a_missing_answer_of_the_nodes_is_found(self):
        findings = self.check_nodes("service0", 0, 0)
        self.expect_wrong(findings[REFUSED], "the property again within 250 ms", "nothing")


class Commands(CheckTest):
    """The commands of --removal and --restart."""

    REMOVED = "InterfacesRemoved has to name the interface com.vantrel.Driver1.Service"

    def call_check(self, *options):
        """The check's findings and what its commands wrote; it must find something wrong."""
        status, output, errors = self.call(CHECK, "--json", *options)
        self.assertEqual(1, status, (output, errors))
        return {entry["sentence"]: entry for entry in json.loads(output)["checks"]}, errors

    def test_what_a_command_prints_goes_to_standard_error_and_its_failure_is_told(self):
        self.start_driver()
        findings, errors = self.call_check("--removal", "echo unplug it; exit 3")
        self.assertEqual("unplug it\n", errors)
        self.assertEqual("the command ended with 3", findings[self.REMOVED]["came"])

    def test_a_session_bus_that_goes_is_told(self):
        self.start_driver()
        findings, _ = self.call_check("--removal", f"kill -KILL {self.session.processes['bus'].pid}")
        self.assertIn("the session bus has gone", findings[self.REMOVED]["came"])
        self.assertEqual("the session bus has gone", findings[NAME_LAST]["reason"])

    def test_a_restart_that_fails_is_told(self):
        self.start_driver()
        findings, _ = self.call_check("--restart", "no-such-program")
        self.assertEqual("the command ended with 127", findings[NAME_LAST]["came"])

    def test_a_command_is_ended_by_a_pipe_without_a_reader(self):
        self.start_driver()
        _, errors = self.call_check("--removal", "grep SigIgn /proc/self/status; exit 3")
        ignored = int(errors.split()[1], 16)
        self.assertEqual(0, ignored & 1 << signal.SIGPIPE - 1)

    def test_a_command_ends_with_an_interrupted_check(self):
        self.start_driver()
        fifo = self.session.folder / "fifo"
        os.mkfifo(fifo)
        with open(os.open(fifo, os.O_RDWR)) as stream:
            check = self.start_check("--removal", f"echo $$ >{fifo}; exec sleep 60")
            command = read_line(stream, TIME_LIMIT)
        check.send_signal(signal.SIGINT)
        self.assertEqual(-signal.SIGINT, self.session.wait_for_end("check"))
        self.assertFalse(pathlib.Path("/proc", command).exists())

    def test_when_pipewire_ends_its_node_is_no_more_looked_for(self):
        self.start_all()
        tool, pipewire = self.session.bin / TOOL, self.session.processes["pipewire"].pid
        findings = self.check("--removal", f"kill -KILL {pipewire} && {tool} sim unplug && {tool} sim plug", status=0)
        self.assertEqual("PipeWire has ended", findings[NODE_FIRST]["reason"])


class CommandLine(CheckTest):
    def test_without_a_driver_or_interface_it_ends_with_5(self):
        self.assertEqual((5, "", f"{CHECK}: no driver service is running or installed\n"), self.call(CHECK))
        self.start_driver()
        self.assertEqual((5, "", f"{CHECK}: there is no interface 1 of 1\n"), self.call(CHECK, "--interface", 1))

    def install(self, command):
        """Makes the bus start this driver service for whoever asks for it."""
        service = self.session.folder / "services/driver.service"
        service.write_text(f"[D-BUS Service]\nName=com.vantrel.Driver1\nExec={command}\n", encoding="utf-8")
        self.session.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/",
                         "org.freedesktop.DBus.ReloadConfig")

    def test_a_driver_that_is_installed_is_started(self):
        self.install(self.session.bin / "vx310-driver")
        findings = self.check(status=0)
        self.assertEqual("ok", findings["An installed driver has a bus activation file"]["result"])

    def test_a_driver_that_cannot_be_started_is_none(self):
        self.install("/bin/false")
        self.assertEqual((5, "", f"{CHECK}: the bus cannot start the driver service: "
                                 "org.freedesktop.DBus.Error.Spawn.ChildExited\n"), self.call(CHECK))

    def test_a_wrong_command_line_ends_with_2(self):
        self.assertEqual(2, self.call(CHECK, "--nothing")[0])

    def test_each_line_says_what_came_of_a_sentence(self):
        self.start_driver()
        self.session.sim("fault", "short", "command", 22, "always")
        status, output, _ = self.call(CHECK)
        self.assertEqual(1, status)
        self.assertIn("\nok       Open(2) returns one end of a SOCK_SEQPACKET socket pair\n", output)
        self.assertIn("\nWRONG    22 driver version: w0 version, w1 0: expected an answer of 260 bytes to "
                      "command 22; came 100 bytes\n", output)
        self.assertIn("\nskipped  OrbekUID", output)
        ok, wrong, skipped = (output.count(f"\n{word} ") for word in ("ok", "WRONG", "skipped"))
        self.assertTrue(output.endswith(f"\n\n/com/vantrel/Driver1/service0: {ok} ok, {wrong} wrong, {skipped} skipped\n"))


if __name__ == "__main__":
    CheckTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)
