"""The installed unit: how little it leaves the daemon, and that this is enough
for a whole board."""

import json
import pathlib
import re
import subprocess

import pytest

from bus_client import EVENTS
from gpio_support import fixture_boards
from installed_support import DATA, ROOT, documented_files, unit_settings
from lifecycle_support import LimitedSandbox, complaints, identity
from ports_support import Service
from sandbox import QEL_GID, QEL_UID
from supervised_support import call_supervised
from waiting import wait_until

UNIT = DATA / "systemd/orvad.service"
SAMPLE = DATA / "sample"

# As systemd counts, ten times what it shows.
MOST_EXPOSURE = 23

INPUT, OPTIONAL, SUPERVISED = 1, "tamper", (7, 8, 9)


def analyze(*arguments):
    return subprocess.run(["systemd-analyze", *arguments], check=True,
                          text=True, capture_output=True).stdout


# ---- the settings ----

def test_unit_leaves_little_exposed():
    analyze("security", "--offline=true", f"--threshold={MOST_EXPOSURE}",
            UNIT)


def test_what_the_unit_leaves_exposed_is_documented():
    checks = json.loads(analyze("security", "--offline=true", "--json=short",
                                UNIT))
    exposed = {check["name"] for check in checks if check["exposure"]}
    text = (ROOT / "docs/installation.md").read_text("utf-8")
    section = text.split("\n### What the unit leaves open\n")[1]
    told = re.findall(r"^\| `([^`]*)` \|", section.split("\n## ")[0], re.M)
    assert {name.replace("\\|", "|") for name in told} == exposed


def test_unit_starts_an_installed_program():
    settings = unit_settings()
    program, = settings["ExecStart"]
    assert program in documented_files()
    assert "WatchdogSec" not in settings
    assert settings["Restart"] == ["always"]


def test_unit_is_started_when_the_policy_s_name_is_taken():
    settings = unit_settings()
    assert settings["Type"] == ["dbus"]
    name, = settings["BusName"]
    assert f'own="{name}"' in (
        DATA / "dbus/com.vexa.IOControl.conf").read_text("utf-8")
    # Services that hang hold up the start for longer than any limit would be.
    assert settings["TimeoutStartSec"] == ["infinity"]


def test_unit_shows_what_the_older_system_leaves_in_tmp():
    """In a folder of the service's own, nothing of that could be seen."""
    settings = unit_settings()
    assert "PrivateTmp" not in settings
    assert settings["RequiresMountsFor"] == ["/tmp"]
    assert settings["ProtectSystem"] == ["strict"]


def test_unit_lets_the_daemon_write_where_its_folders_are():
    writable = [path.removeprefix("-")
                for path in unit_settings()["ReadWritePaths"]]
    folders = [line.split()[1]
               for line in (DATA / "tmpfiles.d/orvad.conf").read_text(
                   "utf-8").splitlines() if line.startswith("d ")]
    assert folders
    for folder in folders:
        assert any(pathlib.PurePath(folder).is_relative_to(path)
                   for path in writable)


# ---- a daemon that has no more than the unit leaves it ----

# What the unit's name spaces do: no network, no processes of others, nothing
# of the kernel's in /proc, and /tmp for reading only.
SURROUNDINGS = """
mount -t proc -o hidepid=invisible,subset=pid proc /proc &&
mount -o remount,bind,ro /tmp && exec unshare --net "$@"
"""

# A call that the filter refuses ends the daemon here: none goes unseen.
FILTERED = """
import os, seccomp, sys
names, *command = sys.argv[1:]
calls = seccomp.SyscallFilter(seccomp.KILL_PROCESS)
for name in names.split(","):
    calls.add_rule(seccomp.ALLOW, name)
calls.load()
os.execv(command[0], command)
"""


def system_calls(names):
    """Those that sets, "@chown", and names stand for."""
    found = set()
    for name in names:
        if not name.startswith("@"):
            found.add(name)
            continue
        _, *members = (line.strip() for line in
                       analyze("syscall-filter", name).splitlines()
                       if line.strip() and not line.strip().startswith("#"))
        found |= system_calls(members)
    return found


def allowed_system_calls():
    """What the lines of the unit leave, one after the other; those that this
    processor has."""
    import seccomp  # pylint: disable=import-outside-toplevel
    allowed = set()
    for line in UNIT.read_text("utf-8").splitlines():
        if not line.startswith("SystemCallFilter="):
            continue
        words = line.partition("=")[2]
        if words.startswith("~"):
            allowed -= system_calls(words[1:].split())
        else:
            allowed |= system_calls(words.split())
    native = seccomp.Arch(seccomp.Arch.NATIVE)
    return sorted(name for name in allowed
                  if seccomp.resolve_syscall(native, name) >= 0)


def lacking_capabilities():
    known = subprocess.run(["setpriv", "--list-caps"], check=True, text=True,
                           capture_output=True).stdout.split()
    left = {name.removeprefix("CAP_").lower()
            for name in unit_settings()["CapabilityBoundingSet"]}
    assert left < set(known)
    return set(known) - left


class UnitSandbox(LimitedSandbox):
    """A sandbox whose daemon has no more than the unit leaves it."""

    def __init__(self, build, **options):
        super().__init__(build, lacking=lacking_capabilities(), **options)
        layout, *limits, daemon = self._prefix
        self._prefix = [
            layout, "sh", "-c", SURROUNDINGS, "sh", *limits, "--no-new-privs",
            "/usr/bin/python3", "-c", FILTERED,
            ",".join(allowed_system_calls()), daemon]


@pytest.fixture(name="service")
def fixture_service(build, boards, connect, tmp_path):
    """The sample configuration on the sample board."""
    files = tmp_path / "board"
    files.mkdir()
    files.chmod(0o755)
    tmp_path.chmod(0o755)
    (files / "pir_detector").write_text("0\n")
    board = boards((SAMPLE / "board.conf").read_text("utf-8"))
    with UnitSandbox(build, config=(SAMPLE / "conf.xml").read_text("utf-8"),
                     binds=[*board.binds, (files, "/run/board")],
                     launcher=board.launcher) as box:
        service = Service(box, connect)
        service.board, service.files = board, files
        yield service


@pytest.mark.build("plain")
def test_unit_leaves_enough_for_the_sample_board(service):
    assert identity(service.daemon.pid) == (QEL_UID, QEL_GID)
    recorder = service.client.record("PortChanged")
    service.board.press("button")
    recorder.wait_for(lambda signal: signal.args[0] == INPUT)
    service.call("SetState", 2, True)
    wait_until(lambda: service.board.level("siren") == "high",
               "the siren to be on")
    for number in SUPERVISED:
        call_supervised(service.client, "SetSupervised", number, True)
        wait_until(lambda port=number: call_supervised(
            service.client, "GetSupervisedReadout", port)[0] == "closed",
            f"port {number} to be measured")
    service.start_sequence(2, (True, 1), (False, 1))
    assert service.client.has_owner(EVENTS)
    service.settle_events()
    assert service.daemon.stderr() == ""
    assert complaints(service.daemon) == []


@pytest.mark.build("plain")
def test_unit_leaves_enough_to_set_ports_up_later(service):
    assert OPTIONAL not in service.names()
    (service.files / OPTIONAL).write_text("1\n")
    service.call("RefreshIOPorts")
    assert OPTIONAL in service.names()
    service.call("SetDirection", 3, "output")
    service.call("SetState", 3, True)
    service.settle()
    assert service.call("GetDirection", 3) == "output"
    assert complaints(service.daemon) == []


@pytest.mark.build("plain")
def test_unit_leaves_the_settings_their_owner(service):
    service.call("SetName", 2, False, "Horn")
    service.restart()
    after = service.parameter_file.stat()
    assert (after.st_uid, after.st_gid) == (QEL_UID, QEL_GID)
    assert service.call("GetNames", 2) == ("", "Horn")
