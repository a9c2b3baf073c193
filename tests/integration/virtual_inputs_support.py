"""A daemon among its streaming service and its PTZ coordinator."""

import pytest

from bus_client import STATE
from events_support import IOPORT_EVENT, MANUAL_TRIGGER, port
from peer import ask_bus
from peers import Coordinator, Streamer
from waiting import TimedOut, wait_until

FIRST = 10
"""The number of channel 1's trigger."""
DOOR = port("door", "input", 0, events=[IOPORT_EVENT])
ABSENT = object()
"""For follow(): the service is not on the bus yet."""
PREFIX = "manualtrigger"


def first_virtual_input(number=FIRST):
    return f'<first_virtual_input nbr="{number}"/>'


def number_of(channel):
    """The number of a channel's trigger."""
    return FIRST + channel - 1


def unique_name(service):
    """The daemon's own name on the bus."""
    return ask_bus(service.client.connection, "GetNameOwner", "(s)", STATE)


class Device:
    """The daemon and the two services."""

    def __init__(self, service, streamer, coordinator):
        self.service = service
        self.streamer = streamer
        self.coordinator = coordinator

    def declared(self):
        """Which channels' triggers have declared their event, in order."""
        return [description["keys"]["port"]
                for description in self.service.declarations().values()
                if description["type"] == MANUAL_TRIGGER]

    def _listed(self):
        """Channel and number of each trigger in service."""
        return [(int(props.name.removeprefix(PREFIX)), props.number)
                for props in self.service.ports()
                if props.name.startswith(PREFIX)]

    def triggers(self):
        """Channel -> whether its trigger is enabled, as of everything that
        has happened before. Fails if anything is there twice."""
        self.service.settle()
        listed = sorted(self._listed())
        declared = self.declared()
        channels = [channel for channel, _ in listed]
        assert listed == [(channel, number_of(channel))
                          for channel in sorted(set(channels))]
        assert sorted(declared) == sorted(set(declared) & set(channels))
        return {channel: channel in declared for channel in channels}

    def wait_for(self, expected):
        """Waits until these are the triggers()."""
        def there():
            declared = self.declared()
            return expected == {channel: channel in declared
                                for channel, _ in self._listed()}
        try:
            wait_until(there, f"{expected}")
        except TimedOut as error:
            raise TimedOut(f"{error}; are {self.triggers()}") from None
        assert self.triggers() == expected

    def enumerate_after(self, action, channels):
        """Calls action, after which the daemon has to look at the channels
        again, and waits until it has, up to the one that is not there."""
        beyond = self.streamer.channel(channels + 1)
        before = self.streamer.count("GetAll", beyond)
        action()
        self.streamer.wait_for_calls("GetAll", before + 1, beyond)
        self.service.settle()

    def warnings(self):
        """What the daemon has warned of."""
        self.service.settle()
        return [line.removeprefix("WARNING ")
                for line in self.service.log().splitlines()
                if line.startswith("WARNING ")]


@pytest.fixture(name="follow")
def fixture_follow(serve, offer):
    """follow(port, ..., channels=..., ptz=...): a Device with the service's
    channels and the coordinator's PTZEnabled, each ABSENT unless it is on the
    bus first. prepare(streamer, coordinator): called before the daemon starts.
    options: of the sandbox."""
    def follow(*ports, channels=ABSENT, ptz=ABSENT, endless=False,
               prepare=None, **options):
        peers = []

        def start_peers(box):
            box.start_bus()
            peers.append(offer(box, Streamer,
                               {} if channels is ABSENT else channels,
                               endless=endless,
                               appear=channels is not ABSENT))
            peers.append(offer(box, Coordinator,
                               True if ptz is ABSENT else ptz,
                               appear=ptz is not ABSENT))
            if prepare is not None:
                prepare(*peers)
        service = serve(*(ports or (DOOR, first_virtual_input())),
                        prepare=start_peers, **options)
        return Device(service, *peers)
    return follow
