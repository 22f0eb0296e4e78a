# SPDX-License-Identifier: MIT
"""The project's version number and its releases, which stand in several files, are the same in all of them."""

import email.utils
import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent
PLACES = {
    "CMakeLists.txt": r"project\(\S+ VERSION (\S+)",
    "CHANGELOG.md": r"\n## (\d\S+)",
    "debian/changelog": r"^\S+ \((\S+)\)",
    "packaging/com.vantrel.vx310.panel.metainfo.xml": r'<release version="([^"]+)"',
}


class Version(unittest.TestCase):
    def test_it_is_the_same_everywhere(self):
        newest = {file: re.search(place, (TOP / file).read_text()).group(1) for file, place in PLACES.items()}
        self.assertEqual(len(set(newest.values())), 1, newest)

    def test_every_release_is_in_each_list_with_its_date(self):
        changelog = re.findall(r"\n## (\d\S+) - (\S+)", (TOP / "CHANGELOG.md").read_text())
        debian = re.findall(r"^\S+ \((\S+)\)|^ -- .*>  (.*)$", (TOP / "debian/changelog").read_text(), re.M)
        dates = [email.utils.parsedate_to_datetime(date).date().isoformat() for _, date in debian if date]
        self.assertEqual(list(zip([version for version, _ in debian if version], dates)), changelog)
        releases = (TOP / "packaging/com.vantrel.vx310.panel.metainfo.xml").read_text()
        self.assertEqual(re.findall(r'<release version="([^"]+)" date="([^"]+)"', releases), changelog)


if __name__ == "__main__":
    unittest.main()
