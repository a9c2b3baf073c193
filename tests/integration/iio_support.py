"""A daemon whose ports measure with devices of the kernel's Industrial I/O,
on a simulated board."""

import pytest

from ports_support import configuration, event
from supervised_support import BOARD, Guarded, zone_port
from waiting import wait_until

LEVELS = {"short": 100, "closed": 1200, "open": 2500, "cut": 4000,
          "undefined": 3200}
"""What a channel of 12 bits measures in that state."""

RANGES = [("short", 0, 400), ("closed", 900, 1800), ("open", 2000, 3000),
          ("cut", 3500, 4095)]

FREQUENCY = 200
"""Of samples, in Hz."""

BUFFER_ON = ["scan_elements/in_voltage0_en:1", "buffer/enable:1"]
"""What is written to have the first converter sample."""

SUPERVISED_EVENT = event("com.vexa.Event.Qel.SupervisedPort",
                         supervised_input="true", input="false",
                         output="false")

# Six converters that sample alike, "sN" with the channel N.
_SIX = "".join(f"""
[IIO s{number}]
Name=adc{number}
Shift=4
[Channel s{number}/{number}]
Value=1200
[Channel s{number}/9]
""" for number in range(6))

IIO_BOARD = BOARD + _SIX + """
[IIO wide]
Endianness=be
Bits=24
Storage=24
[Channel wide/0]
Name=voltage
Value=1200
[IIO signed]
Sign=s
[Channel signed/0]
"""

# A device for each kind of threshold, and one for each oddity.
INT_BOARD = BOARD + """
[IIO both]
Name=watch0
Thresholds=both
Attributes=in_voltage_sampling_frequency;sampling_frequency
[Channel both/0]
Value=1200
[Channel both/1]
Value=1200
[IIO other]
Thresholds=both
Attributes=sampling_frequency
[Channel other/0]
Value=1200
[Channel other/4]
Value=1200
[IIO either]
Thresholds=either
Attributes=events/in_voltage_thresh_either_period
[Channel either/2]
Value=1200
[IIO one]
Thresholds=one
[Channel one/3]
Extension=aux
Value=1200
[IIO prox]
Thresholds=either
Buffer=false
Attributes=in_proximity_integration_time
[Channel prox/5]
Name=proximity
Value=1200
[IIO deaf]
[Channel deaf/6]
"""


def values(number, state):
    """Of the event of a supervised port."""
    return {"port": number, "state": state,
            "tampered": state in ("short", "cut"), "topic0": "Device",
            "topic1": "IO", "topic2": "SupervisedPort"}


def _backend_port(backend, number, kind, items, elements, options):
    """A port on the zone's lines."""
    text = zone_port(number, kind, elements={
        "device": items, "address": None, **(elements or {})},
        **{"ranges": RANGES, **options})
    return text.replace('<backend name="spi">', f'<backend name="{backend}">')


def sampled_port(number, kind="input", *, elements=None, items=None,
                 **options):
    """A port on the zone's lines and the converter "sN", N its number. items:
    changes to the attributes of its device, None for one that is not there;
    options: of zone_port."""
    usual = {"name": f"adc{number}", "adc": f"adc{number}",
             "hrtimer": f"timer{number}", "freq": FREQUENCY,
             "channel": number}
    return _backend_port("iio", number, kind, _present(usual, items), elements,
                         options)


def threshold_port(number, kind="input", *, elements=None, items=None,
                   **options):
    """The same on a channel of "both", of the port's number."""
    usual = {"driver": "watch0", "channel": number}
    return _backend_port("iio-interrupt", number, kind, _present(usual, items),
                         elements, options)


def level_port(number, *, items=None, **options):
    """The same, in the mode that has no lines."""
    none = {"input": None, "io_ctrl": None, "sio_ctrl": None}
    return threshold_port(number, elements=none,
                          items={"mode": "adc", **(items or {})}, **options)


def _present(usual, changes):
    return {key: value for key, value in {**usual, **(changes or {})}.items()
            if value is not None}


class Measuring(Guarded):
    """A running daemon and its board; channels as "s0/0"."""

    def set_value(self, channel, value):
        """value: or a state."""
        self.board.adc(*channel.split("/"), LEVELS.get(value, value))

    def settings(self, since=0, device=None):
        """What the daemon wrote to IIO attributes, (device or trigger,
        "ATTRIBUTE:VALUE") each; of one device the latter only."""
        found = [(change.name, change.value)
                 for change in self.board.history(since)
                 if change.what == "setting" and change.name != "adc"
                 and change.actor != "board"]
        if device is None:
            return found
        return [value for name, value in found if name == device]

    def thresholds(self, channel):
        """The falling and the rising one; None while events are off."""
        row = self.board.channels()[channel]
        return (row.falling, row.rising) if row.enabled else None

    def wait_for_thresholds(self, channel, falling, rising):
        wait_until(lambda: self.thresholds(channel) == (falling, rising),
                   f"{channel} to be armed with {falling} and {rising}")

    def wait_for_samples(self, *devices, count=3):
        """Waits until the daemon has taken that many more."""
        def taken():
            rows = self.board.iio_devices()
            return [rows[device].scans - rows[device].waiting
                    - rows[device].lost for device in devices]
        before = taken()
        wait_until(lambda: all(now >= then + count for now, then
                               in zip(taken(), before)), "samples")

    def wait_for_readings(self, channel, count=2):
        """The same for raw values."""
        before = self.board.channels()[channel].readings
        wait_until(lambda: self.board.channels()[channel].readings
                   >= before + count, f"readings of {channel}")

    def event_descriptors(self):
        """How many the daemon has."""
        return len([path for path in self.descriptors()
                    if "/mount/events/" in path])

    def refresh(self, *names):
        """Sets up ports anew."""
        self.call("DropIOPorts", names)
        self.call("RefreshIOPorts")


def _starter(standard_text, boards, make_sandbox, connect):
    def start(*ports, text=standard_text, prepare=None, **options):
        board = boards(text)
        if prepare is not None:
            prepare(board)
        box = make_sandbox(config=configuration(*ports), binds=board.binds,
                           launcher=board.launcher, **options)
        return Measuring(box, connect, board)
    return start


@pytest.fixture(name="sampling")
def fixture_sampling(boards, make_sandbox, connect):
    """sampling(port, ..., text=board file, prepare=called with the board before
    the daemon starts, **sandbox options): a Measuring."""
    return _starter(IIO_BOARD, boards, make_sandbox, connect)


@pytest.fixture(name="watching")
def fixture_watching(boards, make_sandbox, connect):
    """The same with the other board."""
    return _starter(INT_BOARD, boards, make_sandbox, connect)
