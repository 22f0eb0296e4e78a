# SPDX-License-Identifier: MIT
"""The command lines of the three programs, and what vx310ctl prints for other programs.

usage: tool_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import os
import subprocess
import sys
import unittest

from panel_session import TIME_LIMIT, Session

BUILD = None

PANEL, DRIVER, TOOL = "vx310-panel", "vx310-driver", "vx310ctl"
COMMANDS = ("list", "show", "get", "set", "watch", "sim", "help")
# What has output while a driver is running.
PRINTING = (
    (TOOL, "list"),
    (TOOL, "show"),
    (TOOL, "get"),
    (TOOL, "watch"),
    (TOOL, "sim", "state"),
    (TOOL, "sim", "help"),
    (TOOL, "--help"),
    (TOOL, "--version"),
    (TOOL, "set", "help"),
    (DRIVER, "--help"),
    (PANEL, "--help"),
    (PANEL, "--version"),
)


class ToolTest(unittest.TestCase):
    """A session with a bus; nothing else is running yet."""

    def setUp(self):
        self.session = Session(BUILD)
        self.addCleanup(self.session.close)

    def start_driver(self):
        """Starts the driver service and waits for its interface."""
        self.session.start_driver()
        self.session.start("watch", self.session.bin / TOOL, "watch", stdout=subprocess.PIPE)
        self.session.wait_for_line("watch", "connected")
        self.session.end("watch")

    def call(self, *words, **options):
        """Runs one of the programs; returns its exit status, output and errors."""
        command = [str(self.session.bin / words[0]), *(str(word) for word in words[1:])]
        options = {"capture_output": True, "text": True, "stdin": subprocess.DEVNULL, **options}
        result = subprocess.run(command, timeout=TIME_LIMIT, **options)
        return result.returncode, result.stdout, result.stderr

    def ctl(self, *words, status=0):
        """The output of vx310ctl, which must end with this status."""
        result = self.call(TOOL, *words)
        self.assertEqual(result[0], status, result)
        return result[1]


class CommandLines(ToolTest):
    def expect_the_help(self, *words):
        helps = [self.call(*words, word) for word in ("--help", "-h", "help")]
        with self.subTest(words=words):
            self.assertEqual(helps[0][0], 0, helps[0])
            self.assertIn(f"Usage: {' '.join(words)} ", helps[0][1])
            self.assertEqual(helps, [helps[0]] * 3)

    def test_the_help_of_a_program_and_of_a_command_is_had_in_three_ways(self):
        os.environ.pop("DISPLAY")
        for program in (TOOL, DRIVER, PANEL):
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

    def test_the_word_help_is_a_word_like_others_where_one_is_awaited(self):
        self.assertEqual(self.call(TOOL, "set", "clock-source", "help")[0], 2)
        self.start_driver()
        self.ctl("sim", "product-name", "help")
        self.assertEqual(self.ctl("list"), "0  7F21:5D12  help\n")

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
                self.assertRegex(errors, rf"^{words[0]}: (the output cannot be written|nobody reads the output any more)\n$")

    def test_watch_ends_when_its_reader_goes(self):
        for words in ((), ("--json",)):
            command = [self.session.bin / TOOL, "watch", *words]
            watch = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            self.assertIn("connected", watch.stdout.readline())
            watch.stdout.close()
            self.assertEqual(watch.wait(TIME_LIMIT), 1)
            self.assertEqual(watch.stderr.read(), "vx310ctl: nobody reads the output any more\n")
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


def main():
    global BUILD
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
