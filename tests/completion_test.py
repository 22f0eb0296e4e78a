# SPDX-License-Identifier: MIT
"""Shells complete vx310ctl's command line: run as completion_test.py BUILD_FOLDER.

Types into an interactive shell on a terminal, with the completion file that is installed. A shell that is
not here is skipped.
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

COMPLETIONS = pathlib.Path(__file__).resolve().parent.parent / "packaging/completions"
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


class Completion(unittest.TestCase):
    def start(self, *command, **environment):
        if not shutil.which(command[0]):
            self.skipTest(f"{command[0]} is not here")
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
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
                done = subprocess.run(["fish", "--no-config", "--command", script, line], text=True, check=True,
                                      capture_output=True, env={**os.environ, "HOME": folder}, timeout=TIME_LIMIT)
            return done.stdout.splitlines()

        self.assertEqual(complete("vx310ctl sh"), ["show\tShow all that an interface reports"])
        self.assertEqual(complete("vx310ctl show --j"), ["--json\tPrint JSON"])
        self.assertEqual(complete("vx310ctl set cl"), ["clock-source"])
        self.assertEqual(complete("vx310ctl set line-output Input\\ 5"), ["Input 5/6"])
        self.assertEqual(complete("vx310ctl set line-output 'Input 5"), ["Input 5/6"])
        self.assertEqual(complete("vx310ctl help wat"), ["watch"])


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
