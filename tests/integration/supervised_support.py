"""The Supervised interface as tests use it, and a daemon whose ports are the
alarm zones of a simulated board."""

import contextlib

import pytest
from gi.repository import Gio, GLib

from gpio_support import Wired, fixture_boards
from ports_support import configuration, port
from waiting import wait_until

SUPERVISED = "com.vexa.IOSupervised.Supervised"
SUPERVISED_PATH = "/com/vexa/IOSupervised/Supervised"

# Of the methods' arguments.
SIGNATURES = {
    "GetNumberOfPorts": "()",
    "IsSupervisable": "(u)",
    "GetSupervised": "(u)",
    "SetSupervised": "(ub)",
    "SetSupervisedRanges": "(usuu)",
    "GetSupervisedRanges": "(u)",
    "GetSupervisedReadout": "(u)",
    "GetSupervisedStates": "(u)",
    "GetSupervisedPortNumbers": "()",
}

_ERROR = "com.vexa.IOSupervised."
NO_SUPERVISED_PORT = (_ERROR + "Error.No_port", "No such port.")
NOT_SUPERVISABLE = (_ERROR + "Not_supervisable", "Port is not supervisable.")
# One method's message has no full stop.
NO_STATES = (NOT_SUPERVISABLE[0], "Port is not supervisable")
INVALID_RANGE = (_ERROR + "Bad_supervised_range", "Invalid range.")
UNDEFINED_STATE = (_ERROR + "Bad_supervised_range", "State is undefined.")

# A bus lets a client wait for 128 replies.
_PENDING = 100


def unmeasured(reason):
    """The error of a readout that failed."""
    return (_ERROR + "Error.Generic", reason)


def call_supervised(client, method, *args):
    """Calls a method; what it returns: nothing, a value or several."""
    reply = client.call(method, SIGNATURES[method], args, name=SUPERVISED,
                        path=SUPERVISED_PATH)
    if not reply:
        return None
    return reply[0] if len(reply) == 1 else reply


def pipeline_supervised(client, calls):
    """Sends the calls, (method, argument, ...) each, many at a time; how often
    each error, by name, was the answer, None for success."""
    counts = {}
    pending = 0

    def answered(connection, result):
        nonlocal pending
        pending -= 1
        name = None
        try:
            connection.call_finish(result)
        except GLib.Error as error:
            name = Gio.DBusError.get_remote_error(error) or str(error)
        counts[name] = counts.get(name, 0) + 1

    context = GLib.MainContext.new()
    context.push_thread_default()
    try:
        for method, *args in calls:
            pending += 1
            client.connection.call(
                SUPERVISED, SUPERVISED_PATH, SUPERVISED, method,
                GLib.Variant(SIGNATURES[method], args), None,
                Gio.DBusCallFlags.NO_AUTO_START, -1, None, answered)
            while pending >= _PENDING:
                context.iteration(True)
        while pending:
            context.iteration(True)
    finally:
        context.pop_thread_default()
    return counts


# ---- the board ----

ZONES = range(8)
"""Alarm zones of the board, each with a loop and four lines."""

IN, OUT, IOCTRL, SIOCTRL = range(4)
"""Lines of a zone. The loop's contact shows on the first one."""

LEVELS = {"short": 0, "closed": 85, "open": 170, "cut": 255}
"""What a loop in that state is measured as."""

RANGES = [("short", 0, 40), ("closed", 60, 110), ("open", 140, 200),
          ("cut", 230, 255)]

DEVICE = "/dev/spidev0.1"


def line(zone, which):
    """The number of a line."""
    return 8 + 4 * zone + which


def address(zone):
    """Of the zone's channel."""
    return 0x10 + zone


def _zone_text(zone):
    return f"""
[Line in{zone}]
Number={line(zone, IN)}
Wiring=door contact
[Line out{zone}]
Number={line(zone, OUT)}
Wiring=relay
[Line ioctrl{zone}]
Number={line(zone, IOCTRL)}
Wiring=control
[Line sioctrl{zone}]
Number={line(zone, SIOCTRL)}
Wiring=control
Direction=out
[Loop zone{zone}]
Converter=adc
Address={address(zone)}
Line=in{zone}
"""


BOARD = """
[Board]
Name=Alarm board
Group=64124
[Chip gpiochip0]
Base=0
Lines=64
[Converter adc]
Device=spidev0.1
""" + "".join(map(_zone_text, ZONES))


def zone_port(number, kind="input", *, zone=None, ranges=RANGES, name=None,
              elements=None, **options):
    """A port on a zone's lines and loop, "zoneN"; the zone has the port's
    number unless told otherwise. ranges: (state, lower, upper) each, or
    attributes. elements: attributes of the backend's elements in place of the
    usual ones, None for no such element. options: of ports_support.port."""
    zone = number if zone is None else zone
    usual = {
        "input": {"pin": line(zone, IN)} if kind != "output" else None,
        "output": {"pin": line(zone, OUT)} if kind != "input" else None,
        "io_ctrl": {"pin": line(zone, IOCTRL)},
        "sio_ctrl": {"pin": line(zone, SIOCTRL)},
        "device": {"path": DEVICE},
        "address": {"value": hex(address(zone))},
    }
    groups = {element: attributes for element, attributes
              in {**usual, **(elements or {})}.items()
              if attributes is not None}
    text = port(name or f"zone{number}", kind, number, backend="spi",
                groups=groups, **options)
    return text.replace("</backend>", "".join(map(_range, ranges))
                        + "</backend>")


def _range(attributes):
    if isinstance(attributes, tuple):
        attributes = dict(zip(("state", "lower", "upper"), attributes))
    pairs = "".join(f' {key}="{value}"' for key, value in attributes.items())
    return f"<range{pairs}/>"


class Supervising:
    """For a Service: its Supervised interface, too."""

    def __init__(self, *args):
        super().__init__(*args)
        self._wait_for_interface()

    def start_again(self):
        super().start_again()
        self._wait_for_interface()

    def _wait_for_interface(self):
        wait_until(lambda: self.client.has_owner(SUPERVISED),
                   f"{SUPERVISED} on the bus")

    def ask(self, method, *args):
        """Calls a method of the Supervised interface."""
        return call_supervised(self.client, method, *args)

    def supervise(self, *numbers, on=True):
        for number in numbers:
            self.ask("SetSupervised", number, on)

    def readout(self, number):
        """The state and the level."""
        return self.ask("GetSupervisedReadout", number)


class Guarded(Supervising, Wired):
    """A running daemon, with both of its interfaces, and its board."""

    def set_level(self, zone, level):
        self.board.adc("adc", address(zone), level)

    def readings(self, zone):
        """How often the zone's level was measured so far."""
        return self.board.loops()[f"zone{zone}"].readings

    def wait_for_polls(self, *zones, count=2):
        """Waits until each of the zones, which are polled, has been measured
        that often from now on; a reading for an event counts too."""
        def readings():
            loops = self.board.loops()
            return [loops[f"zone{zone}"].readings for zone in zones]
        before = readings()
        wait_until(lambda: all(now >= then + count for now, then
                               in zip(readings(), before)),
                   f"{count} readings of the zones {zones}")

    def controls(self, since=0):
        """What was written to control and output lines, (name, value)."""
        return [(name, value) for name, what, value in self.writes(since)
                if what == "write"]

    def released(self):
        """Waits until nobody has the converter open, which the kernel sees
        after the close."""
        wait_until(lambda: self.board.converters()["adc"].users == 0,
                   "the converter to be closed")


@pytest.fixture(name="guard")
def fixture_guard(boards, make_sandbox, connect):
    """guard(port, ..., text=board file, **sandbox options): a Guarded.
    prepare(board): called before the daemon starts. types: event types, name
    -> text."""
    def guard(*ports, text=BOARD, prepare=None, types=None, **options):
        board = boards(text)
        if prepare is not None:
            prepare(board)
        box = make_sandbox(config=configuration(*ports), binds=board.binds,
                           **options)
        for name, definition in (types or {}).items():
            (box.share / f"event-types/{name}.conf").write_text(definition)
        return Guarded(box, connect, board)
    return guard


class Reports:
    """What a daemon says about a port from now on: PortChanged states."""

    def __init__(self, service):
        self._changes = service.client.record("PortChanged")

    def of(self, number):
        return [args[5] for args in self._changes.args if args[0] == number]

    def wait_for(self, number, *states):
        """Waits for that many of a port's states; they have to be these."""
        self._changes.wait_for(lambda _: len(self.of(number)) >= len(states))
        assert self.of(number) == list(states), self.of(number)

    def forget(self):
        self._changes.signals.clear()


@contextlib.contextmanager
def unchanged(path):
    """The file must not be replaced or written inside."""
    before = path.stat()
    yield
    after = path.stat()
    assert (after.st_ino, after.st_mtime_ns) == \
        (before.st_ino, before.st_mtime_ns)
