"""Services that come and go for years leave nothing behind in the daemon."""

import dataclasses
from concurrent.futures import ThreadPoolExecutor

import pytest

from lifecycle_support import WITHOUT_LEGACY, config, listed_names, port
from peer import Peer
from peers import (ActionEngine, Coordinator, IOBox, Streamer,  # noqa: F401
                   fixture_offer)
from usage_support import held, memory
from waiting import wait_until

RESTARTS = 1000
WARM_UP = 50
RESTARTS_WITH_SANITIZER = 100
SOON = 0.0005
"""Seconds between two looks at what has been called."""
MOST_GROWTH = RESTARTS * 512
"""Bytes. A leak of a proxy or a trigger in each restart would be more than
twice as much."""
FRUGAL = {"G_SLICE": "always-malloc", "MALLOC_ARENA_MAX": "1",
          "MALLOC_TOP_PAD_": "0", "MALLOC_TRIM_THRESHOLD_": "0"}
"""The daemon's environment. Memory that is free goes back at once: what a few
hundred restarts leave behind shows."""

CONFIGURATION = config(
    port("lamp", 0),
    '<port name="boxdoor" optional="true"><port_type type="input"/>'
    '<properties ioport="true"/><port_no nbr="3"/><backend name="iobox"/>'
    '<event declaration="IOPort"/></port>',
    '<first_virtual_input nbr="10"/>')
CHANNELS = {1: True, 2: True, 3: False}
IN_SERVICE = {"manualtrigger3", "manualtrigger2", "manualtrigger1", "boxdoor",
              "lamp"}
AFTER_THE_LAST_CHANNEL = Streamer.channel(len(CHANNELS) + 1)


class Device:
    """A daemon among its neighbours, all of them at work."""

    def __init__(self, box, client, offer):
        self.client = client
        self.pid = box.daemon.pid
        self.iobox = offer(box, IOBox, {3: "closed"})
        self.engine = offer(box, ActionEngine)
        self.streamer = offer(box, Streamer, CHANNELS)
        self.coordinator = offer(box, Coordinator, True)
        self._peers = [self.iobox, self.engine, self.streamer,
                       self.coordinator]

    def restart(self, come_back):
        """Every service comes back, all at once, and the daemon has seen to
        it."""
        self._forget_calls()
        self.client.call("DropIOPorts", "(as)", (["boxdoor"],))
        with ThreadPoolExecutor(len(self._peers)) as pool:
            list(pool.map(come_back, self._peers))
        self.client.call("RefreshIOPorts")
        wait_until(self._has_asked_everybody, "calls of every service",
                   interval=SOON)
        assert set(listed_names(self.client)) == IN_SERVICE

    def _has_asked_everybody(self):
        return (self.engine.count("List") and self.coordinator.count("GetAll")
                and self.streamer.count("GetAll", AFTER_THE_LAST_CHANNEL))

    def _forget_calls(self):
        for peer in self._peers:
            peer.calls.clear()
            peer.answered.clear()

    def held(self):
        """What the daemon holds while it does nothing."""
        listed_names(self.client)
        return held(self.client, self.pid)


@pytest.fixture(name="device")
def fixture_device(make_sandbox, connect, offer):
    box = make_sandbox(config=CONFIGURATION, env=FRUGAL)
    box.start(WITHOUT_LEGACY)
    return Device(box, connect(box), offer)


def in_turns(number):
    """How a service comes back: after it was gone, or without a gap."""
    return Peer.restart if number % 2 else Peer.take_over


def grown(before, after):
    """What there is more of."""
    return [field.name for field in dataclasses.fields(before)
            if getattr(after, field.name) > getattr(before, field.name)]


@pytest.mark.build("plain")
def test_thousand_restarts_of_every_service_leave_nothing_behind(device):
    for number in range(WARM_UP):
        device.restart(in_turns(number))
    before, used = device.held(), memory(device.pid)
    for number in range(RESTARTS):
        device.restart(in_turns(number))
    assert grown(before, device.held()) == []
    assert memory(device.pid) - used < MOST_GROWTH


@pytest.mark.build("address")
def test_restarts_of_every_service_leak_nothing(device):
    device.restart(Peer.restart)
    before = device.held()
    for number in range(RESTARTS_WITH_SANITIZER):
        device.restart(in_turns(number))
    assert grown(before, device.held()) == []
