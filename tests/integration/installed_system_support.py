"""The packages on a machine: what is installed, what runs, and the board."""

import json
import shlex
import subprocess

import pytest

from machine_support import ROOT
from waiting import wait_until

SETTINGS = "/etc/orvad/orvad.conf"
PORTS = "/usr/share/orvad/conf.xml"
BOARD = "/etc/simboard/board.conf"
STATE = "com.vexa.IOControl.State"


class System:
    """What somebody does at the machine. packages: name -> file outside."""

    def __init__(self, machine, packages):
        self.machine = machine
        self.packages = packages

    def install(self, *paths):
        """Package files, with apt-get; all of them if none is named."""
        paths = paths or [f"/root/{path.name}"
                          for path in self.packages.values()]
        return self.machine.output("apt-get", "install", "--yes",
                                   "--reinstall", "--allow-downgrades", *paths)

    def state_of(self, package):
        return self.machine.output("dpkg-query", "--show", "--showformat",
                                   "${db:Status-Status}", package, check=False)

    def installed(self):
        return all(self.state_of(package) == "installed"
                   for package in self.packages)

    def unit(self, name, *properties):
        """Properties of a unit, as systemctl shows them."""
        text = self.machine.output("systemctl", "show", name, *(
            f"--property={name}" for name in properties))
        values = dict(line.split("=", 1) for line in text.splitlines())
        return [values[name] for name in properties]

    def active(self, unit):
        return self.unit(unit, "ActiveState") == ["active"]

    @property
    def pid(self):
        """The daemon's, on the machine."""
        return int(self.unit("orvad", "MainPID")[0])

    def owner(self):
        """The process that owns the daemon's name on the bus."""
        return int(self.machine.output(
            "busctl", "call", "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s",
            STATE).split()[1])

    def client(self, line, user="root", check=True):
        """orvadctl with the words of a line."""
        return self.machine.run("orvadctl", *shlex.split(line), user=user,
                                check=check)

    def json(self, line):
        """What orvadctl answers."""
        return json.loads(self.client(f"--json {line}").stdout)

    def use_board(self):
        """From orvad's next start on, after a daemon-reload."""
        self.machine.run("cp", "-r", "/usr/share/doc/orvad-simboard/examples/"
                         "orvad.service.d", "/etc/systemd/system/")

    def board(self, line):
        """simboard with the words of a line."""
        return self.machine.output("simboard", *shlex.split(line))

    def level(self, line):
        """What a line of the board is at, high or low."""
        row, = (row.split("\t") for row in
                self.board(f"state {line}").splitlines()
                if row.startswith("line\t"))
        return row[6]

    def wait_for(self, line, **members):
        """Until orvadctl's answer has the members."""
        wait_until(lambda: members.items() <= self.json(line).items(),
                   f"{line}: {members}", interval=0.05)

    def name_port(self, name):
        """Changes a setting of port 0."""
        self.machine.run("busctl", "call", STATE, "/com/vexa/IOControl/State",
                         STATE, "SetName", "ubs", "0", "true", name)


def with_version(package, version, folder):
    """A copy of a package file with another version."""
    tree = folder / "tree"
    subprocess.run(["dpkg-deb", "--raw-extract", package, tree], check=True)
    control = tree / "DEBIAN/control"
    control.write_text("".join(
        f"Version: {version}\n" if line.startswith("Version:") else line
        for line in control.read_text("utf-8").splitlines(True)), "utf-8")
    path = folder / f"{package.name.split('_')[0]}_{version}.deb"
    subprocess.run(["dpkg-deb", "--root-owner-group", "--build", tree, path],
                   check=True, stdout=subprocess.DEVNULL)
    return path


@pytest.fixture(name="system")
def fixture_system(machine, packages):
    """A System with the packages installed, whatever was done to it before."""
    system = System(machine, packages)
    if not system.installed():
        system.install()
    return system


@pytest.fixture(name="board")
def fixture_board(system):
    """A System whose orvad serves the sample's ports on the sample's board."""
    machine = system.machine
    if not system.active("simboard"):
        sample = (ROOT / "data/sample/conf.xml").read_bytes()
        board = (ROOT / "data/sample/board.conf").read_text("utf-8")
        machine.put(PORTS, sample)
        machine.put(BOARD, board.replace("Group=64124", "Group=qel").encode())
        system.use_board()
        machine.run("systemctl", "daemon-reload")
        machine.run("systemctl", "start", "simboard")
    if not system.active("orvad") or not system.json("list")["ports"]:
        machine.run("systemctl", "restart", "orvad")
    return system
