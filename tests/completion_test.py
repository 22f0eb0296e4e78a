# SPDX-License-Identifier: MIT
"""Shells complete vx310ctl's command line: run as completion_test.py BUILD_FOLDER Class.test_method.

Types into an interactive shell on a terminal, with the completion file that is installed. A shell that is
not here is skipped. Each test runs in a process of its own, since its servers are found through the environment.
"""

import os
import pathlib
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from shlex import quote

from tool_session import DRIVER, ToolTest

COMPLETIONS = pathlib.Path(__file__).resolve().parent.parent / "packaging/completions"
FILE = "studio.json"
TIME_LIMIT = 30  # seconds until a shell has completed a word; far above what it takes


# In place of vx310ctl, to see the words that it would get.
PRINT_WORDS = """vx310ctl() { case $1 in --complete) command vx310ctl "$@" ;; *) printf '<%s>' "$@" ;; esac; }"""


class Shell:
    """An interactive shell in a folder of its own, with vx310ctl on its path."""

    def __init__(self, folder, *command, **environment):
        self.printed = ""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.environ.update(HOME=folder, TERM="dumb", LC_ALL="C.UTF-8", PS1="> ", **environment)
            os.environ["PATH"] = f"{BUILD}/bin:{os.environ['PATH']}"
            os.execvp(command[0], command)

    def close(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.terminal)

    def type(self, text):
        os.write(self.terminal, text.encode())

    def read_until(self, text):
        """Waits until the shell has printed the text after what was read before; returns all up to it."""
        end = time.monotonic() + TIME_LIMIT
        while text not in self.printed:
            ready, _, _ = select.select([self.terminal], [], [], max(0, end - time.monotonic()))
            if not ready:
                raise AssertionError(f"no {text!r} in {self.printed!r}")
            self.printed += os.read(self.terminal, 4096).decode(errors="replace")
        before, _, self.printed = self.printed.partition(text)
        return before + text


class CompletionTest(ToolTest):
    """A session with a driver, whose words of `vx310ctl sim` are completed."""

    def setUp(self):
        super().setUp()
        self.start_driver()


class Completion(CompletionTest):
    def start(self, *command, **environment):
        if not shutil.which(command[0]):
            self.skipTest(f"{command[0]} is not here")
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        (pathlib.Path(folder.name) / FILE).touch()
        self.shell = Shell(folder.name, *command, **environment)
        self.addCleanup(self.shell.close)

    def expect_completion(self, typed, *words):
        """The shell passes these words on after a line that ends with a tabulator."""
        self.shell.type(f"vx310ctl {typed}\t\r")
        self.shell.read_until("".join(f"<{word}>" for word in words))

    def expect_completions(self):
        self.expect_completion("sh", "show")
        self.expect_completion("show --j", "show", "--json")
        self.expect_completion("set cl", "set", "clock-source")
        self.expect_completion("set clock-source Int", "set", "clock-source", "Internal")
        self.expect_completion("set line-output Input\\ 5", "set", "line-output", "Input 5/6")
        self.expect_completion('set line-output "Input 5', "set", "line-output", "Input 5/6")
        self.expect_completion("help wat", "help", "watch")
        for command in ("save", "diff", "restore"):
            self.expect_completion(f"{command} stu", command, FILE)
        self.expect_completion("restore --u", "restore", "--undo")
        self.expect_completion("sim unp", "sim", "unplug")
        self.expect_completion("sim --interface 1 digital-input mut",
                               "sim", "--interface", "1", "digital-input", "muted")
        self.expect_completion("sim fault garb", "sim", "fault", "garbled")
        self.expect_completion("sim fault garbled al", "sim", "fault", "garbled", "always")
        self.expect_completion("sim state --j", "sim", "state", "--json")

    def test_bash(self):
        self.start("bash", "--norc", "--noprofile")
        self.shell.type(f"{PRINT_WORDS}; . {quote(f'{COMPLETIONS}/vx310ctl')}\r")
        self.expect_completions()

    def test_zsh(self):
        self.start("zsh", "-f")
        self.shell.type(f"{PRINT_WORDS}; fpath=({quote(str(COMPLETIONS))} $fpath); autoload -U compinit; compinit -u -D\r")
        self.expect_completions()

    @unittest.skipUnless(shutil.which("fish"), "fish is not here")
    def test_fish(self):
        script = (f"source {quote(f'{COMPLETIONS}/vx310ctl.fish')}; set PATH {quote(f'{BUILD}/bin')} $PATH; "
                  "complete --do-complete $argv")

        def complete(line):
            with tempfile.TemporaryDirectory() as folder:
                (pathlib.Path(folder) / FILE).touch()
                done = subprocess.run(["fish", "--no-config", "--command", script, line], text=True, check=True,
                                      capture_output=True, cwd=folder, env={**os.environ, "HOME": folder}, timeout=TIME_LIMIT)
            return done.stdout.splitlines()

        self.assertEqual(complete("vx310ctl sh"), ["show\tShow all that an interface reports"])
        self.assertEqual(complete("vx310ctl show --j"), ["--json\tPrint JSON"])
        self.assertEqual(complete("vx310ctl set cl"), ["clock-source"])
        self.assertEqual(complete("vx310ctl set line-output Input\\ 5"), ["Input 5/6"])
        self.assertEqual(complete("vx310ctl set line-output 'Input 5"), ["Input 5/6"])
        self.assertEqual(complete("vx310ctl help wat"), ["watch"])
        self.assertEqual(complete("vx310ctl save stu"), [FILE])
        self.assertEqual(complete("vx310ctl sim fault garb"), ["garbled"])


class Sim(CompletionTest):
    def words(self, *before):
        return self.ctl("--complete", "sim", *before, "").splitlines()

    def test_words_of_sim_are_those_of_the_running_drivers_help(self):
        self.assertIn("unplug", self.words())
        self.assertNotIn("garbled", self.words())
        self.assertNotIn("Usage:", self.words())
        self.assertEqual(self.words("usb"), ["2.0", "1.1"])
        self.assertEqual(self.words("fault")[:3], ["none", "stall", "command"])
        self.assertIn("late", self.words("fault"))
        self.assertNotIn("late", self.words("fault", "short"))
        self.assertEqual(self.words("no-such-command"), [])

    def test_without_a_driver_that_answers_there_are_none_and_none_is_started(self):
        service = self.session.folder / "services/com.vantrel.Driver1.service"
        service.write_text(f"[D-BUS Service]\nName=com.vantrel.Driver1\nExec={self.session.bin / DRIVER}\n")
        self.session.run("busctl", "--user", "call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "ReloadConfig")
        driver = self.session.processes["driver"].pid
        self.addCleanup(self.session.processes["driver"].send_signal, signal.SIGCONT)
        os.kill(driver, signal.SIGSTOP)
        os.waitid(os.P_PID, driver, os.WSTOPPED)
        self.assertEqual(self.words(), [])
        os.kill(driver, signal.SIGCONT)
        self.session.end("driver")
        self.assertEqual(self.words(), [])
        self.assertNotEqual(subprocess.run(["busctl", "--user", "status", "com.vantrel.Driver1"],
                                           capture_output=True).returncode, 0)


if __name__ == "__main__":
    BUILD = ToolTest.build = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
