# SPDX-License-Identifier: MIT
"""The command lines of the programs, and what vx310ctl prints for other programs.

usage: tool_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import json
import os
import subprocess
import sys
import unittest

import jsonschema

from panel_session import TIME_LIMIT
from tool_session import DRIVER, PANEL, SCHEMA, TOOL, ToolTest

COMMANDS = ("list", "show", "get", "set", "watch", "levels", "save", "diff", "restore", "doctor", "sim", "help")
# What has output while a driver is running.
PRINTING = (
    (TOOL, "list"),
    (TOOL, "show"),
    (TOOL, "get"),
    (TOOL, "watch"),
    (TOOL, "levels"),
    (TOOL, "save", "-"),
    (TOOL, "doctor"),
    (TOOL, "sim", "state"),
    (TOOL, "sim", "help"),
    (TOOL, "--help"),
    (TOOL, "--version"),
    (TOOL, "set", "help"),
    (DRIVER, "--help"),
    (PANEL, "--help"),
    (PANEL, "--version"),
)


class CommandLines(ToolTest):
    def expect_the_help(self, *words):
        helps = [self.call(*words, word) for word in ("--help", "-h", "help")]
        with self.subTest(words=words):
            self.assertEqual(helps[0][0], 0, helps[0])
            self.assertIn(f"Usage: {' '.join(words)} ", helps[0][1])
            self.assertEqual(helps, [helps[0]] * 3)

    def test_the_help_of_a_program_and_of_a_command_is_had_in_three_ways(self):
        os.environ.pop("DISPLAY")
        for program in (TOOL, DRIVER, PANEL, "vx310-check-driver"):
            self.expect_the_help(program)
        for command in COMMANDS:
            if command != "sim":
                self.expect_the_help(TOOL, command)

    def test_the_help_of_sim_names_the_commands_of_a_running_driver(self):
        status, output, errors = self.call(TOOL, "sim", "help")
        self.assertEqual((status, output), (0, self.ctl("sim", "--help")))
        self.assertEqual(errors, "vx310ctl: no driver service is running (start vx310-driver)\n")
        self.start_driver()
        self.assertIn("\n  plug [--second]\n", self.ctl("sim", "help"))

    # By the command, a part of its help.
    SIM = {"plug": "plug the interface in", "fault": "\n  late [MS]\n", "state": "show all", "list": "list the virtual",
           "usb": "Usage: vx310ctl sim [--interface N] usb 2.0|1.1\n", "help": "[COMMAND]"}

    def helps_of_sim(self, command):
        return [("sim", command, "--help"), ("sim", command, "-h"), ("sim", "help", command), ("help", "sim", command)]

    def test_the_help_of_each_sim_command_is_the_drivers(self):
        self.start_driver()
        before = self.ctl("sim", "state")
        for command, text in self.SIM.items():
            outputs = {self.ctl(*words) for words in self.helps_of_sim(command)}
            self.assertEqual(len(outputs), 1)
            self.assertIn(text, outputs.pop())
        self.assertEqual(self.ctl("sim", "plug", "help"), self.ctl("sim", "plug", "--help"))
        self.assertEqual(self.ctl("sim", "fault", "late", "--help"), self.ctl("sim", "fault", "-h"))
        self.assertEqual(self.ctl("sim", "state"), before)

    def test_without_a_driver_the_help_of_a_sim_command_says_where_it_is(self):
        for command in self.SIM:
            for words in (*self.helps_of_sim(command), ("sim", command, "help")):
                status, output, errors = self.call(TOOL, *words)
                self.assertEqual((status, output), (0, self.ctl("sim", "--help")))
                self.assertEqual(errors, "vx310ctl: no driver service is running (start vx310-driver)\n")

    def test_the_word_help_is_a_word_like_others_where_one_is_awaited(self):
        self.assertEqual(self.call(TOOL, "set", "clock-source", "help")[0], 2)
        no_driver = (3, "", "vx310ctl: no driver service is running (start vx310-driver)\n")
        self.assertEqual(self.call(TOOL, "sim", "product-name", "help"), no_driver)
        self.start_driver()
        for words in (("product-name", "help"), ("firmware-date", "help")):
            self.assertEqual(self.call(TOOL, "sim", "--interface", "7", *words)[:2], (4, ""))
        self.ctl("sim", "product-name", "help")
        self.assertEqual(self.ctl("list"), "0  7F21:5D12  help\n")

    def test_a_value_for_an_option_that_takes_none_is_a_mistake(self):
        for words in ((TOOL, "list", "--json=1"), (TOOL, "doctor", "--redact=false"), (TOOL, "restore", "--undo=no"),
                      (DRIVER, "--unplugged=0")):
            status, output, errors = self.call(*words)
            self.assertEqual((status, output), (2, ""), words)
            self.assertIn(words[-1].split("=")[0].lstrip("-"), errors)

    def test_a_word_that_the_panel_does_not_know_is_named_in_one_line(self):
        os.environ.pop("DISPLAY")
        for words in (["--bogus"], ["-bogus"], ["bogus"], ["-style", "fusion", "--bogus"], ["--", "bogus"]):
            wrong = "--" if "--" in words else words[-1]
            self.assertEqual(
                self.call(PANEL, *words),
                (2, "", f"vx310-panel: '{wrong}' is no option; try 'vx310-panel --help'\n"),
            )

    def test_the_toolkits_options_reach_it_with_one_dash_or_two(self):
        os.environ.pop("DISPLAY")
        for words in (["-platform", "none"], ["--platform", "none"], ["-style=fusion", "--platform", "none"],
                      ["-reverse", "-title", "--bogus", "-platform", "none"]):
            status, output, errors = self.call(PANEL, *words)
            self.assertEqual((status, output), (1, ""), words)
            self.assertNotIn("is no option", errors)


class Jq(ToolTest):
    """A session with jq over every JSON that vx310ctl prints."""

    PRESET = "a file that sets another clock source"
    # By the kind in the schema: the words of vx310ctl, jq's filter, and what jq prints.
    OUTPUTS = {
        "list": (("list", "--json"), ".interfaces[0].product_name", '"VX-310"'),
        "show": (("show", "--json"), ".sample_rate_hz / 1000", "48"),
        "get": (("get", "--json", "clock-source"), ".settings", '{"clock_source":"automatic"}'),
        "sim-state": (("sim", "state", "--json"), "[.plugged, .fault_kinds]", '[true,["late"]]'),
        "doctor": (("doctor", "--json"), '.checks[] | select(.check == "panel") | .text', '"is not running"'),
        "preset": (("save", "-"), ".settings | length", "7"),
        "diff": (("diff", "--json", PRESET), ".differences[] | .preset", '"internal"'),
    }
    # Those that go on.
    STREAMS = {
        "watch": (("watch", "--json"), "[.event, .settings.line_output]", '["connected","playback-1-2"]'),
        "levels": (("levels", "--json"), "[.inputs_dbfs, .outputs_raw | length]", "[6,4]"),
    }

    def test_jq_reads_every_json_that_is_printed(self):
        self.assertEqual({form["$ref"].split("/")[-1] for form in SCHEMA["anyOf"]}, {*self.OUTPUTS, *self.STREAMS})
        self.start_driver()
        self.session.sim("fault", "late", "command", 99)
        preset = self.session.folder / "other.json"
        preset.write_text(self.ctl("save", "-").replace("automatic", "internal"))
        for kind, (words, query, result) in self.OUTPUTS.items():
            with self.subTest(kind=kind):
                output = self.call(TOOL, *(preset if word is self.PRESET else word for word in words))[1]
                jq = subprocess.run(["jq", "-c", query], input=output, capture_output=True, text=True)
                self.assertEqual((jq.returncode, jq.stdout, jq.stderr), (0, f"{result}\n", ""))
        for kind, (words, query, result) in self.STREAMS.items():
            with self.subTest(kind=kind):
                printing = self.session.start(kind, self.session.bin / TOOL, *words, stdout=subprocess.PIPE)
                self.session.start("jq", "jq", "--unbuffered", "-c", query, stdin=printing.stdout, stdout=subprocess.PIPE)
                self.assertEqual(self.session.wait_for_line("jq", ""), result)
                self.session.end("jq")
                self.session.end(kind)


class ClosedPipes(ToolTest):
    def setUp(self):
        super().setUp()
        self.start_driver()

    def test_output_that_nobody_reads_is_status_1_and_one_line(self):
        for words in PRINTING:
            with self.subTest(words=words):
                reader, writer = os.pipe()
                os.close(reader)
                status, _, errors = self.call(*words, capture_output=False, stdout=writer, stderr=subprocess.PIPE)
                os.close(writer)
                self.assertEqual(status, 1)
                self.assertEqual(errors, f"{words[0]}: the output cannot be written\n")

    def test_a_restore_or_diff_that_nobody_reads_changes_nothing(self):
        preset, undo = (self.session.folder / name for name in (
            "other.json", "config/vantrel/preferences/vx310ctl-undo.json"))
        preset.write_text(self.ctl("save", "-").replace("automatic", "internal"))
        self.ctl("restore", preset)
        self.ctl("set", "clock-source", "automatic")
        self.ctl("set", "digital-output-format", "professional")
        before = self.ctl("get"), undo.read_bytes(), sorted(os.listdir(undo.parent))
        for words in (("restore", preset), ("diff", preset), ("restore", "--undo")):
            with self.subTest(words=words), open("/dev/full", "w") as full:
                result = self.call(TOOL, *words, capture_output=False, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(result, (1, None, "vx310ctl: the output cannot be written\n"))
                self.assertEqual((self.ctl("get"), undo.read_bytes(), sorted(os.listdir(undo.parent))), before)

    def test_watch_and_levels_end_when_their_reader_goes(self):
        for words in (("watch",), ("watch", "--json"), ("levels",), ("levels", "--json")):
            command = [self.session.bin / TOOL, *words]
            watch = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            self.assertTrue(watch.stdout.readline())
            watch.stdout.close()
            self.assertEqual(watch.wait(TIME_LIMIT), 1)
            self.assertEqual(watch.stderr.read(), "vx310ctl: the output cannot be written\n")
            watch.stderr.close()

    def test_watch_writes_to_a_file_as_long_as_it_lives(self):
        output = self.session.folder / "events"
        with open(output, "w") as file:
            watch = self.session.start("watch", self.session.bin / TOOL, "watch", stdout=file)
        self.session.start("tail", "tail", "-f", "-n", "+1", output, stdout=subprocess.PIPE)
        self.session.wait_for_line("tail", "connected")
        self.session.sim("unplug")
        self.session.wait_for_line("tail", "disconnected")
        self.assertIsNone(watch.poll())


class Json(ToolTest):
    SETTINGS = {
        "input_1_2": "analog-1-2",
        "input_3_4": "analog-3-4",
        "input_5_6": "digital",
        "line_output": "playback-1-2",
        "digital_output": "playback-3-4",
        "clock_source": "automatic",
        "digital_output_format": "consumer",
    }

    def setUp(self):
        super().setUp()
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        self.start_driver()

    def next_event(self):
        return self.held("watch", self.session.wait_for_line("watch", "{"))

    def start_watch(self):
        self.session.start("watch", self.session.bin / TOOL, "watch", "--json", stdout=subprocess.PIPE)
        return self.next_event()

    def test_every_output_says_the_same_of_an_interface_in_the_same_words(self):
        self.assertEqual(
            self.json("list", "list"),
            {"schema": 1, "interfaces": [{"index": 0, "vendor_id": 0x7F21, "product_id": 0x5D12, "product_name": "VX-310"}]},
        )
        shown = self.json("show", "show")
        state = self.json("sim-state", "sim", "state")
        event = self.start_watch()
        self.assertEqual(event.pop("event"), "connected")
        self.assertEqual(event, shown)
        self.assertEqual(self.json("get", "get"), {"schema": 1, "settings": self.SETTINGS})
        self.assertEqual(shown["settings"], self.SETTINGS)
        for name in state.keys() & shown.keys():
            self.assertEqual(state[name], shown[name], name)
        self.assertGreaterEqual(len(state.keys() & shown.keys()), 14)

    def test_the_chosen_clock_and_the_effective_one_have_names_of_their_own(self):
        event = self.start_watch()
        for words, chosen, effective, signal, rate in (
            (("digital-input", "valid", 44150), "automatic", "digital", "valid", 44150),
            (("clock", "internal"), "internal", "internal", "valid", 44150),
            (("digital-input", "muted", 96000), "internal", "internal", "muted", 96000),
            (("clock", "automatic"), "automatic", "internal", "muted", 96000),
        ):
            self.session.sim(*words)
            for values in (self.json("show", "show"), self.json("sim-state", "sim", "state")):
                self.assertEqual(
                    (values["settings"]["clock_source"], values["effective_clock_source"], values["digital_input"],
                     values["digital_input_rate_hz"]),
                    (chosen, effective, signal, rate),
                )
            changed = self.next_event()
            self.assertEqual(changed.pop("event"), "changed")
            event = {**event, **changed, "settings": {**event["settings"], **changed.get("settings", {})}}
            self.assertEqual({**event, "event": 0}, {**self.json("show", "show"), "event": 0})

    def test_each_word_is_one_that_set_takes(self):
        vocabulary = SCHEMA["$defs"]
        for setting, form in vocabulary["settings"]["properties"].items():
            words = vocabulary[form["$ref"].split("/")[-1]]["anyOf"][0]["enum"]
            for word in set(words) - ({"digital"} if setting == "clock_source" else set()):
                if setting in ("clock_source", "digital_output_format"):
                    self.ctl("set", setting.replace("_", "-"), word)
                else:  # as another program would; there is no audio server
                    side = "in" if setting.startswith("input") else "out"
                    pair = {"input_1_2": 0, "input_3_4": 1, "input_5_6": 2, "line_output": 0, "digital_output": 1}
                    self.session.sim("routing", side, pair[setting], words.index(word))
                self.assertEqual(
                    self.json("get", "get", setting.replace("_", "-")), {"schema": 1, "settings": {setting: word}}
                )

    def test_watch_tells_of_an_interface_that_goes(self):
        self.start_watch()
        self.session.sim("unplug")
        self.assertEqual(self.next_event(), {"schema": 1, "event": "disconnected"})
        self.assertEqual(self.json("list", "list"), {"schema": 1, "interfaces": []})
        self.assertEqual(self.json("sim-state", "sim", "state")["path"], "")

    def test_only_the_schema_of_the_tests_refuses_other_names(self):
        shown = self.json("show", "show")
        for other in ({"new": 1}, {"settings": {**shown["settings"], "new": "word"}}):
            jsonschema.Draft202012Validator(SCHEMA).validate({**shown, **other})
            with self.assertRaises(jsonschema.ValidationError):
                self.held("show", json.dumps({**shown, **other}))

    def test_what_is_not_answered_is_null(self):
        for command, names in ((8, ["sample_rate_hz"]), (12, ["buffer_size_frames"]), (17, ["digital_input"]),
                               (23, ["firmware_version"]), (24, ["firmware_date"]), (27, ["settings", "digital_output_format"]),
                               (15, ["effective_clock_source"]), (15, ["settings", "clock_source"])):
            with self.subTest(command=command):
                self.session.sim("fault", "missing", "command", command, "always")
                value = self.json("show", "show")
                for name in names:
                    value = value[name]
                self.assertIsNone(value)
                self.session.sim("fault", "none")

    def test_control_characters_and_bytes_that_are_no_utf8_leave_it_json(self):
        self.session.sim("product-name", "Gr\u00fcn \x1b[2J \u009b\x7f \"\\")
        self.assertEqual(self.json("show", "show")["product_name"], "Gr\u00fcn \x1b[2J \u009b\x7f \"\\")
        self.json("sim-state", "sim", "state")


def main():
    ToolTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
