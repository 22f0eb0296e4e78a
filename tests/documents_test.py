# SPDX-License-Identifier: MIT
"""The documents: links, commands that run, the dates of figures, limits, and that no page repeats another.

usage: documents_test.py BUILD_FOLDER Class.test_method
A block of commands in README.md and docs/ is fenced and says in its first line what becomes of it: "sh run", and its
commands are run from the project's folder beside the driver service of the build, "sh run by tests/FILE", whose test
runs them, or "sh skipped: REASON".
A comment that begins with "limits" before a table says that its figures were not measured.
"""

import datetime
import itertools
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import check_links
from panel_session import TIME_LIMIT, Session

BUILD = None
TOP = pathlib.Path(__file__).resolve().parent.parent

# What people type, in a block that is only indented.
COMMAND = re.compile(r"^    (?:\./|sudo |build/|cmake |ctest |vx310|git |apt|scripts/).*", re.MULTILINE)
BLOCK = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
UNIT = r"(?:ns|µs|ms|s|KiB|MiB|GiB|KB|MB|GB|%)"
# A cell that begins with a number and its unit, or that is a unit: the head of a column of figures.
FIGURE = re.compile(rf"\| *(?:\d[\d.,–]* ?{UNIT}(?![\w/])|{UNIT} *\|)")
TABLE = re.compile(r"(?:^\|.*\n)+", re.MULTILINE)
DATE = re.compile(r"\b\d{4}-\d{2}-\d{2}\b")
MEASURES = re.compile(r"`(?:\./)?(?:scripts/|ctest |systemd-analyze )")
HEADING = re.compile(r"^## ", re.MULTILINE)
# So many words in a row on two pages are a repetition.
RUN = 9


def pages():
    """The documents by name."""
    paths = [path for places in ("*.md", "docs/**/*.md", "resources/*.html") for path in sorted(TOP.glob(places))]
    return {str(path.relative_to(TOP)): path.read_text(encoding="utf-8") for path in paths}


def has_commands(name):
    return name == "README.md" or name.startswith("docs/")


class Manual(unittest.TestCase):
    def test_the_manual_page_of_the_driver_protocol_has_no_links_to_its_own_places(self):
        script, page = TOP / "packaging/man/protocol.sed", TOP / "docs/driver-protocol.md"
        text = subprocess.run(["sed", "-f", script, page], capture_output=True, text=True, check=True).stdout
        self.assertIn("# NAME\n", text)
        self.assertNotIn("](#", text)

    def test_what_vx310ctl_prints_is_documented_where_it_is_installed(self):
        page = (TOP / "packaging/man/vx310ctl.roff").read_text()
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--install", BUILD, "--prefix", folder], check=True, capture_output=True)
            for name in ("vx310ctl.md", "vx310ctl.schema.json"):
                self.assertIn(f".IR {name} ", page)
                self.assertTrue((pathlib.Path(folder) / "share/doc/vx310ctl" / name).is_file(), name)


class HelpPage(unittest.TestCase):
    PAGE = " ".join((TOP / "resources/VANTREL VX-310 Control Panel Help.html").read_text(encoding="utf-8").split())

    def test_each_text_of_the_status_line_is_explained(self):
        source = (TOP / "platform/toolkit/qt/status_line.cpp").read_text(encoding="utf-8")
        texts = re.findall(r'Line\{Notice::\w+, \w+, "([^"]+)"', source)
        self.assertGreaterEqual(len(texts), 5)
        for text in texts:
            self.assertIn(f'<th scope="row">{text}</th>', self.PAGE)

    def test_each_field_of_the_window_is_explained(self):
        window = (TOP / "platform/toolkit/qt/panel_window.ui").read_text(encoding="utf-8")
        fields = re.findall(r'<widget class="QLabel" name="Kv\w+FieldTitle">.*?<string>([^<]+)</string>', window, re.DOTALL)
        self.assertGreaterEqual(len(fields), 8)
        for field in [*fields, "Version"]:
            self.assertIn(f'<th scope="row">{field.replace("&amp;", "").rstrip(":")}</th>', self.PAGE)

    def test_it_says_how_the_driver_is_installed_and_started(self):
        for text in ("<code>systemctl --user start vx310-driver</code> starts it",
                     "install the package <code>vx310-driver</code>"):
            self.assertIn(text, self.PAGE)


class Readme(unittest.TestCase):
    def test_it_is_no_longer_than_a_screen_and_a_half(self):
        self.assertLessEqual((TOP / "README.md").read_text().count("\n"), 76)


# Commands -------------------------------------------------------------------------------------------


def command_blocks(text):
    """The fenced blocks of a shell: their first line's words and their commands, one a line."""
    for language, body in BLOCK.findall(text):
        if language.split(" ")[0] == "sh":
            joined = body.replace("\\\n", "")
            yield language, [line for line in joined.splitlines() if line and not line.startswith("#")]


def unmarked_commands(text):
    """Faults: blocks of commands that do not say whether they are run."""
    for language, commands in command_blocks(text):
        runner = re.fullmatch(r"sh run by (tests/\w+_test\.py)", language)
        if runner and not (TOP / runner[1]).exists():
            yield f"there is no {runner[1]}: {commands[0]}"
        elif not runner and language != "sh run" and not re.fullmatch(r"sh skipped: \w.*", language):
            yield f"'{language}' is neither 'sh run', 'sh run by tests/FILE' nor 'sh skipped: REASON': {commands[0]}"
    for line in COMMAND.findall(BLOCK.sub("", text)):
        yield f"not in a block 'sh': {line.strip()}"


def runnable(text):
    return [line for language, commands in command_blocks(text) if language == "sh run" for line in commands]


def scripts_with_options(text):
    """The scripts that skipped blocks run, each with its options."""
    for language, commands in command_blocks(text):
        for line in commands if language.startswith("sh skipped") else ():
            for script, rest in re.findall(r"(?:^|\s)\./(scripts/[\w-]+)([^|;&]*)", line):
                yield script, re.findall(r"(?:^|\s)(--[\w-]+)", rest)


# Figures --------------------------------------------------------------------------------------------


def undated_figures(text):
    """Faults: tables of measured figures without a date in their section, or a command there or at the page's head."""
    head, *sections = HEADING.split(text)
    for section in [head, *sections]:
        for table in TABLE.finditer(section):
            lead = section[: table.start()].rstrip().rpartition("\n")[2]
            if not FIGURE.search(table.group()) or lead.startswith("<!-- limits"):
                continue
            first = table.group().splitlines()[0]
            if not DATE.search(section):
                yield f"no date says when this was measured: {first}"
            if not MEASURES.search(head + section):
                yield f"no command prints these figures: {first}"


def newest_release(changelog):
    return max(map(datetime.date.fromisoformat, re.findall(r"^## \d+\.\d+\.\d+ - ([\d-]+)$", changelog, re.MULTILINE)))


def wrong_dates(text, release):
    """Faults: dates more than a year before the newest release."""
    for date in map(datetime.date.fromisoformat, DATE.findall(text)):
        if date < release - datetime.timedelta(days=365):
            yield f"{date} is more than a year older than the newest release"


def wrong_limits(text, sources):
    """Faults: rows "| … | 250 ms | `NAME` |" whose constant has another value in the sources, by path."""
    rows = re.findall(r"^\|[^|]+\| (\d+) (ms|s) \| (?:`([^`]+)`: )?`(?:\w+::)?(\w+)` \|$", text, re.MULTILINE)
    if not rows:
        yield "there is no table of limits"
    for number, unit, path, name in rows:
        values = set()
        for source, contents in sources.items():
            if path in ("", source):
                values |= set(re.findall(rf"constexpr [\w:]* ?{name}(?:Ms|Us)?(?:\{{| = )([\d']+)[\}};]", contents))
        wanted = int(number) * {"ms": 1, "s": 1000}[unit]
        # Constants are in seconds, milliseconds or microseconds, as their types and names say.
        factor = 1000 if name == "kWithoutWaits" else 0.001 if name.endswith("Us") else 1
        found = {int(value.replace("'", "")) * factor for value in values}
        if found != {wanted}:
            yield f"{name} is {sorted(found) or 'nowhere'} ms, not {wanted}"


# Repetitions ----------------------------------------------------------------------------------------


def words(text):
    """The words of the prose, without code, links' targets and markup."""
    text = re.sub(r"<(style|head)>.*?</\1>", "", BLOCK.sub("", text), flags=re.DOTALL)
    text = re.sub(r"^    .*$|<[^>]+>|\]\([^)]*\)", " ", text, flags=re.MULTILINE)
    return re.findall(r"[\w'./-]*\w", text.lower())


def repetitions(documents):
    """Faults: passages that stand on two pages."""
    prose = {name: words(text) for name, text in documents.items()}
    runs = {
        name: {tuple(all_words[at : at + RUN]) for at in range(len(all_words) - RUN + 1)}
        for name, all_words in prose.items()
    }
    for one, other in itertools.combinations(sorted(runs), 2):
        for passage in sorted(runs[one] & runs[other]):
            yield f"{one} and {other}: {' '.join(passage)}"


# Tests ----------------------------------------------------------------------------------------------


class Pages(unittest.TestCase):
    def expect_none(self, faults):
        faults = list(faults)
        self.assertEqual([], faults, "\n".join(faults))

    def test_every_link_has_a_target(self):
        self.expect_none(fault for name in pages() for fault in check_links.faults(TOP / name))

    def test_every_path_that_is_named_exists(self):
        path = re.compile(r"`(?:\./)?((?:app|device|docs|driver|foundation|fuzz|io|platform|protocol|scripts|settings|"
                          r"tests|tools|bench|packaging)/[a-z][\w./-]*)[` ]")
        self.expect_none(f"{name}: {found}" for name, text in pages().items() if name != "CHANGELOG.md"
                         for found in path.findall(text) if not (TOP / found).exists())

    def test_each_block_of_commands_says_whether_it_is_run(self):
        self.expect_none(f"{name}: {fault}" for name, text in pages().items() if has_commands(name)
                         for fault in unmarked_commands(text))

    def test_each_table_of_figures_says_when_and_how_they_were_measured(self):
        self.expect_none(f"{name}: {fault}" for name, text in pages().items() if name != "CHANGELOG.md"
                         for fault in undated_figures(text))

    def test_no_date_is_too_old(self):
        documents = pages()
        release = newest_release(documents["CHANGELOG.md"])
        self.expect_none(f"{name}: {fault}" for name, text in documents.items() if name != "CHANGELOG.md"
                         for fault in wrong_dates(text, release))

    def test_each_limit_is_that_of_the_sources(self):
        sources = {str(path.relative_to(TOP)): path.read_text(encoding="utf-8")
                   for folder in ("platform", "tools", "driver") for path in (TOP / folder).rglob("*")
                   if path.suffix in (".h", ".cpp")}
        self.expect_none(wrong_limits(pages()["docs/reliability.md"], sources))

    def test_no_page_repeats_another(self):
        self.expect_none(repetitions({name: text for name, text in pages().items() if name != "CHANGELOG.md"}))


class Commands(unittest.TestCase):
    def test_commands_that_can_be_run_are_run(self):
        session = Session(BUILD)
        self.addCleanup(session.close)
        session.start_pipewire()
        session.start_driver()
        session.start("watch", session.bin / "vx310ctl", "watch", stdout=subprocess.PIPE)
        session.wait_for_line("watch", "connected")
        environment = dict(os.environ, PATH=f"{session.bin}:{os.environ['PATH']}")
        count = 0
        for name, text in pages().items():
            for command in runnable(text) if has_commands(name) else ():
                count += 1
                with self.subTest(f"{name}: {command}"):
                    here = command.replace("build/release/bin/", "")
                    result = subprocess.run(["bash", "-c", here], cwd=TOP, env=environment, text=True,
                                            capture_output=True, timeout=TIME_LIMIT)
                    self.assertEqual((0, ""), (result.returncode, result.stderr))
        self.assertGreater(count, 5)

    def test_tests_that_are_named_exist(self):
        names = {found for text in pages().values() for found in re.findall(r"ctest [^`\n]*-R ([\w.]+)", text)}
        self.assertTrue(names)
        for name in names:
            with self.subTest(name):
                listed = subprocess.run(["ctest", "--test-dir", BUILD, "-N", "-R", name], capture_output=True, text=True,
                                        timeout=TIME_LIMIT).stdout
                self.assertRegex(listed, r"Total Tests: [1-9]")

    def test_skipped_commands_are_scripts_with_these_options(self):
        found = {use for name, text in pages().items() if has_commands(name) for use in
                 ((script, tuple(options)) for script, options in scripts_with_options(text))}
        self.assertTrue(found)
        for script, options in found:
            with self.subTest(script):
                result = subprocess.run([TOP / script, "--help"], capture_output=True, text=True, timeout=TIME_LIMIT)
                self.assertEqual(0, result.returncode, result.stderr)
                for option in options:
                    self.assertIn(option, result.stdout)


class Addresses(unittest.TestCase):
    def test_those_of_the_project_are_of_one_domain_that_nobody_can_have(self):
        found = {}
        for file in [*(TOP / "debian").glob("*"), *(TOP / "packaging").rglob("*")]:
            if file.is_file():
                for host in re.findall(r"(?:https?://|[\w.]+@)([\w-]+(?:\.[\w-]+)+)", file.read_text()):
                    found.setdefault(host, set()).add(file.name)
        found.pop("www.debian.org")  # the form of debian/copyright
        self.assertEqual(list(found), ["vx310.example"], found)
        contributing = (TOP / "CONTRIBUTING.md").read_text()
        self.assertEqual(found["vx310.example"], {"control", "changelog", "com.vantrel.vx310.panel.metainfo.xml"})
        self.assertIn("`vx310.example`", contributing)


class Faults(unittest.TestCase):
    """Each check finds a planted fault, and none beside it."""

    RELEASE = datetime.date(2030, 1, 1)
    TABLE = "| what | time |\n|---|---|\n| a start | 12 ms |\n"

    def test_a_block_that_does_not_say_whether_it_is_run(self):
        for language in ("sh run", "sh run by tests/documents_test.py", "sh skipped: takes root"):
            self.assertEqual([], list(unmarked_commands(f"```{language}\nls\n```\n")))
        for text in ("```sh\nls\n```\n", "```sh skipped:\nls\n```\n", "text\n\n    ./scripts/run\n",
                     "```sh run by tests/no_test.py\nls\n```\n"):
            with self.subTest(text):
                self.assertEqual(1, len(list(unmarked_commands(text))))

    def test_commands_of_marked_blocks_alone_are_run(self):
        text = "```sh run\n# a comment\nls\nls \\\n  -l\n```\n```sh skipped: no\nfalse\n```\n```exchange\nfalse\n```\n"
        self.assertEqual(["ls", "ls   -l"], runnable(text))

    def test_a_table_without_a_date_or_a_command(self):
        command = "`./scripts/bench start`"
        self.assertEqual([], list(undated_figures(f"# Title\n\n## One\n\n{command}, 2030-01-01:\n\n{self.TABLE}")))
        self.assertEqual([], list(undated_figures(f"{command}\n\n## One\n\n2030-01-01\n\n{self.TABLE}")))
        self.assertEqual([], list(undated_figures(f"## One\n\n<!-- limits -->\n\n{self.TABLE}")))
        self.assertEqual([], list(undated_figures("## One\n\n| a | b |\n|---|---|\n| above 5 s | 3 |\n")))
        self.assertEqual(2, len(list(undated_figures("## One\n\n| a | µs |\n|---|---|\n| b | 3 |\n"))))
        for lead, count in ((command, 1), ("2030-01-01", 1), ("no lead", 2)):
            with self.subTest(lead):
                text = f"2030-01-01\n\n## One\n\n{lead}\n\n{self.TABLE}\n## Two\n\n{command}, 2030-01-01\n"
                self.assertEqual(count, len(list(undated_figures(text))))

    def test_a_date_of_long_ago(self):
        for date, count in (("2030-06-02", 0), ("2029-01-01", 0), ("2028-12-31", 1)):
            with self.subTest(date):
                self.assertEqual(count, len(list(wrong_dates(f"on {date}.", self.RELEASE))))

    def test_the_newest_release_is_found(self):
        text = "## Unreleased\n\n## 1.10.0 - 2030-01-01\n\n## 1.9.0 - 2029-01-01\n"
        self.assertEqual(self.RELEASE, newest_release(text))

    def test_a_limit_that_is_another_one_in_the_sources(self):
        sources = {"a.h": "inline constexpr int kLimitMs = 250;\n", "b.h": "constexpr int kLimitMs = 5'000;\n",
                   "c.h": "static constexpr std::chrono::milliseconds kWait{10};\nconstexpr std::uint64_t kLongUs = 2'000'000;"}
        good = "| of a | 250 ms | `a.h`: `kLimitMs` |\n| of c | 10 ms | `Wait::kWait` |\n| long | 2 s | `kLongUs` |\n"
        self.assertEqual([], list(wrong_limits(good, sources)))
        for row in ("| of a | 250 ms | `kLimitMs` |", "| of b | 6 s | `b.h`: `kLimitMs` |", "| none | 1 s | `kNone` |", ""):
            with self.subTest(row):
                self.assertEqual(1, len(list(wrong_limits(f"{row}\n", sources))))

    def test_a_passage_that_stands_on_two_pages(self):
        passage = " ".join(f"word{number}" for number in range(RUN))
        one, other = f"Before. {passage}", f"Other words, *{passage}*"
        self.assertEqual(1, len(list(repetitions({"a.md": one, "b.md": other}))))
        self.assertEqual([], list(repetitions({"a.md": one, "b.md": f"```sh\n{passage}\n```\n"})))
        self.assertEqual([], list(repetitions({"a.md": one, "b.md": passage[: passage.rindex(" ")]})))


if __name__ == "__main__":
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
