"""The files that are installed, as their readers read them."""

import pathlib
import re
import shlex

ROOT = pathlib.Path(__file__).resolve().parents[2]
DATA = ROOT / "data"


def read(name):
    return (DATA / name).read_text("utf-8")


def entries(name):
    """The lines of a file that are no comments, as lists of fields."""
    lines = (shlex.split(line, comments=True)
             for line in read(name).splitlines())
    return [line for line in lines if line]


def documented_files():
    """What the table of docs/installation.md says is installed."""
    text = (ROOT / "docs/installation.md").read_text("utf-8")
    return set(re.findall(r"^\| `(/[^`]*)` \|", re.search(
        r"\n## What goes where\n(.*?)\n## ", text, re.S)[1], re.M))


def declared_users():
    """The users and the groups that the users' file declares."""
    lines = entries("sysusers.d/orvad.conf")
    users = {line[1] for line in lines if line[0] == "u"}
    return users, users | {line[1] for line in lines if line[0] == "g"}


def unit_settings():
    """The unit's settings: name -> words of all its values."""
    settings = {}
    for line in read("systemd/orvad.service").splitlines():
        name, assigned, value = line.partition("=")
        if assigned and not line.startswith("#"):
            settings.setdefault(name, []).extend(value.split())
    return settings
