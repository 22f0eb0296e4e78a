#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the targets of the documents' links exist; prints each link without a target.

usage: check_links.py FILE...     Markdown or HTML

Links to other sites are not followed.
"""

import pathlib
import re
import sys
import urllib.parse

MARKDOWN_LINK = re.compile(r"\]\(<?([^)>\"\n]+?)>?(?:\s+\"[^\"]*\")?\)|^\[[^\]]+\]:\s*(\S+)", re.MULTILINE)
HTML_LINK = re.compile(r'\b(?:href|src)="([^"]+)"')
HEADING = re.compile(r"^#+ +(.+?) *$", re.MULTILINE)
HTML_ID = re.compile(r'\bid="([^"]+)"')
CODE = re.compile(r"^    .*$|^```[\s\S]*?^```$|`[^`\n]+`", re.MULTILINE)


def anchors(path):
    """The places in a document that a link can name."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".html":
        return set(HTML_ID.findall(text))
    titles = (re.sub(r"[^\w\- ]", "", title.lower()) for title in HEADING.findall(CODE.sub("", text)))
    return {title.replace(" ", "-") for title in titles}


def faults(document):
    text = document.read_text(encoding="utf-8")
    is_html = document.suffix == ".html"
    if is_html:
        links = HTML_LINK.findall(text)
    else:
        links = ["".join(link) for link in MARKDOWN_LINK.findall(CODE.sub("", text))]
    for link in links:
        address = urllib.parse.urlparse(link)
        if address.scheme:
            continue
        target = document.parent / urllib.parse.unquote(address.path) if address.path else document
        if not target.exists():
            yield f"{document}: {link} is not there"
        elif address.fragment and address.fragment not in anchors(target):
            yield f"{document}: {link}: there is no such heading"


def main():
    found = [fault for name in sys.argv[1:] for fault in faults(pathlib.Path(name))]
    for fault in found:
        print(fault)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
