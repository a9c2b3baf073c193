#!/usr/bin/python3
"""Checks that includes in src/ point to the own floor or down.

Usage: arrows.py SRC

A floor is a folder of src/. What a floor needs from above it declares in
ioport/port-seam.h, and the upper floor defines it.
"""

import pathlib
import re
import sys
import tempfile

FLOORS = ["util", "ioport", "backends", "events", "params", "platform", "dbus",
          "main"]
"""Ground floor first."""

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+"([^"]+)"', re.MULTILINE)
_SOURCES = {".h", ".c", ".cpp"}


def complaint(floor, included):
    """What is wrong with an include on that floor; empty when it may be."""
    first, *rest = pathlib.PurePosixPath(included).parts
    if first == "..":
        return "leaves its folder"
    if rest and first not in FLOORS:
        return f"{first} is no floor"
    if rest and FLOORS.index(first) > FLOORS.index(floor):
        return f"points up, from {floor} to {first}"
    return ""


def check_file(path, name):
    """One line for each wrong include of a source."""
    floor = pathlib.PurePosixPath(name).parts[0]
    if floor not in FLOORS:
        return [f"{name}: {floor} is no floor"]
    text = path.read_text(encoding="utf-8")
    return [f'{name}:{text.count(chr(10), 0, match.start(1)) + 1}: '
            f'"{match[1]}" {wrong}'
            for match in _INCLUDE.finditer(text)
            if (wrong := complaint(floor, match[1]))]


def check(src):
    """How many sources there are, and a line for each wrong include."""
    sources = sorted(path for path in src.rglob("*")
                     if path.suffix in _SOURCES)
    return len(sources), [
        line for path in sources
        for line in check_file(path, path.relative_to(src).as_posix())]


def self_check():
    """Makes sure that wrong includes are found, and right ones are not."""
    with tempfile.TemporaryDirectory() as folder:
        src = pathlib.Path(folder)
        for floor in ("ioport", "dbus", "attic"):
            (src / floor).mkdir()
        (src / "ioport/port.cpp").write_text(
            '#include <dbus/dbus.h>\n#include "glue.h"\n'
            '#include "ioport/port.h"\n#include "util/log.h"\n'
            '\t#  include "dbus/state.h"\n#include "cellar/a.h"\n')
        (src / "dbus/state.cpp").write_text(
            '#include "ioport/port.h"\n#include "../ioport/port.h"\n')
        (src / "attic/box.h").write_text("")
        expected = [
            "attic/box.h: attic is no floor",
            'dbus/state.cpp:2: "../ioport/port.h" leaves its folder',
            'ioport/port.cpp:5: "dbus/state.h" points up, from ioport to dbus',
            'ioport/port.cpp:6: "cellar/a.h" cellar is no floor',
        ]
        found = check(src)
    if found != (3, expected):
        sys.exit(f"arrows.py itself is broken; it found {found}")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    self_check()
    count, wrong = check(pathlib.Path(sys.argv[1]))
    print("\n".join(wrong))
    if count == 0:
        sys.exit(f"no sources in {sys.argv[1]}")
    print(f"{count} sources, {len(wrong)} wrong includes")
    return int(bool(wrong))


if __name__ == "__main__":
    sys.exit(main())
