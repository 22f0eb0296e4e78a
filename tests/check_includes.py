#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the include lines against the rules for folders; prints each line that breaks one.

usage: check_includes.py [FOLDER]     FOLDER is the project's (default: the one above this file)
"""

import pathlib
import re
import sys

# Calls go down only; a folder may include itself and these.
BELOW = {
    "app": {"io", "device", "settings", "foundation", "protocol"},
    "io": {"device", "settings", "foundation", "protocol"},
    "device": {"foundation", "protocol"},
    "settings": {"foundation", "protocol"},
    "foundation": set(),
    "platform": {"protocol"},
    "driver": {"settings", "foundation", "protocol"},
    "tools": {"io", "device", "settings", "foundation", "protocol"},
    "protocol": set(),
}

# The folders of the logic: no header of the operating system or of a library.
LOGIC = {"app", "io", "device", "settings", "foundation", "protocol"}

# The panel's main file is no logic: it is compiled only together with the back ends, and may include
# what they share.
MAIN_FILE = "app/main.cpp"

STANDARD = set(
    """algorithm any array atomic bit bitset charconv chrono compare concepts condition_variable
    cctype cerrno cfenv cfloat cinttypes climits cmath csignal cstdarg cstddef cstdint cstdio
    cstdlib cstring ctime deque exception filesystem forward_list fstream functional future
    initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map
    memory memory_resource mutex new numbers numeric optional ostream queue random ranges ratio
    regex scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept
    stop_token streambuf string string_view strstream system_error thread tuple type_traits
    typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
    """.split()
)

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


# Folders below platform/ that back ends and the programs' system code share; the logic must not include
# them.
FOR_BACK_ENDS = {
    "platform/command_line/command_line.h",
    "platform/driver_waits/driver_waits.h",
    "platform/notices/notices.h",
    "platform/pipewire/pipewire.h",
    "platform/posix/posix.h",
    "platform/property_list/property_list.h",
    "platform/session_bus/session_bus.h",
    "platform/single_instance/single_instance.h",
}


def is_seam_contract(path):
    """platform/SEAM/SEAM.h, or the value types that the contracts share."""
    parts = path.split("/")
    return len(parts) == 3 and parts[0] == "platform" and parts[2] == parts[1] + ".h"


def fault_of(source, folder, quoted, angled):
    """The rule that one include line of `source` breaks; None if it breaks none."""
    is_test = source.endswith(("_test.cpp", "_contract_fixture.cpp")) or "/testing/" in source
    if angled is not None:
        if folder in LOGIC and not is_test and source != MAIN_FILE and angled not in STANDARD:
            return f"<{angled}> is not of the standard library"
        return None
    if "/" not in quoted:
        # The header that uic generates is the only one outside of a folder.
        return None if quoted.startswith("ui_") else f'"{quoted}" is not named from the project\'s folder'
    target = quoted.split("/")[0]
    if is_test:
        return None
    if target == "platform" and folder != "protocol":
        is_logic = folder in LOGIC and source != MAIN_FILE
        if is_seam_contract(quoted) and not (is_logic and quoted in FOR_BACK_ENDS):
            return None
        seam = "/".join(source.split("/")[:2])
        if folder == "platform" and quoted.startswith(seam + "/"):
            return None
        return f'"{quoted}" is a back end\'s own; only its contract may be included'
    if target == folder or target in BELOW[folder]:
        return None
    return f"{folder}/ may not know {target}/"


def faults(top):
    read = False
    for folder in sorted(BELOW):
        for path in sorted((top / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            read = True
            source = path.relative_to(top).as_posix()
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                match = INCLUDE.match(line)
                fault = match and fault_of(source, folder, *match.groups())
                if fault:
                    yield f"{source}:{number}: {fault}"
    if not read:
        yield f"{top} has no sources"


def main():
    top = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    found = list(faults(top))
    print("\n".join(found) if found else "every include goes down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
