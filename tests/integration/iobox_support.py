"""A daemon whose ports are those of an IO box."""

import pytest
from gi.repository import GLib

from events_support import ALARM, ALARM_TYPE, alarm
from lifecycle_support import complaints, input_group
from peer import BUS, BUS_PATH
from peers import IOBox
from ports_support import Service, configuration, event, key, port
from supervised_support import Supervising

INPUT, OUTPUT, BOTH, BOTH_OUT = 3, 5, 7, 8
"""Numbers of the ports of every kind."""

CLOSED = dict.fromkeys((INPUT, OUTPUT, BOTH, BOTH_OUT), "closed")
"""The box's word for each of them."""

CONNECTED, STATUS, GET_STATE, SET_MODE = (
    "GetIOBoxConnected", "GetIOPortStatus", "GetIOState", "SetIOMode")
"""What the box can be asked, in the order of a port's set-up."""

UNCONNECTED_BOX = ("USER iobox_port_setup@180: Could not get IO box "
                   "connection status")
UNKNOWN_STATUS = "USER iobox_port_setup@193: Could not get IO port status"
UNKNOWN_STATE = "USER iobox_port_setup@219: Could not get initial IO state"
NO_PROXY = ("MESSAGE iobox_port_setup@168: Proxy for com.vexa.IOBoxMonitor "
            "not available")

SUPERVISED_EVENT = event("com.vexa.Event.Qel.SupervisedPort",
                         supervised_input="true", input="false",
                         output="false")
WORDS = ["open", "closed", "short", "cut"]

ALARM_TYPES = {ALARM: ALARM_TYPE}


def supervised_values(number, state):
    """Of the event of a supervised port."""
    return {"port": number, "state": state,
            "tampered": state in ("short", "cut"), "topic0": "Device",
            "topic1": "IO", "topic2": "SupervisedPort"}


def configured_event(value, number):
    """An event of any input that is sent when it is declared, too. Its keys
    are "number", and "text" with the value."""
    return alarm(key("text", value, "string", True),
                 key("number", number, "int"), supervised_input="true")


def ranges_text(ranges):
    return GLib.Variant("a(suu)", ranges).print_(True)


def saved_input(number, ranges=(), **changes):
    """The complete group of an input of the box."""
    return input_group(f"box{number}", **{
        "supervised_input_ranges": ranges_text(ranges),
        "supervised_input": "false", **changes})


def failed_call(method, reason):
    return (f"USER iobox_dbus_call@44: Failed to call method {method}: "
            f"{reason}")


def removed(number):
    return f"USER Setup failed for port {number}, removing from list"


def unrecognized(word):
    return ("WARNING iobox_state_to_orvad_state@67: Unrecognized iobox "
            f"supervised state: {word}")


def box_port(number, kind="input", *, name=None, **options):
    """A port of the box, "boxN". options: of ports_support.port."""
    return port(name or f"box{number}", kind, number, backend="iobox",
                **options)


def every_kind(**options):
    return [box_port(INPUT, **options), box_port(OUTPUT, "output", **options),
            box_port(BOTH, "io_ctrl", **options),
            box_port(BOTH_OUT, "io_ctrl", defaults={"dir": "output"},
                     **options)]


class Boxed(Supervising, Service):
    """A running daemon, with both of its interfaces, and its box."""

    def __init__(self, sandbox, connect, iobox):
        self.iobox = iobox
        super().__init__(sandbox, connect)

    def asked(self):
        """What the box was asked since the last time: (method, argument, ...)
        each."""
        asked = [(call.member, *call.args) for call in self.iobox.calls]
        self.iobox.calls.clear()
        self.iobox.modes.clear()
        return asked

    def modes(self):
        """The modes that were set since the last time; what else the box was
        asked is forgotten."""
        modes = list(self.iobox.modes)
        self.asked()
        return modes

    def complaints(self):
        """What was complained of, all told."""
        return complaints(self.daemon)

    def user_of(self, name):
        """The user whose connection has the name on the bus."""
        return self.client.call(
            "GetConnectionUnixUser", "(s)", (name,), name=BUS,
            path=BUS_PATH)[0]


class Reports:
    """What a daemon says about its ports from now on."""

    def __init__(self, service):
        self._service = service
        self._changes = service.client.record("PortChanged")

    def take(self):
        """(number, state) of each PortChanged since the last time, what the
        box said before included."""
        self._service.settle()
        taken = [(args[0], args[5]) for args in self._changes.args]
        self._changes.signals.clear()
        return taken


@pytest.fixture(name="serve_box")
def fixture_serve_box(make_sandbox, connect, offer):
    """serve_box({number: state word}, port, ..., **sandbox options): a Boxed.
    prepare(iobox): called before the daemon starts. types: event types, name
    -> text."""
    def serve_box(states, *ports, prepare=None, types=None, **options):
        sandbox = make_sandbox(config=configuration(*ports), **options)
        for name, definition in (types or {}).items():
            (sandbox.share / f"event-types/{name}.conf").write_text(definition)
        sandbox.start_bus()
        iobox = offer(sandbox, IOBox, states)
        if prepare is not None:
            prepare(iobox)
        return Boxed(sandbox, connect, iobox)
    return serve_box
