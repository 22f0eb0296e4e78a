#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of check_includes.py on small trees that break one rule each."""

import pathlib
import tempfile
import unittest

import check_includes


class CheckIncludes(unittest.TestCase):
    def faults_of(self, files):
        with tempfile.TemporaryDirectory() as folder:
            top = pathlib.Path(folder)
            for name, lines in files.items():
                path = top / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(lines, encoding="utf-8")
            return list(check_includes.faults(top))

    def test_a_tree_whose_includes_go_down_has_no_fault(self):
        self.assertEqual(
            [],
            self.faults_of(
                files={
                    "app/a.cpp": '#include "app/a.h"\n#include <string>\n#include "io/b.h"\n',
                    "io/b.h": '#include "device/c.h"\n#include "platform/clock/clock.h"\n',
                    "platform/toolkit/qt/q.cpp": "#include <QWidget>\n#include <unistd.h>\n",
                }
            ),
        )

    def test_an_include_that_goes_up_is_named_with_its_line(self):
        found = self.faults_of(files={"device/c.cpp": '\n#include "io/b.h"\n'})
        self.assertEqual(["device/c.cpp:2: device/ may not know io/"], found)

    def test_a_seam_below_platform_knows_nothing_above_it(self):
        found = self.faults_of(files={"platform/toolkit/qt/q.cpp": '#include "app/a.h"\n'})
        self.assertEqual(1, len(found))

    def test_the_logic_takes_no_header_of_the_operating_system_or_a_library(self):
        for header in ("unistd.h", "QWidget", "systemd/sd-bus.h", "pipewire/pipewire.h", "plist/plist.h"):
            with self.subTest(header):
                self.assertEqual(1, len(self.faults_of(files={"io/b.cpp": f"#include <{header}>\n"})))

    def test_the_main_file_of_the_panel_may_include_a_library_and_what_back_ends_share(self):
        for line in ("#include <CLI/CLI.hpp>\n", '#include "platform/posix/posix.h"\n'):
            with self.subTest(line):
                self.assertEqual([], self.faults_of(files={"app/main.cpp": line}))
                self.assertEqual(1, len(self.faults_of(files={"app/kv_controller.cpp": line})))

    def test_the_tool_does_not_know_the_driver(self):
        line = '#include "driver/interface.h"\n'
        self.assertEqual(1, len(self.faults_of(files={"tools/t.cpp": line})))

    def test_only_tests_may_include_a_back_end(self):
        line = '#include "platform/clock/memory/memory_clock.h"\n'
        self.assertEqual(1, len(self.faults_of(files={"io/b.cpp": line})))
        self.assertEqual([], self.faults_of(files={"io/b_test.cpp": line}))
        line = '#include "tests/support/temporary_directory.h"\n'
        fixture = "platform/files/posix/posix_files_contract_fixture.cpp"
        self.assertEqual([], self.faults_of(files={fixture: line}))

    def test_what_back_ends_share_is_not_for_the_logic(self):
        for header in ("posix/posix.h", "pipewire/pipewire.h", "session_bus/session_bus.h"):
            line = f'#include "platform/{header}"\n'
            with self.subTest(header):
                self.assertEqual(1, len(self.faults_of(files={"settings/s.cpp": line})))
                self.assertEqual([], self.faults_of(files={"platform/clock/posix/c.cpp": line}))
                self.assertEqual([], self.faults_of(files={"driver/d.cpp": line}))

    def test_the_driver_does_not_reach_into_a_back_end(self):
        line = '#include "platform/audio_server/pipewire/client.h"\n'
        self.assertEqual(1, len(self.faults_of(files={"driver/d.cpp": line})))

    def test_both_sides_of_the_process_boundary_know_the_protocol_and_not_each_other(self):
        line = '#include "protocol/records.h"\n'
        for source in ("device/d.h", "settings/s.h", "driver/d.cpp", "platform/device_registry/dbus/b.cpp"):
            with self.subTest(source):
                self.assertEqual([], self.faults_of(files={source: line}))
        for source in ("settings/s.h", "driver/d.cpp"):
            with self.subTest(source):
                self.assertEqual(1, len(self.faults_of(files={source: '#include "device/usb_device.h"\n'})))
        self.assertEqual(1, len(self.faults_of(files={"device/c.cpp": '#include "settings/s.h"\n'})))

    def test_the_protocol_needs_the_standard_library_alone(self):
        self.assertEqual([], self.faults_of(files={"protocol/p.h": "#include <array>\n"}))
        for line in ('#include "platform/values/values.h"\n', "#include <unistd.h>\n"):
            with self.subTest(line):
                self.assertEqual(1, len(self.faults_of(files={"protocol/p.h": line})))

    def test_one_seam_does_not_reach_into_a_back_end_of_another(self):
        line = '#include "platform/clock/memory/memory_clock.h"\n'
        self.assertEqual(1, len(self.faults_of(files={"platform/toolkit/qt/q.cpp": line})))

    def test_a_tree_without_sources_has_not_been_checked(self):
        self.assertEqual(1, len(self.faults_of(files={"README.md": "# nothing here\n"})))


if __name__ == "__main__":
    unittest.main()
