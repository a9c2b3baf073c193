"""Manual triggers of a daemon that can have no proxies of the services."""

from lifecycle_support import (BUS_THAT_STARTS_NOBODY, WITHOUT_LEGACY,
                               ends_for_want_of_a_bus)
from peer import BUS, BUS_PATH
from peers import fixture_offer
from ports_support import fixture_serve
from virtual_inputs_support import DOOR, first_virtual_input, fixture_follow
from waiting import wait_until

NO_PROXY = "Error creating proxy: "


def refused(peer):
    """How the warning begins when the bus must not start the service."""
    return f"{NO_PROXY}Error calling StartServiceByName for {peer.NAME}: "


class BusPolicy:
    """The policy of the bus that a daemon is on already."""

    def __init__(self, service):
        self._client = service.client
        self._file = service.box.etc / "dbus-1/sandbox.conf"
        self._first = self._file.read_text("utf-8")

    def change(self, policy):
        """Adds that to what the policy was in the beginning."""
        end = "</busconfig>"
        self._file.write_text(self._first.replace(end, policy + end), "utf-8")
        self._client.call("ReloadConfig", name=BUS, path=BUS_PATH)


def test_services_that_cannot_be_reached_are_left_alone(follow):
    device = follow(channels={1: True, 2: True}, ptz=False,
                    bus_policy=BUS_THAT_STARTS_NOBODY)
    peers = (device.streamer, device.coordinator)
    for peer in peers:
        peer.restart()
    assert device.triggers() == {1: True}
    for warning, peer in zip(device.warnings(), peers, strict=True):
        assert warning.startswith(refused(peer))
    assert device.streamer.calls == device.coordinator.calls == []


def test_channel_that_cannot_be_reached_is_the_last(follow):
    """From now on the bus does not let the daemon have any more proxies."""
    device = follow(ptz=True)
    bus = BusPolicy(device.service)
    bus.change(BUS_THAT_STARTS_NOBODY)
    for channel in (1, 2):
        device.streamer.add(channel)
    device.streamer.appear()
    wait_until(device.warnings, NO_PROXY)
    assert device.triggers() == {1: True}
    (warning,) = device.warnings()
    assert warning.startswith(refused(device.streamer))
    assert device.streamer.count("GetAll", device.streamer.channel(1)) == 0
    bus.change("")
    device.streamer.restart()
    device.wait_for({1: True, 2: True})
    assert device.warnings() == [warning]


def test_no_bus(make_sandbox):
    box = make_sandbox(with_bus=False,
                       config=f"<ports>{DOOR}{first_virtual_input()}</ports>")
    daemon = box.start(WITHOUT_LEGACY)
    wait_until(lambda: daemon.stdout().count(NO_PROXY) == 2, "both warnings")
    daemon.stop()
    lines = daemon.stdout().splitlines()
    first, second = (line for line in lines if NO_PROXY in line)
    assert first == second
    assert first.startswith(f"WARNING {NO_PROXY}")


def test_no_bus_ends_the_daemon_before_the_channels_are_asked_for(
        make_sandbox):
    box = make_sandbox(with_bus=False,
                       config=f"<ports>{DOOR}{first_virtual_input()}</ports>")
    assert ends_for_want_of_a_bus(box.start()) == []
