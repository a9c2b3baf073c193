"""Ports of an IO box that come into service late, or again, and what is told
of them then."""

import contextlib

import pytest
from gi.repository import Gio, GLib

from bus_client import BusError
from events_support import IOPORT_EVENT, PORT_ANY, Events, sent
from iobox_support import (ALARM_TYPES, BOTH, CLOSED, GET_STATE, INPUT, OUTPUT,
                           STATUS, SUPERVISED_EVENT, WORDS, Reports, box_port,
                           configured_event, every_kind, fixture_serve_box,
                           saved_input, supervised_values)
from peer import BUS, BUS_PATH, Reply, connect_to
from peers import IOBox, fixture_offer
from ports_support import port
from usage_support import match_rules
from waiting import wait_until


# ---- drop and refresh ----

def test_box_is_connected_later(serve_box):
    """All its ports come with one refresh, and are followed."""
    service = serve_box(
        CLOSED, *every_kind(optional=True),
        prepare=lambda iobox: setattr(iobox, "connected", False))
    reports = Reports(service)
    service.call("RefreshIOPorts")
    assert service.names() == []
    service.iobox.change(INPUT, "open")
    assert reports.take() == []
    service.iobox.connected = True
    service.asked()
    service.call("RefreshIOPorts")
    assert set(service.names()) == {f"box{number}" for number in CLOSED}
    assert len(service.asked()) == 3 * len(CLOSED)
    assert service.call("GetState", INPUT) is False
    service.iobox.change(INPUT, "closed")
    service.iobox.change(BOTH, "open")
    assert reports.take() == [(INPUT, True), (BOTH, False)]
    assert service.complaints() == []


class Eavesdropper:
    """Sees who asks the bus itself for what."""

    def __init__(self, address):
        self._connection = connect_to(address)
        self.asked = []
        self._connection.add_filter(self._take)
        self._connection.call_sync(
            BUS, BUS_PATH, f"{BUS}.Monitoring", "BecomeMonitor",
            GLib.Variant("(asu)", ([f"type='method_call',destination='{BUS}'"],
                                   0)), None, Gio.DBusCallFlags.NONE, -1, None)

    def _take(self, _connection, message, incoming):
        if not incoming or message.get_destination() != BUS:
            return message
        body = message.get_body()
        self.asked.append((message.get_member(),
                           *(body.unpack() if body else ())))
        return None

    def close(self):
        self._connection.close_sync(None)


def test_port_that_is_tried_again_uses_its_proxy_again(serve_box):
    """It has its rules on the bus, and knows the monitor's owner."""
    service = serve_box(
        {INPUT: "closed"}, box_port(INPUT, optional=True),
        prepare=lambda iobox: setattr(iobox, "connected", False))
    before = match_rules(service.client)
    with contextlib.closing(Eavesdropper(service.box.bus_address)) as spy:
        for _ in range(3):
            service.call("RefreshIOPorts")
        service.iobox.connected = True
        service.call("RefreshIOPorts")
        assert service.names() == [f"box{INPUT}"]
        service.user_of(IOBox.NAME)
        wait_until(lambda: ("GetConnectionUnixUser", IOBox.NAME) in spy.asked,
                   "the last call to be seen")
    assert [call for call in spy.asked if IOBox.NAME in str(call)] == [
        ("GetConnectionUnixUser", IOBox.NAME)]
    assert match_rules(service.client) == before
    assert any(f"sender='{IOBox.NAME}'" in rule and
               f"interface='{IOBox.INTERFACE}'" in rule for rule in before)


def test_dropped_ports_leave_nothing_on_the_bus(serve_box):
    """A port that comes again has a proxy of its own, one handler and one
    watch."""
    names = [f"box{number}" for number in CLOSED]
    service = serve_box(CLOSED, *every_kind(optional=True))
    with_ports = match_rules(service.client)
    reports = Reports(service)
    for _ in range(20):
        assert service.call("DropIOPorts", names) == names
        service.iobox.change(INPUT, "open")
        assert not any(IOBox.NAME in rule
                       for rule in match_rules(service.client))
        service.iobox.change(INPUT, "closed")
        service.call("RefreshIOPorts")
    assert match_rules(service.client) == with_ports
    assert reports.take() == []
    service.iobox.change(INPUT, "open")
    assert reports.take() == [(INPUT, False)]


def test_refreshed_output_starts_inactive_again(serve_box):
    service = serve_box(CLOSED, box_port(OUTPUT, "output", optional=True))
    service.call("SetActive", OUTPUT, False, "open")
    service.call("SetState", OUTPUT, True)
    service.call("DropIOPorts", [f"box{OUTPUT}"])
    service.modes()
    service.call("RefreshIOPorts")
    assert service.modes() == [(OUTPUT, 1, "out")]
    assert service.call("GetState", OUTPUT) is False


@pytest.mark.parametrize("answers, seen", [
    ({STATUS: Reply("(s)", "disabled")}, ["Undeclared"]),
    # Enabled by then, for as long as the state is asked for.
    ({GET_STATE: BusError("com.example.Error", "broken")},
     ["Undeclared", "Declared", "Undeclared"])], ids=["status", "state"])
def test_refresh_that_fails_leaves_the_port_disabled(serve_box, answers,
                                                     seen):
    service = serve_box(CLOSED, box_port(INPUT, optional=True,
                                         events=[IOPORT_EVENT, PORT_ANY]))
    events, reports = Events(service), Reports(service)
    service.call("DropIOPorts", [f"box{INPUT}"])
    assert events.take() == []
    service.iobox.answers.update(answers)
    service.call("RefreshIOPorts")
    service.iobox.change(INPUT, "open")
    assert [member for member, _ in events.take()] == seen
    # The event of any port stays.
    assert [description["keys"]["port"] for description
            in service.declarations().values()] == [-1]
    service.iobox.answers.clear()
    service.call("RefreshIOPorts")
    assert [member for member, _ in events.take()] == ["Declared"]
    assert reports.take() == []
    service.iobox.change(INPUT, "closed")
    assert reports.take() == [(INPUT, True)]
    assert len(events.take()) == 2


# ---- events ----

def texts(signals):
    """The configured events that were sent, (number, text) each."""
    return [(args[1]["number"], args[1]["text"]) for member, args in signals
            if member == "Event" and "text" in args[1]]


@pytest.mark.parametrize("kind", ["input", "io_ctrl"])
def test_port_s_state_is_right_after_a_drop_and_a_refresh(serve_box, kind):
    """The state was not known when its events were declared: what was sent
    then is corrected."""
    service = serve_box({INPUT: "closed"}, box_port(
        INPUT, kind, optional=True, events=[
            configured_event("PORT_STATUS", number=INPUT), IOPORT_EVENT,
            PORT_ANY]),
        types=ALARM_TYPES)
    events, reports = Events(service), Reports(service)
    for word, last in (("closed", "true"), ("open", "false"),
                       ("short", "true"), ("cut", "false"),
                       ("ajar", "false")):
        service.call("DropIOPorts", [f"box{INPUT}"])
        service.iobox.change(INPUT, word)
        events.take()
        service.call("RefreshIOPorts")
        signals = events.take()
        assert texts(signals)[-1] == (INPUT, last), word
        active = last == "true"
        assert service.call("GetState", INPUT) is active
        (port_event,) = [number for number, description
                         in service.declarations().items()
                         if description["keys"].get("port") == INPUT]
        assert service.state_of(port_event) == sent(INPUT, active)
    assert reports.take() == []


@pytest.mark.parametrize("again", [False, True], ids=["late", "again"])
def test_supervised_port_s_state_is_right_after_its_set_up(serve_box, again):
    """Of every word. again: the ports have been in service before."""
    words = dict(enumerate([*WORDS, "ajar"]))
    known = {number: word if word in WORDS else "undefined"
             for number, word in words.items()}
    service = serve_box(
        dict.fromkeys(words, "open"), *[box_port(
            number, optional=True, events=[SUPERVISED_EVENT, configured_event(
                "PORT_SUPERVISED_STATUS", number=number)])
            for number in words],
        port("other", "input", 9, events=[IOPORT_EVENT]),
        types=ALARM_TYPES, orvad_conf="".join(
            saved_input(number, supervised_input="true") for number in words),
        prepare=lambda iobox: setattr(iobox, "connected", again))
    service.call("DropIOPorts", [f"box{number}" for number in words])
    for number, word in words.items():
        service.iobox.change(number, word)
    service.iobox.connected = True
    events = Events(service)
    service.call("RefreshIOPorts")
    told = texts(events.take())
    assert dict(told) == known
    # A port that was never set up is open, one whose state is being asked for
    # is anything.
    assert dict(reversed(told)) == dict.fromkeys(
        words, "undefined" if again else "open")
    for declaration, description in service.declarations().items():
        number = description["keys"].get("port", 9)
        if number in known:
            assert service.state_of(declaration) == supervised_values(
                number, known[number])


def test_port_s_state_is_right_after_the_start(serve_box):
    """Every active port has it corrected, before anybody could listen."""
    numbers = dict(enumerate([*WORDS, "ajar"]))
    service = serve_box(
        numbers, *[box_port(number, events=[IOPORT_EVENT, PORT_ANY])
                   for number in numbers])
    for declaration, description in service.declarations().items():
        number = description["keys"]["port"]
        assert service.state_of(declaration)["state"] is (number in (-1, 1, 2))
