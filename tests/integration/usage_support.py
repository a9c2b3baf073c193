"""What a running program holds: memory, descriptors, threads, and what the bus
keeps for it."""

import os
import pathlib
from dataclasses import dataclass, replace

from bus_client import STATE
from lifecycle_support import descriptors

_BUS = "org.freedesktop.DBus"
_BUS_PATH = "/org/freedesktop/DBus"
_STATS = "org.freedesktop.DBus.Debug.Stats"
_KIB = 1024


@dataclass(frozen=True)
class Usage:
    """What is held at one moment; may be compared with another one. The names
    are those of the connection, its unique one among them."""
    match_rules: int
    names: int
    descriptors: int
    threads: int


def usage(client, pid, name=STATE):
    """Of the process pid, whose connection to the client's bus has that name.
    """
    stats = connection_stats(client, name)
    return Usage(stats["MatchRules"], stats["BusNames"], descriptors(pid),
                 threads(pid))


def held(client, pid, name=STATE):
    """The same but for the threads: GLib's own come and go."""
    return replace(usage(client, pid, name), threads=0)


def connection_stats(client, name=STATE):
    """What the bus counts for the connection that has the name."""
    return client.call("GetConnectionStats", "(s)", (name,), name=_BUS,
                       path=_BUS_PATH, interface=_STATS)[0]


def match_rules(client, name=STATE):
    """The match rules of the connection that has the name, sorted."""
    owner, = client.call("GetNameOwner", "(s)", (name,), name=_BUS,
                         path=_BUS_PATH)
    rules, = client.call("GetAllMatchRules", name=_BUS, path=_BUS_PATH,
                         interface=_STATS)
    return sorted(rules[owner])


def threads(pid):
    """How many threads a process has."""
    return len(os.listdir(f"/proc/{pid}/task"))


def memory(pid, field="Anonymous"):
    """Bytes of memory, a field of /proc/PID/smaps_rollup such as Rss or Pss.
    """
    rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    line = next(line for line in rollup.splitlines()
                if line.startswith(field + ":"))
    return int(line.split()[1]) * _KIB
