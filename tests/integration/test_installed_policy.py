"""The installed bus policy: whom it lets serve, and what it lets the daemon
ask other services, on a bus that lets nobody do anything else."""

import signal

import pytest

from bus_client import BusError
from iobox_support import INPUT, box_port, fixture_serve_box
from legacy_support import SERVICE as LEGACY
from lifecycle_support import WITHOUT_LEGACY, complaints, identity
from peers import (ActionEngine, BootBlock, Coordinator, IOBox, Streamer,
                   fixture_offer)
from policy_support import (BUS, BUS_PATH, CLOSED_BUS, NAMES, ROOT, USERS,
                            fixture_connect_as, shipped_policy)
from ports_support import configuration, event, fixture_serve, port
from sandbox import QEL_UID
from virtual_inputs_support import fixture_follow
from waiting import wait_until

ACTIONS = sorted((ROOT / "data/actions").iterdir())

LAMP = 0
PORT = port("lamp", "output", LAMP, events=[event("IOPort")])


def test_closed_bus_lets_not_even_root_serve_without_the_policy(make_sandbox,
                                                                connect):
    box = make_sandbox(bus_policy=CLOSED_BUS)
    box.start_bus()
    for name in NAMES:
        with pytest.raises(BusError, match="AccessDenied"):
            connect(box).call("RequestName", "(su)", (name, 0), name=BUS,
                              path=BUS_PATH)


def test_policy_lets_the_daemon_serve_as_qel(serve):
    service = serve(PORT, bus_policy=CLOSED_BUS + shipped_policy())
    for name in NAMES:
        wait_until(lambda: service.client.has_owner(name),
                   f"{name} on the bus")
        assert service.client.call("GetConnectionUnixUser", "(s)", (name,),
                                   name=BUS, path=BUS_PATH) == (QEL_UID,)


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
            "users": USERS, "with_user_qel": qel}


def check_start(service, qel):
    """With nothing to complain of, but that there is no such user."""
    user, _ = identity(service.daemon.pid)
    assert user == (QEL_UID if qel else 0)
    assert [line for line in complaints(service.daemon)
            if qel or "qel" not in line] == []


@pytest.fixture(name="check_guest_is_refused")
def fixture_check_guest_is_refused(connect_as):
    def check(service, *peers):
        guest = connect_as(service.box, "guest")
        for peer in peers:
            with pytest.raises(BusError, match="AccessDenied"):
                guest.call("Ping", name=peer.NAME, path=peer.PATH,
                           interface="org.freedesktop.DBus.Peer")
    return check


@either_user
def test_policy_lets_the_daemon_alone_use_the_action_engine(
        serve, offer, check_guest_is_refused, qel):
    engines = []

    def prepare(box):
        box.start_bus()
        engines.append(offer(box, ActionEngine))
    service = serve(PORT, prepare=prepare, **options(qel, ActionEngine))
    check_start(service, qel)
    engines[0].wait_for_answer("AddFromFile", len(ACTIONS))
    check_guest_is_refused(service, *engines)


@either_user
def test_policy_lets_the_daemon_alone_use_the_io_box(
        serve_box, check_guest_is_refused, qel):
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
def test_policy_lets_the_daemon_alone_use_video_channels_and_ptz(
        follow, check_guest_is_refused, qel):
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
def test_policy_lets_the_daemon_alone_read_the_boot_block(
        serve, offer, check_guest_is_refused, qel):
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
