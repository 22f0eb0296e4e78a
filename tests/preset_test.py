# SPDX-License-Identifier: MIT
"""Presets: what `vx310ctl save`, `diff` and `restore` read, write and change.

usage: preset_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import fcntl
import json
import os
import plistlib
import subprocess
import sys
import unittest

import jsonschema

from panel_session import TIME_LIMIT
from tool_session import SCHEMA, TOOL, ToolTest

DIFFERENT = 5
DEFAULTS = {
    "input_1_2": "analog-1-2",
    "input_3_4": "analog-3-4",
    "input_5_6": "digital",
    "line_output": "playback-1-2",
    "digital_output": "playback-3-4",
    "clock_source": "automatic",
    "digital_output_format": "consumer",
}
OTHERS = {
    "input_1_2": "loopback",
    "input_3_4": "digital",
    "input_5_6": "analog-3-4",
    "line_output": "input-5-6",
    "digital_output": "input-1-2",
    "clock_source": "internal",
    "digital_output_format": "professional",
}
# As the panel stores OTHERS.
CHOICES = {"In12": 3, "In34": 2, "In56": 1, "Out12": 4, "Out34": 2, "ClockSource": 1, "DigOutFormat": 1}
HEAD = {"schema": 1, "vendor_id": 0x7F21, "product_id": 0x5D12}


class PresetTest(ToolTest):
    """A session with a driver and without an audio server."""

    def setUp(self):
        super().setUp()
        self.start_driver()
        self.file = self.session.folder / "preset.json"

    def settings(self):
        return self.json("get", "get")["settings"]

    def write(self, settings, **head):
        self.file.write_text(json.dumps({**HEAD, **head, "settings": settings}))

    def stored(self, name="panel"):
        path = self.session.folder / f"config/vantrel/preferences/com.vantrel.vx310.{name}.plist"
        return plistlib.loads(path.read_bytes()) if path.exists() else None

    def expect_failure(self, words, message, status=1):
        """The call fails with this line and changes nothing."""
        before = self.settings(), self.stored(), self.stored("hal")
        self.assertEqual(self.call(TOOL, *words), (status, "", message))
        self.assertEqual((self.settings(), self.stored(), self.stored("hal")), before)


class WithAudio(PresetTest):
    def setUp(self):
        ToolTest.setUp(self)
        self.session.start_pipewire()
        self.start_driver()
        self.wait_for_audio_device()
        self.file = self.session.folder / "preset.json"

    def test_what_was_saved_is_restored_and_undone(self):
        self.assertEqual(self.ctl("save", self.file), "")
        self.assertEqual(self.held("preset", self.file.read_text()), {**HEAD, "settings": DEFAULTS})
        self.assertEqual(self.file.read_text().count("\n"), 14)
        self.assertEqual(self.ctl("diff", self.file), "")
        for setting, word in OTHERS.items():
            self.ctl("set", setting.replace("_", "-"), word)
        others = self.session.folder / "others.json"
        self.ctl("save", others)
        changes = self.ctl("diff", self.file, status=DIFFERENT)
        self.assertIn("line-output:            Input 5/6 -> Playback 1/2\n", changes)
        self.assertEqual(changes.count("\n"), 7)
        differences = self.json("diff", "diff", self.file, status=DIFFERENT)["differences"]
        self.assertEqual(differences, {name: {"interface": OTHERS[name], "preset": DEFAULTS[name]} for name in OTHERS})

        self.assertEqual(self.ctl("restore", self.file), changes)
        self.assertEqual(self.settings(), DEFAULTS)
        self.ctl("restore", "--undo")
        self.assertEqual(self.settings(), OTHERS)
        self.assertEqual(self.ctl("diff", others), "")
        self.expect_failure(("restore", "--undo"), "vx310ctl: there is no restore to undo\n")

    def test_what_is_restored_is_stored_as_the_users_choices(self):
        self.write(OTHERS)
        self.ctl("restore", self.file)
        self.assertEqual(self.stored(), {**CHOICES, "AudioPerformance": 0, "USB11Mode": 0, "Version": "1.00"})
        self.assertEqual(self.stored("hal")["ClockSource"], "1")
        self.assertEqual(self.stored("hal")["DigitalOutMode"], "1")
        self.write({"input_1_2": "digital"})
        self.ctl("restore", self.file)
        self.assertEqual(self.stored()["In12"], 2)
        self.assertEqual(self.stored()["In34"], 2)

    def test_a_preset_may_have_some_settings_only(self):
        self.write({"line_output": "input-1-2"})
        self.assertEqual(self.ctl("restore", self.file), "line-output:            Playback 1/2 -> Input 1/2\n")
        self.assertEqual(self.settings(), {**DEFAULTS, "line_output": "input-1-2"})
        self.ctl("set", "clock-source", "internal")
        self.assertEqual(self.ctl("restore", "--undo"), "line-output:            Input 1/2 -> Playback 1/2\n")
        self.assertEqual(self.settings(), {**DEFAULTS, "clock_source": "internal"})

    def test_standard_input_and_output_are_files_too(self):
        text = self.ctl("save", "-")
        self.held("preset", text)
        self.ctl("set", "line-output", "input-1-2")
        self.assertEqual(self.call(TOOL, "diff", "-", stdin=None, input=text)[0], DIFFERENT)
        status, output, errors = self.call(TOOL, "restore", "-", stdin=None, input=text)
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(output, "line-output:            Input 1/2 -> Playback 1/2\n")
        self.assertEqual(self.settings(), DEFAULTS)
        self.assertEqual(self.call(TOOL, "restore", "-"),
                         (1, "", "vx310ctl: standard input is no preset: it is cut or no JSON\n"))


class Refusals(PresetTest):
    def test_settings_that_the_interface_did_not_take_are_told(self):
        self.write(OTHERS)
        self.session.sim("fault", "ignore", "always")
        status, output, errors = self.call(TOOL, "restore", self.file)
        self.assertEqual(status, 1)
        self.assertEqual(output.count("\n"), 7)
        self.assertEqual(errors.count("did not take"), 7)
        self.assertIn("vx310ctl: the interface did not take clock-source Internal; it is Automatic\n", errors)
        self.assertIn("vx310ctl: the audio server has no device VX-310; is PipeWire running?\n", errors)
        self.assertEqual(self.settings(), DEFAULTS)
        self.assertEqual(self.stored()["ClockSource"], 1)

    def test_a_first_restore_stores_the_default_for_what_no_menu_has(self):
        self.session.sim("digital-input", "valid", 48000)
        self.session.sim("clock", "digital")
        self.write({"digital_output_format": "professional"})
        self.ctl("restore", self.file)
        self.assertEqual(self.settings()["clock_source"], "digital")
        self.assertEqual((self.stored()["ClockSource"], self.stored()["DigOutFormat"]), (0, 1))
        self.assertEqual((self.stored()["In56"], self.stored()["Out34"]), (2, 1))

    def test_a_restore_of_which_nothing_can_be_undone_ends_the_undo_before(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        self.session.sim("digital-input", "valid", 48000)
        self.session.sim("clock", "digital")
        self.assertEqual(self.call(TOOL, "restore", self.file),
                         (0, "clock-source:           digital -> Internal\n",
                          "vx310ctl: clock-source is digital, which no preset can hold\n"))
        self.expect_failure(("restore", "--undo"), "vx310ctl: there is no restore to undo\n")

    def test_an_undo_that_was_not_taken_can_be_tried_again(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        self.session.sim("fault", "refuse", "always")
        self.ctl("restore", "--undo", status=1)
        self.session.sim("fault", "none")
        self.ctl("restore", "--undo")
        self.assertEqual(self.settings(), DEFAULTS)

    def test_a_restore_that_changes_nothing_keeps_the_undo(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        self.assertEqual(self.ctl("restore", self.file), "")
        self.assertEqual(self.ctl("restore", "--undo"), "clock-source:           Internal -> Automatic\n")

    def test_the_undo_is_for_its_user_alone(self):
        self.write({"clock_source": "internal"})
        undo = self.session.folder / "config/vantrel/preferences/vx310ctl-undo.json"
        undo.parent.mkdir(parents=True, exist_ok=True)
        undo.touch(0o644)
        self.ctl("restore", self.file)
        self.assertEqual(undo.stat().st_mode & 0o777, 0o600)

    def test_a_restore_beside_another_one_is_refused(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        undo = self.session.folder / "config/vantrel/preferences/vx310ctl-undo.json"
        kept = undo.read_text()
        with open(f"{undo}.lock") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            undo.write_text("being replaced")
            for words in (("restore", self.file), ("restore", "--undo")):
                self.expect_failure(words, f"vx310ctl: {undo} cannot be locked: another restore is running\n")
            undo.write_text(kept)
        self.ctl("restore", "--undo")
        self.assertEqual(self.settings(), DEFAULTS)

    def test_choices_that_are_replaced_or_damaged_are_told(self):
        self.write({"clock_source": "internal"})
        store = self.session.folder / "config/vantrel/preferences/com.vantrel.vx310.panel.plist"
        store.parent.mkdir(parents=True, exist_ok=True)
        store.write_bytes(plistlib.dumps({"Version": "7.00", "ClockSource": 0}))
        self.assertEqual(self.call(TOOL, "restore", self.file)[2],
                         "vx310ctl: the panel's choices were of version 7.00; they are replaced\n")
        self.assertEqual((self.stored()["Version"], self.stored()["ClockSource"]), ("1.00", 1))
        self.assertEqual(self.call(TOOL, "restore", self.file), (0, "", ""))
        for number, path in ((1, store), (1, store.with_name("com.vantrel.vx310.hal.plist")), (2, store)):
            path.write_bytes(b"<?xml ")
            self.assertEqual(self.call(TOOL, "restore", self.file),
                             (0, "", f"vx310ctl: {path} was damaged; it is kept as {path}.damaged-{number}\n"))

    def test_a_setting_that_is_not_reported_stops_it(self):
        self.write(OTHERS)
        self.session.sim("fault", "missing", "command", 27, "always")
        for words in (("save", self.session.folder / "none.json"), ("diff", self.file), ("restore", self.file)):
            self.assertEqual(
                self.call(TOOL, *words), (1, "", "vx310ctl: the interface does not report its digital-output-format\n")
            )
        self.session.sim("fault", "none")
        self.assertFalse((self.session.folder / "none.json").exists())
        self.assertEqual(self.settings(), DEFAULTS)
        self.assertIsNone(self.stored())

    def test_without_an_interface_or_a_driver_nothing_is_restored(self):
        self.write(OTHERS)
        self.session.sim("unplug")
        for status, reason in ((4, "no interface is connected"), (3, "no driver service is running")):
            for words in (("save", "-"), ("diff", self.file), ("restore", self.file)):
                result = self.call(TOOL, *words)
                self.assertEqual(result[:2], (status, ""))
                self.assertIn(reason, result[2])
            if status == 4:
                self.session.end("driver")
        self.assertIsNone(self.stored())

    def test_choices_that_cannot_be_stored_are_told(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        lock = self.session.folder / "config/vantrel/preferences/com.vantrel.vx310.panel.plist.lock"
        with open(lock) as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            status, _, errors = self.call(TOOL, "restore", "--undo")
            self.assertEqual((status, errors), (1, "vx310ctl: the settings could not be stored as the panel's choices\n"))
        self.assertEqual(self.settings(), DEFAULTS)

    def test_nothing_is_changed_when_it_cannot_be_undone_or_told(self):
        self.write(OTHERS)
        undo = self.session.folder / "config/vantrel/preferences/vx310ctl-undo.json"
        undo.mkdir(parents=True)
        status, output, errors = self.call(TOOL, "restore", self.file)
        self.assertEqual((status, output), (1, ""))
        self.assertEqual(errors, f"vx310ctl: {undo} cannot be written: Is a directory\n"
                         "vx310ctl: nothing was changed, as it could not be undone\n")
        self.assertEqual(self.settings(), DEFAULTS)
        undo.rmdir()
        reader, writer = os.pipe()
        os.close(reader)
        status, _, errors = self.call(TOOL, "restore", self.file, capture_output=False, stdout=writer, stderr=subprocess.PIPE)
        os.close(writer)
        self.assertEqual((status, errors), (1, "vx310ctl: the output cannot be written\n"))
        self.assertEqual(self.settings(), DEFAULTS)
        self.assertIsNone(self.stored())


class WrongFiles(PresetTest):
    def expect_wrong(self, problem):
        for command in ("restore", "diff"):
            self.expect_failure((command, self.file), f"vx310ctl: {self.file} {problem}\n")

    def test_a_preset_of_another_schema_or_device_is_refused(self):
        for schema in (2, 0, "1", None):
            self.write(OTHERS, schema=schema)
            self.expect_wrong(f"is a preset of schema {json.dumps(schema)}; this program knows 1")
        self.write(OTHERS, product_id=0x5D13)
        self.expect_wrong("is a preset of another device (vendor_id 32545, product_id 23827)")
        self.file.write_text(json.dumps({"schema": 1, "settings": OTHERS}))
        self.expect_wrong("is a preset of another device (vendor_id none, product_id none)")

    def test_what_is_restored_is_what_the_schema_calls_a_preset(self):
        preset = jsonschema.Draft202012Validator({**SCHEMA, "anyOf": [{"$ref": "#/$defs/preset"}]})
        whole = {**HEAD, "settings": DEFAULTS}
        for content in (self.ctl("show", "--json"), self.ctl("get", "--json"), self.ctl("list", "--json"),
                        {**whole, "comment": "studio"}, {**whole, "schema": 1.0}, {**whole, "vendor_id": 32545.0},
                        {**whole, "schema": 2}, {**whole, "settings": {}}, {**whole, "product_id": "23826"},
                        *({**whole, "settings": {**DEFAULTS, **other}} for other in (
                            {"new": "word"}, {"clock_source": None}, {"clock_source": "digital"}, {"input_1_2": 1}))):
            text = content if isinstance(content, str) else json.dumps(content)
            self.file.write_text(text)
            with self.subTest(text=text):
                self.assertEqual(self.call(TOOL, "restore", self.file)[0], 0 if preset.is_valid(json.loads(text)) else 1)

    def test_a_preset_that_was_cut_is_refused_wherever_it_was_cut(self):
        text = self.ctl("save", "-")
        for end in range(len(text) - 2):
            self.file.write_text(text[:end])
            self.assertEqual(self.call(TOOL, "diff", self.file),
                             (1, "", f"vx310ctl: {self.file} is no preset: it is cut or no JSON\n"))
        self.expect_wrong("is no preset: it is cut or no JSON")

    def test_a_file_that_is_no_preset_is_refused(self):
        for content in ("[]", "1", "\0" * 100, "{" * 5000, "[" * 60000):
            self.file.write_text(content)
            self.expect_wrong("is no preset: it is cut or no JSON")
        self.file.write_text('{"interfaces": []}')
        self.expect_wrong("is no preset: it has no schema or no settings")
        for settings in ({}, [], None, "all"):
            self.write(settings)
            self.expect_wrong("has no settings")
        self.file.write_text(" " * 65537)
        self.expect_wrong("cannot be read: File too large")

    def test_one_wrong_setting_keeps_the_others_from_being_set(self):
        self.write({**OTHERS, "volume": 11})
        self.expect_wrong("has an unknown setting 'volume'")
        self.write({**OTHERS, "clock-source": "internal"})
        self.expect_wrong("has an unknown setting 'clock-source'")
        for setting, value in (("clock_source", "digital"), ("line_output", "loopback"), ("input_1_2", 1),
                               ("digital_output_format", None), ("input_5_6", ["digital"])):
            self.write({**OTHERS, setting: value})
            self.expect_wrong(f"sets {setting} to {json.dumps(value, separators=(',', ':'))}, which it cannot be")
        self.write({**OTHERS, "line_output": "\x1b[2J"})
        self.expect_wrong('sets line_output to "\\u001b[2J", which it cannot be')

    def test_a_file_that_cannot_be_read_or_written_is_named(self):
        self.expect_failure(("restore", self.session.folder / "none"),
                            f"vx310ctl: {self.session.folder}/none cannot be read: No such file or directory\n")
        self.expect_failure(("restore", self.session.folder),
                            f"vx310ctl: {self.session.folder} cannot be read: Is a directory\n")
        for file, reason in ((self.session.folder, "Is a directory"), ("/dev/full", "No space left on device"),
                             (self.session.folder / "none/preset", "No such file or directory")):
            self.expect_failure(("save", file), f"vx310ctl: {file} cannot be written: {reason}\n")
        self.expect_failure(("restore", ""), "vx310ctl: '' cannot be read: No such file or directory\n")
        self.assertEqual(self.call(TOOL, "save")[0], 2)
        self.assertEqual(self.call(TOOL, "restore")[0], 2)
        self.assertEqual(self.call(TOOL, "restore", self.file, "--undo")[0], 2)

    def test_saving_replaces_a_file_as_a_whole_and_keeps_a_link(self):
        link = self.session.folder / "link.json"
        link.symlink_to(self.file)
        self.file.write_text("x" * 10000)
        self.ctl("save", link)
        self.assertTrue(link.is_symlink())
        self.held("preset", self.file.read_text())
        self.assertEqual(list(self.session.folder.glob("*vx310ctl-new*")), [])

    def test_a_new_file_in_the_current_folder_is_written(self):
        self.assertEqual(self.call(TOOL, "save", "new.json", cwd=self.session.folder), (0, "", ""))
        self.held("preset", (self.session.folder / "new.json").read_text())

    def test_a_file_is_saved_in_a_folder_that_cannot_be_synced(self):
        folder = self.session.folder / "unreadable"
        folder.mkdir()
        folder.chmod(0o300)
        without_rights = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        done = subprocess.run([*without_rights, self.session.bin / TOOL, "save", folder / "new.json"],
                              capture_output=True, text=True, timeout=TIME_LIMIT)
        folder.chmod(0o700)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.held("preset", (folder / "new.json").read_text())

    def test_saving_removes_no_file_of_others(self):
        save = f'touch "$0.vx310ctl-new-$$"; exec "{self.session.bin / TOOL}" save "$0"'
        subprocess.run(["sh", "-c", save, self.file], check=True, timeout=TIME_LIMIT)
        self.held("preset", self.file.read_text())
        self.assertEqual(len(list(self.session.folder.glob("*vx310ctl-new*"))), 1)

    def test_saving_keeps_who_may_read_the_file(self):
        for mode in (0o600, 0o664):
            self.file.touch()
            self.file.chmod(mode)
            self.ctl("save", self.file)
            self.assertEqual(self.file.stat().st_mode & 0o777, mode)

    def test_several_may_save_to_one_file_at_once(self):
        for _ in range(3):
            saves = [subprocess.Popen([self.session.bin / TOOL, "save", self.file], stderr=subprocess.PIPE, text=True)
                     for _ in range(8)]
            ends = [(save.communicate(timeout=TIME_LIMIT)[1], save.returncode) for save in saves]
            self.assertEqual(ends, [("", 0)] * 8)
            self.held("preset", self.file.read_text())

    def test_an_undo_file_that_is_damaged_is_refused(self):
        self.write({"clock_source": "internal"})
        self.ctl("restore", self.file)
        undo = self.session.folder / "config/vantrel/preferences/vx310ctl-undo.json"
        self.held("preset", undo.read_text())
        undo.write_text(undo.read_text()[:50])
        self.expect_failure(("restore", "--undo"), f"vx310ctl: {undo} is no preset: it is cut or no JSON\n")

    def test_a_value_that_only_other_programs_choose_is_not_saved(self):
        self.ctl("set", "digital-output-format", "professional")
        self.session.sim("fault", "garbled", "command", 27, "always")
        problem = "vx310ctl: digital-output-format is -2, which no preset can hold\n"
        self.assertEqual(self.call(TOOL, "save", self.file), (1, "", problem))
        self.assertFalse(self.file.exists())
        # A preset that sets it is restored; the undo leaves that setting as it is.
        self.write({"clock_source": "internal", "digital_output_format": "consumer"})
        status, output, errors = self.call(TOOL, "restore", self.file)
        self.assertIn("digital-output-format:  -2 -> Consumer (S/PDIF)\n", output)
        self.assertTrue(errors.startswith(problem), errors)
        self.session.sim("fault", "none")
        self.assertEqual(self.ctl("restore", "--undo"), "clock-source:           Internal -> Automatic\n")


def main():
    ToolTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
