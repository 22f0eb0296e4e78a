# SPDX-License-Identifier: MIT
"""What is installed is hardened: run as hardening_test.py BUILD_FOLDER.

Reads the installed programs with readelf, so that it sees what the compiler and the linker made of
their options, whatever these were.
"""

import os
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

# Highest exposure score of systemd-analyze allowed, in tenths: 0 is the best score, 100 the worst.
LARGEST_EXPOSURE = 15
PROGRAMS = ("vx310-panel", "vx310-driver", "vx310-check-driver", "vx310ctl")
SECURITY = pathlib.Path(__file__).resolve().parent.parent / "docs/security.md"


def readelf(*arguments):
    return subprocess.run(["readelf", "--wide", *arguments], capture_output=True, text=True, check=True).stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.folder.name], check=True, capture_output=True)

    def for_each(self, check):
        for program in PROGRAMS:
            with self.subTest(program):
                check(pathlib.Path(self.folder.name, "bin", program))

    def test_programs_are_loaded_at_a_random_address(self):
        self.for_each(lambda file: self.assertRegex(readelf("--file-header", file), r"Type: +DYN"))

    def test_the_stack_is_not_executable(self):
        self.for_each(lambda file: self.assertRegex(readelf("--program-headers", file), r"GNU_STACK .* RW +0x"))

    def test_relocations_are_bound_at_the_start_and_read_only(self):
        def check(file):
            self.assertIn("GNU_RELRO", readelf("--program-headers", file))
            self.assertRegex(readelf("--dynamic", file), r"FLAGS_1.*\bNOW\b")

        self.for_each(check)

    def test_functions_check_their_stack(self):
        self.for_each(lambda file: self.assertIn("__stack_chk_fail", readelf("--dyn-syms", file)))

    def test_library_calls_check_the_sizes_of_their_buffers(self):
        self.for_each(lambda file: self.assertRegex(readelf("--dyn-syms", file), r"__\w+_chk@GLIBC"))

    # An executable's tables do not tell whether large stack frames are probed page by page, nor, where
    # the C library's own start files lack it, whether indirect jumps are checked. The debug information
    # has the options of each source file.
    def test_every_file_was_compiled_with_the_options_that_leave_no_trace(self):
        options = ["-fstack-clash-protection"]
        if platform.machine() == "x86_64":
            options.append("-fcf-protection=full")

        def check(file):
            units = re.findall(r"DW_AT_producer.*: (GNU C\+\+.*)", readelf("--debug-dump=info", "--dwarf-depth=1", file))
            self.assertTrue(units)
            for option in options:
                self.assertEqual([unit for unit in units if option not in unit], [])

        self.for_each(check)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not here")
    def test_the_drivers_unit_is_sound_and_its_sandbox_tight(self):
        (unit,) = pathlib.Path(self.folder.name).glob("*/systemd/user/vx310-driver.service")
        environment = {**os.environ, "XDG_RUNTIME_DIR": self.folder.name}

        def analyze(*arguments):
            done = subprocess.run(["systemd-analyze", "--user", "--no-pager", *arguments, unit], env=environment,
                                  capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
            return done.stdout

        analyze("verify")
        shown = analyze("security", "--offline=true", f"--threshold={LARGEST_EXPOSURE}")
        # Each version counts in its own way; docs/security.md has the figures of some.
        version = subprocess.run(["systemd-analyze", "--version"], capture_output=True, text=True).stdout.split()[1]
        counted = re.search(r"exposure level for \S+ ([\d.]+)", shown).group(1)
        for figure in re.findall(rf"systemd {version},.*\| ([\d.]+) of 10", SECURITY.read_text(encoding="utf-8")):
            self.assertEqual(figure, counted)


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
