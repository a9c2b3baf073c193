"""What the tests of the daemon's life share: its command line, port
configurations, what it logged, its parameter file, its process, and its
surroundings."""

import collections
import contextlib
import os
import pathlib
import signal
import subprocess
from xml.sax.saxutils import quoteattr

from gi.repository import Gio, GLib

from bus_client import STATE, STATE_PATH, BusError
from ports_support import read_parameters
from sandbox import QEL_GID, QEL_UID, Sandbox

OLD_PARAMETERS = "/etc/dynamic/orvad/params.conf"
PARAMETERS = "/etc/orvad/orvad.conf"
CONFIGURATION = "/usr/share/orvad/conf.xml"

# ---- the command line ----

WITHOUT_LEGACY = ("--disable_legacy_interface",)
"""For a daemon that does not serve the older configuration system, and so can
live without a bus."""


# ---- port configurations ----

def port(name, number, kind="output", backend="null", *, items="", more="",
         optional=False):
    """A port element.

    items: attributes of a device element for the backend, if any.
    more: further elements, in front of the backend.
    """
    device = f"<device {items}/>" if items else ""
    return (f'<port name={quoteattr(name)} optional="{str(optional).lower()}">'
            f'<port_type type="{kind}"/><properties ioport="true"/>'
            f'<port_no nbr="{number}"/>{more}'
            f'<backend name="{backend}">{device}</backend></port>')


def sysfs_port(name, number, path, *, timeout=5, flags="", optional=False):
    """An input whose level is polled in a file. flags: further attributes."""
    return port(name, number, "input", "sysfs", optional=optional,
                items=f'path={quoteattr(str(path))} timeout="{timeout}" '
                      f'{flags}')


def config(*elements):
    return f"<ports>{''.join(elements)}</ports>"


# ---- what was printed ----

def complaints(daemon):
    """Every line printed that tells of something unusual, in order."""
    return [line for line in daemon.output().splitlines()
            if not line.startswith(("DEBUG ", "INFO "))]


def ends_for_want_of_a_bus(daemon):
    """Waits until the daemon ends in the way in which one that serves the
    older configuration system does; every other line of complaint."""
    daemon.wait(expect=128 + signal.SIGTRAP)
    *lines, last = complaints(daemon)
    assert last.startswith("ERROR Failed to connect to system bus: "), last
    return lines


def log_lines(daemon, level):
    """What was logged at a level, without the level's word."""
    return [line.removeprefix(level + " ")
            for line in daemon.stdout().splitlines()
            if line.startswith(level + " ")]


def told(lines):
    """How often each complaint was made: those that were left out, and counted
    afterwards, too."""
    counts = collections.Counter()
    for line in lines:
        text, _, rest = line.partition(" (repeated ")
        counts[text] += int(rest.removesuffix(" times)")) if rest else 1
    return counts


# ---- the parameter file ----

def parameter_file(box):
    return box.etc / "orvad/orvad.conf"


def parameters(box):
    """The parameter file: group -> key -> text. Fails unless it is whole."""
    return read_parameters(parameter_file(box))


def group_text(name, **values):
    """A group of the parameter file."""
    keys = "".join(f"{key}={value}\n" for key, value in values.items())
    return f"[{name}]\n{keys}"


def output_group(name, **changes):
    """The complete group of an output."""
    return group_text(name, **{
        "output_name": "Lamp", "output_activelow": "false",
        "button_type": "none", "pulse_time": 0, "port_mode": "bistable",
        "delay_time": 0, "usage": "", **changes})


def input_group(name, **changes):
    """The complete group of an input."""
    return group_text(name, **{"input_name": "Door",
                               "input_activelow": "false", "usage": "",
                               **changes})


# ---- calls ----

def set_usage(client, number, text):
    client.call("SetUsage", "(us)", (number, text))


def post_usage(client, number, text):
    """Asks for the change and waits for nothing."""
    client.connection.call(
        STATE, STATE_PATH, STATE, "SetUsage", GLib.Variant("(us)", (
            number, text)), None, Gio.DBusCallFlags.NO_AUTO_START, -1, None,
        None)


def get_usage(client, number):
    return client.call("GetUsage", "(u)", (number,))[0]


def settle(client):
    """On return, all that earlier calls caused has happened, the saving of
    settings included: the main loop takes one call after the other."""
    client.call("GetNbrPorts")


def listed(client):
    """The ports in service: (name, number), the one added last first."""
    return [(entry[0], entry[1]) for entry in client.call("GetPortProps")[1]]


def listed_names(client):
    return [name for name, _ in listed(client)]


def refusal(client, *call):
    """The error that a call is answered with: its name's end and its text."""
    try:
        answer = client.call(*call)
    except BusError as error:
        text = error.message.removeprefix(f"GDBus.Error:{error.name}: ")
        return error.name.rpartition(".")[2], text
    raise AssertionError(f"{call} was answered with {answer}")


# ---- the process ----

def status_field(pid, name):
    """The words of one line of /proc/PID/status."""
    text = pathlib.Path(f"/proc/{pid}/status").read_text()
    line = next(line for line in text.splitlines()
                if line.startswith(name + ":"))
    return line.split()[1:]


def identity(pid):
    """User and group; the same in all four kinds of each, or it fails."""
    users, groups = (set(status_field(pid, field)) for field in ("Uid", "Gid"))
    assert (len(users), len(groups)) == (1, 1), f"{users} {groups}"
    return int(users.pop()), int(groups.pop())


def descriptors(pid):
    """How many descriptors a process has open."""
    return len(os.listdir(f"/proc/{pid}/fd"))


def ticks(pid):
    """The processor time that a process has used, in clock ticks."""
    stat = pathlib.Path(f"/proc/{pid}/stat").read_text()
    fields = stat.rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


# ---- surroundings ----

BUS_THAT_STARTS_NOBODY = """
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <deny send_destination="org.freedesktop.DBus"
          send_interface="org.freedesktop.DBus"
          send_member="StartServiceByName"/>
  </policy>
"""
"""The policy of a bus on which no proxy can be made: GDBus asks the bus to
start the service first, and makes none when it may not ask."""


class LimitedSandbox(Sandbox):
    """A sandbox whose daemon lacks some capabilities, "setuid" for example.
    """

    def __init__(self, build, *, lacking, **options):
        # What half a change of identity leaves behind is a process that the
        # leak detector may not look into.
        super().__init__(build, program="../../usr/bin/setarch",
                         env={"ASAN_OPTIONS": "detect_leaks=0"}, **options)
        less = ",".join(f"-{name}" for name in lacking)
        self._prefix = [
            "--addr-no-randomize", "setpriv", f"--bounding-set={less}",
            f"--inh-caps={less}", f"--ambient-caps={less}",
            "/opt/orvad/src/orvad"]

    def start_daemon(self, argv=(), combined=False):
        return super().start_daemon([*self._prefix, *argv], combined)


@contextlib.contextmanager
def file_system(path, size="1m"):
    """Mounts a small file system that belongs to qel, seen by a daemon that
    is started in the meantime."""
    path.mkdir(parents=True, exist_ok=True)
    subprocess.run(
        ["mount", "-t", "tmpfs", "-o",
         f"size={size},mode=0755,uid={QEL_UID},gid={QEL_GID}", "tmpfs",
         str(path)], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "--lazy", str(path)], check=True)


def remount(path, mode):
    """Makes a mounted file system read-only, "ro", or writable again, "rw"."""
    subprocess.run(["mount", "-o", f"remount,{mode}", str(path)], check=True)


@contextlib.contextmanager
def umask(mask):
    """Programs started in the meantime get that mask."""
    before = os.umask(mask)
    try:
        yield
    finally:
        os.umask(before)
