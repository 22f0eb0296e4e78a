#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of scripts/check-style: each check passes on this tree and fails on a planted fault."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent


class CheckStyle(unittest.TestCase):
    def setUp(self):
        """A copy of the tree's files, in which faults can be planted."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        git = ["git", "-C", TOP, "ls-files", "-z"]
        for name in subprocess.check_output(git, text=True).split("\0"):
            if name and ((TOP / name).is_file() or (TOP / name).is_symlink()):
                (self.top / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(TOP / name, self.top / name, follow_symlinks=False)
        for command in (["init", "-q"], ["add", "-A"]):
            subprocess.check_call(["git", "-C", self.top, *command])

    def plant(self, name, text):
        """Appends the text to the file, which may be new."""
        with open(self.top / name, "a", encoding="utf-8") as file:
            file.write(text)
        subprocess.check_call(["git", "-C", self.top, "add", name])

    def check(self, *words):
        """Runs the check; returns its exit status and what it printed."""
        command = [self.top / "scripts/check-style", *words]
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return result.returncode, result.stdout

    def expect_fault(self, name, *words):
        status, output = self.check(*words)
        self.assertEqual(1, status, output)
        self.assertIn(name, output)

    def test_the_tree_passes_the_quick_checks(self):
        for check in ("format", "shell", "licences", "links", "desktop", "survivors"):
            status, output = self.check(check)
            self.assertEqual(0, status, output)

    @unittest.skipUnless(shutil.which("clang-format-14"), "needs clang-format 14")
    def test_code_that_is_not_formatted_is_found(self):
        self.plant("device/version.cpp", "int   x ;\n")
        self.expect_fault("device/version.cpp", "format")

    @unittest.skipUnless(shutil.which("clang-tidy-14"), "needs clang-tidy 14")
    def test_what_clang_tidy_finds_is_found(self):
        self.plant("foundation/xml/entities.cpp", "int* nothing() { return 0; }\n")
        self.expect_fault("modernize-use-nullptr", "tidy", "foundation/xml/entities.cpp")

    def test_a_fault_in_a_script_is_found(self):
        self.plant("scripts/run", "rm $undefined\n")
        self.expect_fault("scripts/run", "shell")

    def test_a_source_without_a_licence_is_found(self):
        self.plant("io/new.h", "#pragma once\n")
        self.expect_fault("io/new.h", "licences")

    def test_a_link_that_leads_nowhere_is_found(self):
        self.plant("README.md", "[gone](docs/gone.md)\n")
        self.expect_fault("docs/gone.md", "links")

    def test_a_link_in_any_form_of_markdown_is_followed(self):
        for link in ('[gone](docs/gone.md "Title")', "[gone](<docs/gone.md>)", "[gone]: docs/gone.md"):
            with self.subTest(link):
                self.plant("CHANGELOG.md", f"\n{link}\n")
                self.expect_fault("docs/gone.md", "links", "CHANGELOG.md")

    def test_a_link_to_a_heading_that_is_not_there_is_found(self):
        self.plant("README.md", "[gone](CONTRIBUTING.md#no-such-heading)\n")
        self.expect_fault("no-such-heading", "links")

    def test_a_faulty_desktop_entry_is_found(self):
        self.plant("packaging/vx310-panel.desktop", "Terminal=perhaps\n")
        self.expect_fault("vx310-panel.desktop", "desktop")

    def test_an_explanation_of_no_planted_fault_is_found(self):
        self.plant("tests/mutation_survivors.txt", "io/status.cpp: gone(); -> (dropped)\n  Nothing notices it.\n")
        self.expect_fault("io/status.cpp: gone(); -> (dropped)", "survivors")

    def test_wrong_metadata_for_software_centres_is_found(self):
        self.plant("packaging/com.vantrel.vx310.panel.metainfo.xml", "<component/>\n")
        self.expect_fault("FAILED: desktop", "desktop")

    def test_a_check_that_does_not_exist_is_refused(self):
        self.expect_fault("usage", "formatting")


if __name__ == "__main__":
    unittest.main(verbosity=2)
