# SPDX-License-Identifier: MIT
"""The project's version number, which stands in several files, is the same in all of them."""

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


if __name__ == "__main__":
    unittest.main()
