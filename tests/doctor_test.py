# SPDX-License-Identifier: MIT
"""What `vx310ctl doctor` finds in sessions that lack something or have something wrong.

usage: doctor_test.py BUILD_FOLDER Class.test_method
Each test runs in a process of its own, since its servers are found through the environment.
"""

import fcntl
import getpass
import os
import pathlib
import plistlib
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest

from tool_session import DRIVER, TOOL, ToolTest

FAKE = pathlib.Path(__file__).with_name("fake_driver.py")
OK, WARNING, FAULT = 0, 6, 5
STATUS = {"ok": OK, "warning": WARNING, "fault": FAULT}
SEVERITY = ("ok", "warning", "fault")
STORES = {"panel_choices": "panel", "driver_settings": "hal"}

class DoctorTest(ToolTest):
    def findings(self):
        """The verdict and the text of each check by its name; the worst of several ones."""
        status, output, errors = self.call(TOOL, "doctor", "--json")
        self.assertEqual(errors, "")
        result = self.held("doctor", output)
        self.assertEqual(status, STATUS[result["verdict"]])
        found = {}
        for check in sorted(result["checks"], key=lambda check: SEVERITY.index(check["verdict"])):
            self.assertTrue(check["verdict"] == "ok" or check["advice"], check)
            found[check["check"]] = (check["verdict"], check["text"])
        self.assertEqual(result["verdict"], max((verdict for verdict, _ in found.values()), key=SEVERITY.index))
        return found

    def expect(self, check, verdict, *words):
        found = self.findings()
        self.assertIn(check, found)
        self.assertEqual(found[check][0], verdict, found)
        for word in words:
            self.assertIn(str(word), found[check][1])
        return found

    def folder(self):
        folder = self.session.folder / "config/vantrel/preferences"
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def store(self, check):
        return self.folder() / f"com.vantrel.vx310.{STORES[check]}.plist"


class WholeSession(DoctorTest):
    def test_with_everything_in_place_all_is_well(self):
        # The server makes what only a session manager makes otherwise.
        configuration = self.session.folder / "config/pipewire/pipewire.conf.d/metadata.conf"
        configuration.parent.mkdir(parents=True)
        configuration.write_text(
            "context.objects = [ { factory = metadata args = { metadata.name = default } } ]\n")
        self.session.start_pipewire()
        self.start_driver()
        self.wait_for_audio_device()
        found = self.findings()
        self.assertEqual({verdict for verdict, _ in found.values()}, {"ok"}, found)
        self.assertEqual(found["session_manager"], ("ok", "is running"))

    def test_without_a_session_manager_all_else_is_well(self):
        self.session.start_pipewire()
        self.start_driver()
        self.wait_for_audio_device()
        found = self.findings()
        self.assertEqual({check: verdict for check, (verdict, _) in found.items() if verdict != "ok"},
                         {"session_manager": "warning"})
        for check, word in (("session_bus", "runtime/bus"), ("driver_service", DRIVER), ("interface", "answers all"),
                            ("audio_server", "PipeWire"), ("audio_device", "VX-310"), ("versions", "2.05")):
            self.assertIn(word, found[check][1])
        lines = self.ctl("doctor", status=WARNING).splitlines()
        self.assertIn("ok       interface: service0 answers all requests", lines)
        self.assertEqual(sum(line.startswith("         -> ") for line in lines), 1)

    def test_nothing_of_the_session_is_needed(self):
        for name in ("DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "HOME", "DISPLAY"):
            os.environ.pop(name, None)
        found = self.expect("session_bus", "fault", "DBUS_SESSION_BUS_ADDRESS")
        self.assertEqual(found["audio_server"][0], "fault")
        self.assertEqual(found["settings_folder"][0], "fault")
        self.assertNotIn("driver_service", found)

    def test_a_bus_that_does_not_answer_is_named_within_its_limit(self):
        os.kill(self.session.processes["bus"].pid, signal.SIGSTOP)
        before = time.monotonic()
        self.expect("session_bus", "fault", "does not answer")
        self.assertLess(time.monotonic() - before, 15)
        os.kill(self.session.processes["bus"].pid, signal.SIGCONT)

    def test_a_missing_driver_service_is_named_and_not_started(self):
        self.expect("driver_service", "fault", "is not running")
        service = self.session.folder / "services/com.vantrel.Driver1.service"
        service.write_text(f"[D-BUS Service]\nName=com.vantrel.Driver1\nExec={self.session.bin / DRIVER} --unplugged\n")
        self.session.run("busctl", "--user", "call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "ReloadConfig")
        self.expect("driver_service", "warning", "the session bus starts it")
        self.expect("driver_service", "warning", "is not running")

    def test_a_driver_service_that_the_bus_would_start_but_that_is_missing_is_named(self):
        program = self.session.folder / "a driver"
        service = self.session.folder / "services/com.vantrel.Driver1.service"
        service.write_text(f'[D-BUS Service]\nName=com.vantrel.Driver1\nExec="{program}" --unplugged\n')
        (self.session.folder / "runtime/dbus-1").mkdir()
        (self.session.folder / "runtime/dbus-1/services").symlink_to(service.parent)
        self.session.run("busctl", "--user", "call", "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "ReloadConfig")
        self.expect("driver_service", "fault", f"cannot be run: {program}: No such file")
        self.assertIn("\n         -> install the driver service again\n", self.ctl("doctor", status=FAULT))
        program.symlink_to((self.session.bin / DRIVER).resolve())
        self.expect("driver_service", "warning", "the session bus starts it")

    def test_a_stopped_driver_service_is_named_with_its_process(self):
        self.start_driver()
        driver = self.session.processes["driver"].pid
        self.addCleanup(os.kill, driver, signal.SIGCONT)
        os.kill(driver, signal.SIGSTOP)
        os.waitid(os.P_PID, driver, os.WSTOPPED)
        self.expect("driver_service", "fault", "is stopped", driver)

    def test_a_driver_service_that_does_not_answer_is_named(self):
        self.session.start_and_read_line("fake", "/usr/bin/python3", "-c", MUTE_DRIVER)
        self.expect("driver_service", "fault", "does not answer", self.session.processes["fake"].pid)

    def start_fake_driver(self, *options):
        self.session.start_and_read_line("fake", "/usr/bin/python3", FAKE, *options)

    def test_interfaces_of_a_driver_that_gives_their_class_in_its_list_alone_are_found(self):
        self.start_fake_driver("--services", "3", "--payload", "20", "1")  # connected as USB 2.0
        lines = self.ctl("doctor", status=FAULT).splitlines()
        for number in range(3):
            self.assertIn(f"ok       interface: Service{number} answers all requests", lines)

    def test_interfaces_that_are_not_looked_at_within_a_limit_for_all_are_counted(self):
        # The first takes nearly all of the time, and the next is not waited for beyond its end.
        self.start_fake_driver("--services", "20", "--silent")
        self.assertRegex(self.ctl("doctor", status=FAULT), r"\nwarning  interface: (19|20) of 20 were not looked at, since ")

    def test_a_driver_that_does_not_list_its_interfaces_is_named(self):
        self.start_fake_driver("--unlisted")
        self.expect("interface", "fault", "does not list its interfaces")

    def test_a_driver_program_that_was_replaced_is_named(self):
        copy = self.session.folder / "copied-driver"
        shutil.copy(self.session.bin / DRIVER, copy)
        self.session.start("driver", copy)
        self.session.start("watch", self.session.bin / TOOL, "watch", stdout=subprocess.PIPE)
        self.session.wait_for_line("watch", "connected")
        copy.unlink()
        self.expect("driver_service", "warning", "has been replaced", copy)

    def test_a_missing_interface_is_named(self):
        self.start_driver()
        self.session.sim("unplug")
        self.expect("interface", "warning", "no VX-310 is connected")
        self.session.sim("plug")
        self.session.sim("class", "orbek")
        self.expect("interface", "warning", "no VX-310 is connected")

    def test_an_audio_server_that_is_missing_dead_or_frozen_is_named(self):
        self.expect("audio_server", "fault", "No such file")
        with socket.socket(socket.AF_UNIX) as dead:
            dead.bind(str(self.session.folder / "runtime/pipewire-0"))
        self.expect("audio_server", "fault", "refused")
        with socket.socket(socket.AF_UNIX) as frozen:
            (self.session.folder / "runtime/pipewire-0").unlink()
            frozen.bind(str(self.session.folder / "runtime/pipewire-0"))
            frozen.listen()
            before = time.monotonic()
            self.expect("audio_server", "fault", "does not answer")
            self.assertLess(time.monotonic() - before, 15)

    def test_a_missing_audio_device_is_named_and_missed_only_with_an_interface(self):
        # The driver looks for its server in another folder.
        folder = self.session.folder / "other"
        folder.mkdir(mode=0o700)
        os.environ["PIPEWIRE_RUNTIME_DIR"] = str(folder)
        self.session.start_pipewire()
        del os.environ["PIPEWIRE_RUNTIME_DIR"]
        self.start_driver()
        os.environ["PIPEWIRE_RUNTIME_DIR"] = str(folder)
        self.session.start("monitor", "pw-dump", "--monitor", stdout=subprocess.PIPE)
        self.session.wait_for_line("monitor", "[")
        self.session.end("monitor")
        self.expect("audio_device", "fault", "there is no VX-310")
        self.session.sim("unplug")
        self.expect("audio_device", "ok")
        self.session.run("pw-cli", "create-node", "adapter",
                         "{ factory.name=support.null-audio-sink media.class=Audio/Sink object.linger=true"
                         " node.name=VX-310 node.description=VX-310 }")
        self.expect("audio_device", "fault", "no routing property")


class Faults(DoctorTest):
    """Every kind of fault that the virtual interface has."""

    def setUp(self):
        super().setUp()
        self.start_driver()

    def expect_fault(self, kind, *words):
        self.session.sim("fault", kind)
        found = self.expect("interface", "fault", *words)
        self.assertEqual(found["injected_faults"], ("warning", f"virtual interface 0: {kind}"))

    # By their kinds: faults of an answer, of the driver, and of settings.
    ANSWERS = {
        "short": "the answer is short, 100 bytes of 260",
        "long": "the answer is long, 300 bytes in place of 260",
        "late": "the answer is late",
        "missing": "the answer is missing",
        "garbled": "the answer is garbled",
        "empty": "the answer is empty",
        "close": "the connection is closed",
    }
    DRIVER = {
        "die": "the driver service has died of it",
        "hang": "the driver service has been stopped in it",
    }
    SETTINGS = ("refuse", "ignore")

    def test_every_kind_of_the_driver_is_among_these(self):
        words = self.ctl("--complete", "sim", "fault", "").split()
        kinds = set(words) - {"none", "stall", "command", "times", "always"}
        self.assertEqual(kinds, {*self.ANSWERS, *self.DRIVER, *self.SETTINGS})

    def test_answers_that_are_wrong_are_named_with_the_request(self):
        for kind, words in self.ANSWERS.items():
            with self.subTest(kind=kind):
                self.expect_fault(kind, "service0: request 22 (driver version): ", words)
                self.assertNotIn("injected_faults", self.expect("interface", "ok"))

    def test_each_request_that_reads_is_looked_at(self):
        for command in (2, 8, 12, 15, 17, 20, 21, 22, 23, 24, 27):
            self.session.sim("fault", "empty", "command", command)
            self.expect("interface", "fault", f"request {command} (")

    def test_a_request_that_is_never_answered_is_named_while_others_are(self):
        for command in (8, 22):
            self.session.sim("fault", "missing", "command", command, "always")
            self.expect("interface", "fault", f"request {command} (", "the answer is missing")
            self.session.sim("fault", "none")

    def test_a_driver_that_dies_of_a_request_is_named(self):
        self.expect_fault("die", self.DRIVER["die"])

    def test_the_advice_after_a_death_is_to_start_the_driver_again(self):
        self.session.sim("fault", "die")
        lines = self.ctl("doctor", status=FAULT).splitlines()
        for check, advice in (("fault    interface: ", "start vx310-driver, or log in again if systemd starts it"),
                              ("warning  injected faults: ", "they have ended with the driver service")):
            line = next(number for number, line in enumerate(lines) if line.startswith(check))
            self.assertEqual(lines[line + 1], f"         -> {advice}")

    def test_a_driver_that_stops_in_a_request_is_named(self):
        self.addCleanup(os.kill, self.session.processes["driver"].pid, signal.SIGCONT)
        self.expect_fault("hang", self.DRIVER["hang"])

    def test_a_stall_is_named(self):
        self.expect_fault("stall", "no request is answered")
        self.session.sim("fault", "none")
        self.assertNotIn("injected_faults", self.findings())

    def test_interfaces_stand_in_the_order_of_their_numbers(self):
        for _ in range(10):
            self.session.sim("plug", "--second")
        lines = [line for line in self.ctl("doctor", status=FAULT).splitlines() if " interface: " in line]
        self.assertEqual(lines, [f"ok       interface: service{number} answers all requests" for number in range(11)])

    def test_a_connection_that_is_too_slow_is_named(self):
        self.session.sim("usb", "1.1")
        self.expect("interface", "warning", "is connected as USB 1.1, which is not supported")

    def test_faults_of_settings_which_the_doctor_does_not_try_are_named_as_injected(self):
        for kind in self.SETTINGS:
            self.session.sim("fault", kind, "always")
            self.expect("injected_faults", "warning", kind)
        self.session.sim("fault", "none")
        self.assertNotIn("injected_faults", self.findings())


class Stores(DoctorTest):
    def test_stores_that_are_well_are_ok(self):
        found = self.findings()
        self.assertEqual(found["settings_folder"][0], "ok")
        self.assertIn("is made in", found["settings_folder"][1])
        for check in STORES:
            self.assertNotIn(check, found)
        self.folder()
        for check in STORES:
            self.expect(check, "ok", "nothing is stored yet")
        self.start_driver()
        self.session.ctl("set", "clock-source", "1")
        self.expect("driver_settings", "ok", self.store("driver_settings"))

    def test_a_store_that_is_damaged_too_large_or_of_another_version_is_named(self):
        for check in STORES:
            for content, word in ((b"<?xml ", "is damaged"), (b"x" * (1 << 20) + b"x", "is too large"),
                                  (plistlib.dumps({"Version": "7"}), "has another version"),
                                  (plistlib.dumps(["Version"]), "is damaged")):
                self.store(check).write_bytes(content)
                self.expect(check, "fault", self.store(check), word)
                self.assertEqual(self.store(check).read_bytes(), content)

    def test_a_damaged_store_that_was_kept_is_named(self):
        store = self.store("panel_choices")
        store.write_bytes(plistlib.dumps({"Version": "1.00"}))
        self.expect("panel_choices", "ok")
        store.with_name(store.name + ".damaged-1").touch()
        self.expect("panel_choices", "warning", store.name + ".damaged-1")

    def test_a_folder_in_the_place_of_a_store_is_named(self):
        self.store("panel_choices").mkdir()
        self.expect("panel_choices", "fault", "cannot be read")

    def test_stores_and_folders_that_others_may_write_are_named(self):
        for check in STORES:
            self.store(check).write_bytes(plistlib.dumps({"Version": {"panel_choices": "1.00", "driver_settings": "1.0"}[check]}))
            self.expect(check, "ok")
            self.store(check).chmod(0o606)
            self.expect(check, "warning", f"{self.store(check)} can be written by others")
        config = self.folder().parent.parent
        for folder in (config / "vantrel", config):
            self.expect("settings_folder", "ok")
            folder.chmod(0o707)
            self.expect("settings_folder", "warning", f"{folder} can be written by others")
            folder.chmod(0o770)  # as under a umask of 002
            self.expect("settings_folder", "ok")
            for group in {*os.getgroups(), 65534 if os.geteuid() == 0 else os.getgid()} - {os.getgid()}:
                os.chown(folder, -1, group)
                self.expect("settings_folder", "warning", f"{folder} can be written by others")
            os.chown(folder, -1, os.getgid())
            folder.chmod(0o700)

    def test_what_stands_in_the_place_of_the_folder_is_named(self):
        folder = self.folder()
        folder.rmdir()
        folder.symlink_to(folder.parent / "none")
        found = self.expect("settings_folder", "fault", f"{folder} is a link that leads nowhere")
        self.assertNotIn("panel_choices", found)
        folder.unlink()
        folder.touch()
        found = self.expect("settings_folder", "fault", f"{folder} is no folder")
        self.assertNotIn("panel_choices", found)

    def test_an_undo_that_cannot_be_restored_is_named(self):
        undo = self.folder() / "vx310ctl-undo.json"
        self.assertNotIn("undo", self.findings())
        undo.write_text("{")
        self.expect("undo", "warning", f"{undo} is no preset")
        undo.unlink()
        undo.mkdir()
        self.expect("undo", "warning", f"{undo} cannot be read")

    def test_a_lock_that_is_held_is_named_within_its_limit(self):
        for check in STORES:
            lock = self.store(check).with_name(self.store(check).name + ".lock")
            with open(lock, "w") as file:
                self.expect(check, "ok")
                fcntl.flock(file, fcntl.LOCK_EX)
                self.expect(check, "fault", "holds the lock", lock)

    def test_a_read_only_home_is_named(self):
        # Root writes everywhere but for these capabilities.
        drop = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        inner = self.folder()
        for folder in (inner, inner.parent, inner.parent.parent):
            folder.chmod(0o500)
            output = subprocess.run([*drop, self.session.bin / TOOL, "doctor"], capture_output=True, text=True).stdout
            folder.chmod(0o700)
            folder.rmdir()
            self.assertIn(f"\nfault    settings folder: {folder} cannot be written: Permission denied\n         -> ", output)

    def test_a_store_that_may_not_be_read_is_named(self):
        drop = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
        self.store("panel_choices").touch(mode=0)
        output = subprocess.run([*drop, self.session.bin / TOOL, "doctor"], capture_output=True, text=True).stdout
        self.assertIn(f"fault    panel choices: {self.store('panel_choices')} cannot be read: Permission denied\n", output)

    def test_a_folder_that_others_may_write_or_that_is_a_file_is_named(self):
        self.folder().chmod(0o777)
        self.expect("settings_folder", "warning", "can be written by others")
        shutil.rmtree(self.session.folder / "config/vantrel")
        (self.session.folder / "config/vantrel").touch()
        self.expect("settings_folder", "fault", "is no folder")

    @unittest.skipIf(os.geteuid() != 0, "only root can give a folder to somebody else")
    def test_a_folder_of_another_user_is_named(self):
        os.chown(self.folder(), 65534, -1)
        self.expect("settings_folder", "warning", "belongs to user nobody")


class Installation(DoctorTest):
    def test_missing_programs_pictures_and_pages_are_named(self):
        copy = self.session.folder / "copy"
        shutil.copytree(self.session.bin.parent / "share", copy / "share")
        (copy / "bin").mkdir()
        for program in (TOOL, DRIVER, "vx310-panel"):
            os.symlink((self.session.bin / program).resolve(), copy / "bin" / program)
        (copy / "bin" / TOOL).unlink()
        shutil.copy(self.session.bin / TOOL, copy / "bin" / TOOL)
        self.session.bin = copy / "bin"
        self.expect("panel_resources", "ok")
        resources = copy / "share/vx310-panel/Contents/Resources"
        for missing in (resources / "pictures/panel.png", resources / "VANTREL VX-310 Control Panel Help.html", resources / "StripTexture.png",
                        resources / "VX-310.png", resources / "None.bmp"):
            missing.unlink()
            self.expect("panel_resources", "fault", missing.name)
        for missing in (DRIVER, "vx310-panel"):
            (copy / "bin" / missing).unlink()
            self.expect("panel_resources", "warning", missing, "is not in")
        self.expect("versions", "ok", "2.05")
        shutil.rmtree(copy / "share/vx310-panel/system-root")
        self.expect("versions", "warning", "the driver package is missing")


class Redaction(DoctorTest):
    def test_no_path_and_no_name_of_a_person_is_left(self):
        self.session.start_pipewire()
        self.start_driver()
        self.session.ctl("set", "clock-source", "1")
        self.store("panel_choices").write_bytes(b"<?xml ")
        for words in ((), ("--json",)):
            plain = self.ctl("doctor", *words, status=FAULT)
            redacted = self.ctl("doctor", "--redact", *words, status=FAULT)
            self.assertIn(str(self.session.folder), plain)
            self.assertIn(f"of user {getpass.getuser()}", plain)
            self.assertNotIn(f"of user {getpass.getuser()}", redacted)
            self.assertNotRegex(redacted, r"/\w+/")
            self.assertNotIn(str(self.session.folder.name), redacted)
            self.assertEqual(plain.count("\n"), redacted.count("\n"))


# Owns the driver's name and reads nothing.
MUTE_DRIVER = """
import ctypes, time
library = ctypes.CDLL("libsystemd.so.0")
bus = ctypes.c_void_p()
assert library.sd_bus_open_user(ctypes.byref(bus)) >= 0
library.sd_bus_request_name.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_uint64]
assert library.sd_bus_request_name(bus, b"com.vantrel.Driver1", 0) >= 0
print("owned", flush=True)
time.sleep(1000)
"""


def main():
    ToolTest.build = sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()
