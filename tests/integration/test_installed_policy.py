"""The installed bus policy: whom it lets do what, on a bus that lets nobody do
anything else."""

import os
import pathlib
import re
import signal
import subprocess

import pytest

from bus_client import (CONFIGURATION_EVENTS, EVENTS, PRODUCER, PRODUCER_PATH,
                        STATE, STATE_PATH, BusError)
from iobox_support import INPUT, box_port, fixture_serve_box
from legacy_support import PROPERTIES, SERVICE as LEGACY, path_of
from lifecycle_support import WITHOUT_LEGACY, complaints, identity
from peers import (ActionEngine, BootBlock, Coordinator, IOBox, Streamer,
                   fixture_offer)
from ports_support import configuration, event, fixture_serve, port
from sandbox import QEL_UID
from supervised_support import SUPERVISED, SUPERVISED_PATH
from virtual_inputs_support import fixture_follow
from waiting import DEADLINE, wait_until

_DATA = pathlib.Path(__file__).resolve().parents[2] / "data"
ACTIONS = sorted((_DATA / "actions").iterdir())

CONNECTOR = "com.vexa.QEL.Connector"
CONNECTOR_PATH = "/com/vexa/QEL/Connector"
NAMES = [STATE, SUPERVISED, CONNECTOR, EVENTS, LEGACY, CONFIGURATION_EVENTS]
LAMP = 0
PORT = port("lamp", "output", LAMP, events=[event("IOPort")])
GUEST = 64200

# As a system bus starts out, but for signals, which it lets everybody hear.
CLOSED_BUS = """
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <deny receive_type="signal"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_sender="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus"/>
  </policy>
"""


def shipped_policy():
    """The policy elements of the shipped file."""
    text = (_DATA / "dbus/com.vexa.IOControl.conf").read_text("utf-8")
    return re.search("<busconfig>(.*)</busconfig>", text, re.S)[1]


def as_guest(box, command, *argv, stdout, stderr=None):
    """Starts gdbus on the sandbox's bus, as a user without rights."""
    return subprocess.Popen(
        ["gdbus", command, "--system", *argv], text=True,
        stdin=subprocess.DEVNULL, stdout=stdout, stderr=stderr,
        env={**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": box.bus_address},
        user=GUEST, group=GUEST, extra_groups=[])


def call_as_guest(box, name, path, method, *args):
    """The status of a call by that user, its reply and its error."""
    with as_guest(box, "call", "--dest", name, "--object-path", path,
                  "--method", method, *args, stdout=subprocess.PIPE,
                  stderr=subprocess.PIPE) as process:
        reply, error = process.communicate(timeout=DEADLINE)
    return process.returncode, reply.strip(), error


def ask_for_name(box, name):
    return call_as_guest(box, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus.RequestName", name, "0")


@pytest.fixture(name="service")
def fixture_service(serve):
    """The daemon on a bus that lets nobody do anything but for the shipped
    policy."""
    return serve(PORT, bus_policy=CLOSED_BUS + shipped_policy(),
                 users={"guest": (GUEST, GUEST)})


def test_closed_bus_lets_not_even_root_serve_without_the_policy(make_sandbox,
                                                                connect):
    box = make_sandbox(bus_policy=CLOSED_BUS)
    box.start_bus()
    for name in NAMES:
        with pytest.raises(BusError, match="AccessDenied"):
            connect(box).call("RequestName", "(su)", (name, 0),
                              name="org.freedesktop.DBus",
                              path="/org/freedesktop/DBus")


@pytest.mark.parametrize("name", NAMES)
def test_policy_lets_the_daemon_serve_as_qel(service, name):
    wait_until(lambda: service.client.has_owner(name), f"{name} on the bus")
    assert service.client.call(
        "GetConnectionUnixUser", "(s)", (name,), name="org.freedesktop.DBus",
        path="/org/freedesktop/DBus") == (QEL_UID,)


@pytest.mark.parametrize("name", NAMES)
def test_policy_lets_nobody_else_serve(service, name):
    status, _, error = ask_for_name(service.box, name)
    assert status != 0
    assert "org.freedesktop.DBus.Error.AccessDenied" in error


def test_policy_lets_everybody_use_the_ports(service):
    assert call_as_guest(service.box, STATE, STATE_PATH, f"{STATE}.SetState",
                         str(LAMP), "true") == (0, "()", "")
    assert call_as_guest(service.box, STATE, STATE_PATH, f"{STATE}.GetState",
                         str(LAMP)) == (0, "(true,)", "")


def test_policy_lets_everybody_use_supervision(service):
    wait_until(lambda: service.client.has_owner(SUPERVISED),
               f"{SUPERVISED} on the bus")
    assert call_as_guest(
        service.box, SUPERVISED, SUPERVISED_PATH,
        f"{SUPERVISED}.IsSupervisable", str(LAMP)) == (0, "(false, false)", "")


def test_policy_lets_everybody_read_connectors(service):
    wait_until(lambda: service.client.has_owner(CONNECTOR),
               f"{CONNECTOR} on the bus")
    assert call_as_guest(
        service.box, CONNECTOR, CONNECTOR_PATH,
        f"{CONNECTOR}.GetConnectorStates", "*") == (0, "(@ai [],)", "")


def test_policy_lets_everybody_read_declarations(service):
    status, reply, _ = call_as_guest(
        service.box, EVENTS, PRODUCER_PATH, f"{PRODUCER}.ListDeclarations")
    assert status == 0
    assert "'port'" in reply


@pytest.mark.parametrize("name, signal", [
    (STATE, f"{STATE}.PortChanged"), (EVENTS, f"{PRODUCER}.Event")])
def test_policy_lets_everybody_hear_signals(service, tmp_path, name, signal):
    heard = tmp_path / "heard"
    with heard.open("wb") as output, as_guest(
            service.box, "monitor", "--dest", name, stdout=output) as monitor:
        try:
            wait_until(lambda: "is owned by" in heard.read_text(),
                       "the monitor to listen")
            service.call("SetState", LAMP, True)
            wait_until(lambda: signal in heard.read_text(), signal)
        finally:
            monitor.kill()


# ---- the device's other services ----

# Without the user, the daemon stays root.
either_user = pytest.mark.parametrize("qel", [True, False],
                                      ids=["qel", "no qel"])


def options(qel, *kinds):
    """Of a sandbox with no more than the shipped policy, in which the tests
    may offer such peers."""
    owners = "".join(f'<allow own="{kind.NAME}"/>' for kind in kinds)
    return {"bus_policy": f'{CLOSED_BUS}<policy user="root">{owners}</policy>'
                          f'{shipped_policy()}',
            "users": {"guest": (GUEST, GUEST)}, "with_user_qel": qel}


def check_start(service, qel):
    """With nothing to complain of, but that there is no such user."""
    user, _ = identity(service.daemon.pid)
    assert user == (QEL_UID if qel else 0)
    assert [line for line in complaints(service.daemon)
            if qel or "qel" not in line] == []


def check_guest_is_refused(service, *peers):
    for peer in peers:
        status, _, error = call_as_guest(service.box, peer.NAME, peer.PATH,
                                         "org.freedesktop.DBus.Peer.Ping")
        assert status != 0
        assert "org.freedesktop.DBus.Error.AccessDenied" in error


@either_user
def test_policy_lets_the_daemon_alone_use_the_action_engine(serve, offer, qel):
    engines = []

    def prepare(box):
        box.start_bus()
        engines.append(offer(box, ActionEngine))
    service = serve(PORT, prepare=prepare, **options(qel, ActionEngine))
    check_start(service, qel)
    engines[0].wait_for_answer("AddFromFile", len(ACTIONS))
    check_guest_is_refused(service, *engines)


@either_user
def test_policy_lets_the_daemon_alone_use_the_io_box(serve_box, qel):
    service = serve_box({INPUT: "closed"}, box_port(INPUT),
                        **options(qel, IOBox))
    check_start(service, qel)
    assert service.call("GetState", INPUT) is True
    service.iobox.change(INPUT, "open")
    service.settle()
    assert service.call("GetState", INPUT) is False
    # Its rights have been given up by now.
    service.supervise(INPUT)
    assert service.modes() == [(INPUT, 0, "supervised_in")]
    check_guest_is_refused(service, service.iobox)


@either_user
def test_policy_lets_the_daemon_alone_use_video_channels_and_ptz(follow, qel):
    device = follow(channels={1: True, 2: True}, ptz=False,
                    **options(qel, Streamer, Coordinator))
    check_start(device.service, qel)
    assert device.triggers() == {1: True, 2: False}
    device.coordinator.set_ptz(True)
    assert device.triggers() == {1: True, 2: True}
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: False}
    check_guest_is_refused(device.service, device.streamer,
                           device.coordinator)


@either_user
def test_policy_lets_the_daemon_alone_read_the_boot_block(serve, offer, qel):
    """As root, which it is at that time with qel, too."""
    blocks = []

    def prepare(box):
        box.start_bus()
        blocks.append(offer(box, BootBlock, "7A1"))
    service = serve(*(
        port(f"for{board}", "input", number).replace(
            "<port ", f'<port hwid="{board}" ', 1)
        for number, board in enumerate("78")),
        prepare=prepare, **options(qel, BootBlock))
    check_start(service, qel)
    assert service.names() == ["for7"]
    check_guest_is_refused(service, *blocks)


# The older configuration system

def test_daemon_ends_when_the_bus_refuses_the_older_system_s_name(
        make_sandbox):
    policy = shipped_policy()
    refused = f'<allow own="{LEGACY}"/>'
    assert policy.count(refused) == 2
    box = make_sandbox(config=configuration(PORT),
                       bus_policy=CLOSED_BUS + policy.replace(refused, ""))
    box.start_bus()
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGTRAP)
    line, = complaints(daemon)
    assert line.startswith("ERROR Could not request name: ")
    assert "AccessDenied" in line


def test_daemon_without_the_older_system_does_not_need_its_name(make_sandbox):
    box = make_sandbox(
        config=configuration(PORT), bus_policy=CLOSED_BUS +
        shipped_policy().replace(f'<allow own="{LEGACY}"/>', ""))
    daemon = box.start(WITHOUT_LEGACY)
    daemon.stop()
    assert complaints(daemon) == []


def test_policy_lets_everybody_use_the_older_system_s_objects(service):
    lamp = path_of(LAMP)
    assert call_as_guest(
        service.box, LEGACY, lamp, f"{PROPERTIES}.Set", LEGACY, "Usage",
        "<b'porch'>") == (0, "()", "")
    assert call_as_guest(
        service.box, LEGACY, lamp, f"{PROPERTIES}.Get", LEGACY, "Usage") == (
            0, "(<'porch'>,)", "")
