# SPDX-License-Identifier: MIT
"""What the tests of the command lines have in common."""

import json
import pathlib
import signal
import subprocess
import unittest

import jsonschema

from panel_session import TIME_LIMIT, Session

SCHEMA = json.loads((pathlib.Path(__file__).parent.parent / "docs/vx310ctl.schema.json").read_text())


def without_other_names(schema):
    """The schema for today's outputs, whose objects have no other names than those it describes."""
    if isinstance(schema, list):
        return [without_other_names(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    closed = {name: part if name == "then" else without_other_names(part) for name, part in schema.items()}
    if "required" in schema or schema is SCHEMA["$defs"]["settings"]:
        closed["unevaluatedProperties"] = False
    return closed


TODAY = without_other_names(SCHEMA)

PANEL, DRIVER, TOOL = "vx310-panel", "vx310-driver", "vx310ctl"


class ToolTest(unittest.TestCase):
    """A session with a bus; nothing else is running yet."""

    build = None  # the folder of the build

    def setUp(self):
        self.session = Session(self.build)
        self.addCleanup(self.session.close)

    def start_driver(self):
        """Starts the driver service and waits for its interface."""
        self.session.start_driver()
        self.session.start("watch", self.session.bin / TOOL, "watch", stdout=subprocess.PIPE)
        self.session.wait_for_line("watch", "connected")
        self.session.end("watch")

    def wait_for_audio_device(self):
        self.session.start("monitor", "pw-dump", "--monitor", stdout=subprocess.PIPE)
        while "VX-310" not in self.session.wait_for_line("monitor", ""):
            pass
        self.session.end("monitor", signal.SIGKILL)  # it may wait for a reader

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

    def json(self, kind, *words, status=0):
        """The output of vx310ctl for programs, held to the schema's description of that kind."""
        output = self.ctl(*words, "--json", status=status)
        self.assertEqual(output.count("\n"), 1)
        return self.held(kind, output)

    def held(self, kind, line):
        value = json.loads(line)
        jsonschema.Draft202012Validator({**TODAY, "anyOf": [{"$ref": f"#/$defs/{kind}"}]}).validate(value)
        jsonschema.Draft202012Validator(SCHEMA).validate(value)
        return value
