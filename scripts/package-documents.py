#!/usr/bin/python3
"""Puts the documents of debian/*.docs into the packages' folders, with links
that work there; scripts/package starts it.

Usage: package-documents.py SOURCE BUILD FOLDER PACKAGE...

A link of a page (*.md) to another document, or to a file that the build
installs, leads to where that is installed. One to anything else is a mistake.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

_LINK = re.compile(r"(\]\()([^):#]+)(?=[)#])")


def documents(source, packages):
    """What is in the lists: file of the source -> where it is installed."""
    found = {}
    for package in packages:
        listed = source / f"debian/{package}.docs"
        for name in listed.read_text().split() if listed.exists() else []:
            top = source / name
            files = [top] if top.is_file() else sorted(top.rglob("*"))
            if not any(file.is_file() for file in files):
                sys.exit(f"package: debian/{listed.name}: there is no {name}")
            for file in filter(pathlib.Path.is_file, files):
                found[file] = pathlib.Path(
                    "/usr/share/doc", package, file.relative_to(top.parent))
    return found


def installed(build):
    """What the build installs: file -> where; manual pages get compressed."""
    text = subprocess.run(["meson", "introspect", "--installed", build],
                          check=True, stdout=subprocess.PIPE).stdout
    return {pathlib.Path(os.path.normpath(file)): pathlib.Path(
                f"{path}.gz" if "/man/man" in path else path)
            for file, path in json.loads(text).items()}


def linked(page, places):
    """The page's text, with the links that its place asks for."""
    def moved(match):
        target = pathlib.Path(os.path.normpath(page.parent / match[2]))
        if target not in places:
            sys.exit(f"package: {page}: {match[2]} is not installed")
        return match[1] + os.path.relpath(places[target],
                                          places[page].parent)
    return _LINK.sub(moved, page.read_text("utf-8"))


def main(source, build, folder, *packages):
    source = pathlib.Path(source)
    documented = documents(source, packages)
    places = {**installed(build), **documented}
    for file, place in documented.items():
        copy = pathlib.Path(folder, place.parts[4], *place.parts[1:])
        copy.parent.mkdir(parents=True, exist_ok=True)
        if file.suffix == ".md":
            copy.write_text(linked(file, places), "utf-8")
        else:
            shutil.copyfile(file, copy)


if __name__ == "__main__":
    main(*sys.argv[1:])
