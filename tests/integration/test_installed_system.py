"""The packages on a machine of their own: installed, upgraded, removed and
purged as Debian's policy has it, and at work as systemd confines them."""

import re
import shlex

import pytest

from installed_system_support import (PORTS, SETTINGS, System, fixture_board,
                                      fixture_system, with_version)
from machine import OPERATOR
from machine_support import (ROOT, fixture_machine, fixture_packages,
                             fixture_show_journal)
from waiting import wait_until

pytestmark = [pytest.mark.build("plain"), pytest.mark.xdist_group("machine")]

DROP_IN = "/etc/systemd/system/orvad.service.d/simboard.conf"
ACTION = "/etc/orvad/actions/com.vexa.action.fixed.io.toggle.xml"


def folders():
    """What tmpfiles.d(5) makes: path -> "mode user group", as stat has it."""
    text = (ROOT / "data/tmpfiles.d/orvad.conf").read_text("utf-8")
    lines = (shlex.split(line, comments=True) for line in text.splitlines())
    return {path: f"{mode.lstrip('0')} {user} {group}"
            for _, path, mode, user, group, _ in filter(None, lines)}


# ---- installing ----

def test_installation_brings_users_folders_and_a_daemon_on_the_bus(
        machine, packages):
    system = System(machine, packages)
    bus, = system.unit("dbus", "MainPID")
    assert not system.installed()
    system.install()
    assert system.installed()
    assert machine.output("dpkg", "--audit") == ""
    groups = machine.output("id", "--groups", "--name", "qel").split()
    assert sorted(groups) == ["gpio", "qel"]
    assert machine.output("getent", "group", "qel-control").endswith(":")
    assert {path: machine.output("stat", "--format=%a %U %G", path)
            for path in folders()} == folders()
    assert system.unit("orvad", "ActiveState", "UnitFileState") == [
        "active", "enabled"]
    assert system.owner() == system.pid
    # The bus has read its policy again; it has not been started again.
    assert system.unit("dbus", "MainPID") == [bus]
    assert system.json("list") == {"ports": []}
    # A simulated board is there when somebody asks for one.
    assert system.unit("simboard", "ActiveState", "UnitFileState") == [
        "inactive", "disabled"]


def test_restart_leaves_a_daemon_on_the_bus(system):
    before = system.pid
    system.machine.run("systemctl", "restart", "orvad")
    assert system.active("orvad")
    assert system.owner() == system.pid != before


def test_killed_daemon_is_started_again(system):
    before, restarts = system.pid, int(system.unit("orvad", "NRestarts")[0])
    system.machine.run("systemctl", "kill", "--signal=KILL", "orvad")
    wait_until(lambda: system.pid not in (0, before) and
               system.active("orvad"), "another daemon", interval=0.05)
    assert system.owner() == system.pid
    assert int(system.unit("orvad", "NRestarts")[0]) == restarts + 1


# ---- at work ----

def process_status(machine, pid):
    """Of a process: name -> value."""
    return dict(re.split(r":\s*", line, maxsplit=1) for line in
                machine.output("cat", f"/proc/{pid}/status").splitlines())


def test_daemon_is_confined(system):
    machine, pid = system.machine, system.pid
    status = process_status(machine, pid)
    user = machine.output("id", "--user", "qel")
    assert status["Uid"].split() == [user] * 4
    assert status["NoNewPrivs"] == "1"
    assert status["Seccomp"] == "2"
    assert int(status["CapEff"], 16) == 0
    inside = ["nsenter", f"--target={pid}", "--mount", "--"]
    for path in ("/usr/share/orvad/x", "/var/lib/x", "/tmp/x", "/root/x"):
        refused = machine.run(*inside, "touch", path, check=False)
        assert refused.returncode != 0, path
    machine.run(*inside, "sh", "-c", "touch /etc/orvad/x && rm /etc/orvad/x")
    # What the action engine reads cannot be put aside for something else.
    moved = machine.run(*inside, "mv", "/etc/orvad/actions", "/etc/orvad/x",
                        check=False)
    assert moved.returncode != 0
    assert machine.output(*inside, "ls", "/home") == ""


def test_gpio_works_as_the_unit_confines_it(board):
    board.board("hold button")
    board.wait_for("get button", active=True)
    board.board("release button")
    board.wait_for("get button", active=False)
    board.client("set siren on")
    assert board.json("get siren")["active"] is True
    assert board.level("siren") == "high"
    board.client("set siren off")
    assert board.level("siren") == "low"


@pytest.mark.parametrize("port", ["gate", "garage", "cellar"],
                         ids=["SPI", "IIO buffer", "IIO event"])
def test_converter_works_as_the_unit_confines_it(board, port):
    board.client(f"supervise {port} on")
    for wire in ("cut", "short", "closed"):
        board.board(f"loop {port} {wire}")
        wait_until(lambda wire=wire:
                   board.json(f"readout {port}")["state"] == wire,
                   f"{port}: {wire}", interval=0.05)
    board.client(f"supervise {port} off")


def test_terminal_is_turned_round_after_the_rights_are_dropped(board):
    board.client("direction terminal output")
    board.client("set terminal on")
    assert board.json("get terminal")["active"] is True
    board.client("direction terminal input")
    assert board.json("get terminal")["active"] is False


# ---- who may do what ----

@pytest.fixture(name="control")
def fixture_control(system):
    """The operator is in the group qel-control."""
    system.machine.run("usermod", "--append", "--groups=qel-control", OPERATOR)
    yield
    system.machine.run("gpasswd", "--delete", OPERATOR, "qel-control")


def test_everybody_may_read(board):
    assert board.client("list", user=OPERATOR).stdout == \
        board.client("list").stdout != ""


@pytest.mark.parametrize("line", [
    "set siren on", "pulse siren 1", "supervise gate on", "drop tamper"])
def test_who_is_not_in_the_group_may_not_drive(board, line):
    before = board.client("list").stdout
    refused = board.client(line, user=OPERATOR, check=False)
    assert refused.returncode != 0
    assert "qel-control" in refused.stdout
    assert board.client("list").stdout == before


def test_who_is_in_the_group_may_drive(board, control):
    board.client("set siren on", user=OPERATOR)
    assert board.json("get siren")["active"] is True
    board.client("set siren off", user=OPERATOR)
    assert board.json("get siren")["active"] is False


# ---- upgrading, removing ----

def test_reinstallation_keeps_settings(board):
    board.name_port("Hall")
    board.install()
    assert board.json("get 0")["input_name"] == "Hall"
    assert board.owner() == board.pid


def test_upgrade_keeps_settings_and_starts_the_new_daemon(board, tmp_path):
    machine = board.machine
    board.name_port("Porch")
    machine.run("sh", "-c", f"echo '<!-- ours -->' >>{ACTION}")
    before = board.pid
    newer = with_version(board.packages["orvad"], "99.0", tmp_path)
    machine.put(f"/root/{newer.name}", newer.read_bytes())
    board.install(f"/root/{newer.name}")
    assert machine.output("dpkg-query", "--show", "--showformat",
                          "${Version}", "orvad") == "99.0"
    assert board.owner() == board.pid != before
    assert board.json("get 0")["input_name"] == "Porch"
    assert "ours" in machine.output("cat", ACTION)
    board.install()


def test_stopped_daemon_stays_disabled_over_an_upgrade(system):
    machine = system.machine
    machine.run("systemctl", "disable", "--now", "orvad")
    system.install()
    assert system.unit("orvad", "UnitFileState") == ["disabled"]
    machine.run("systemctl", "enable", "--now", "orvad")


def test_removal_stops_the_daemon_and_keeps_settings(board):
    machine = board.machine
    board.name_port("Attic")
    machine.run("apt-get", "remove", "--yes", "orvad", "orvadctl",
                "orvad-simboard")
    assert board.state_of("orvad") == "config-files"
    assert board.state_of("orvadctl") == "not-installed"
    assert not board.active("orvad") and not board.active("simboard")
    assert not machine.exists("/usr/sbin/orvad")
    assert machine.output("findmnt", "--noheadings", "/run/simboard/board",
                          check=False) == ""
    assert machine.exists(SETTINGS) and machine.exists(ACTION)
    assert not machine.exists(
        "/etc/service_registry/services.d/orvad_service_registry.conf")
    board.install()
    machine.run("systemctl", "restart", "simboard", "orvad")
    assert board.json("get 0")["input_name"] == "Attic"


def test_removed_board_tells_how_to_start_the_daemon_without_it(board):
    machine = board.machine
    told = machine.output("apt-get", "remove", "--yes", "orvad-simboard")
    advice, = (line for line in told.splitlines()
               if line.endswith("systemctl start orvad"))
    assert not board.active("orvad")
    machine.run("sh", "-c", advice)
    assert board.owner() == board.pid
    board.install()
    board.use_board()


def test_daemon_goes_on_without_a_board_that_is_purged(board):
    machine = board.machine
    machine.run("systemctl", "enable", "simboard")
    machine.run("apt-get", "purge", "--yes", "orvad-simboard")
    assert board.active("orvad")
    assert board.owner() == board.pid
    assert not machine.exists(DROP_IN)


def test_purge_leaves_nothing_but_the_users(system):
    machine = system.machine
    machine.run("systemctl", "enable", "simboard")
    system.use_board()
    machine.run("rm", "-rf", PORTS, "/etc/simboard")
    machine.run("apt-get", "purge", "--yes", *system.packages)
    assert machine.output(
        "find", "/etc", "/usr", "/var", "/run", "-xdev", "(", "-name",
        "*orvad*", "-o", "-name", "*simboard*", ")", "-not", "-path",
        "/run/host/*", "-not", "-path", "/var/log/*") == ""
    assert [path for path in folders() if machine.exists(path)] == []
    assert not any(system.state_of(package) == "config-files"
                   for package in system.packages)
    assert machine.output("id", "--user", "qel") != ""
    assert machine.output("systemctl", "--failed", "--quiet") == ""
