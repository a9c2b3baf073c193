"""The events that tell the older configuration system how many inputs and
outputs there are."""

import os

import pytest
from gi.repository import Gio

from bus_client import CONFIGURATION_EVENTS, EVENTS, STATE, BusError
from legacy_support import INPUT, PORT, SERVICE, Legacy, path_of
from lifecycle_support import WITHOUT_LEGACY, complaints
from peer import BUS, BUS_PATH
from ports_support import (NOT_CONFIGURABLE, Service, configuration,
                           expect_error, port)
from sandbox import QEL_UID

OBJECT = "/org/orvad/ConfigurationEvents1/orvad"
INTROSPECTABLE = "org.freedesktop.DBus.Introspectable"
DOOR, GATE, LAMP, WINDOW = range(4)
PORTS = [port("door", "input", DOOR), port("gate", "io_ctrl", GATE),
         port("lamp", "output", LAMP), port("window", "input", WINDOW)]


def counts(inputs, outputs):
    """The arguments of the two events that announce those counts."""
    source = "com.vexa.Configuration.Legacy.IOControl1.IOPort", \
        "/com/vexa/Configuration/Legacy/IOControl/IOPort/0"
    return [(*source, *source, 3, f"NbrOfInputs {inputs}"),
            (*source, *source, 3, f"NbrOfOutputs {outputs}")]


def files(box):
    """What tells the older system's two files from new ones."""
    found = [(box.etc / path).stat() for path in (
        "service_registry/services.d/orvad_service_registry.conf",
        "legacyconfig/legacymappings.d/orvad.xml")]
    return [(status.st_ino, status.st_mtime_ns) for status in found]


class Announced:
    """A daemon, and what it has announced since before its start."""

    def __init__(self, box, connect):
        box.start_bus()
        self.listener = connect(box)
        self.events = self.listener.record(interface=CONFIGURATION_EVENTS)
        self.service = Service(box, connect)
        self.legacy = Legacy(self.service)

    def take(self):
        """The arguments of the events that have come since it was last
        asked."""
        # The bus keeps the order of what one connection sends.
        self.listener.sync(STATE)
        signals = list(self.events.signals)
        self.events.signals.clear()
        assert {(signal.member, signal.path) for signal in signals} <= {
            ("Changed", OBJECT)}
        return [signal.args for signal in signals]


@pytest.fixture(name="announce")
def fixture_announce(make_sandbox, connect):
    """announce(port, ..., **sandbox options): a daemon with those ports."""
    def announce(*ports, **options):
        return Announced(make_sandbox(config=configuration(*ports), **options),
                         connect)
    return announce


# ---- at the start ----

@pytest.mark.parametrize("ports, expected", [
    (PORTS, (3, 1)),
    ([], (0, 0)),
    ([port("a", "output", 0), port("b", "output", 7)], (0, 2)),
    ([port("a", "input", 0, properties={"virtual": "true"}),
      port("b", "input", 1, properties={"ioport": "true",
                                        "hidden": "true"})], (1, 0)),
    ([port("gone", "input", 0, items={"setup": "fail"}),
      port("late", "input", 1, items={"setup": "fail"}, optional=True)],
     (0, 0)),
], ids=["all kinds", "none", "outputs", "real ones", "not in service"])
def test_counts_are_announced_at_the_start(announce, ports, expected):
    assert announce(*ports).take() == counts(*expected)


def test_counts_are_those_of_the_saved_directions(announce):
    announced = announce(*PORTS, orvad_conf="[gate]\ninput=false\n")
    assert announced.take() == counts(2, 2)


def test_every_start_announces(announce):
    announced = announce(*PORTS)
    assert announced.take() == counts(3, 1)
    announced.service.restart()
    assert announced.take() == counts(3, 1)


def test_counts_of_two_hundred_ports_are_numbers_still(announce):
    ports = [port(f"p{n}", "input" if n % 4 else "output", n)
             for n in range(200)]
    assert announce(*ports).take() == counts(150, 50)


# ---- changes ----

def test_direction_that_the_older_system_writes_is_announced(announce):
    announced = announce(*PORTS)
    announced.take()
    for direction, expected in [("output", (2, 2)), ("input", (3, 1))]:
        announced.legacy.set(GATE, PORT, "Direction", direction)
        assert announced.take() == counts(*expected)
        assert (announced.legacy.get(0, PORT, "NbrOfInputs"),
                announced.legacy.get(0, PORT, "NbrOfOutputs")) == expected


def test_direction_that_is_set_on_the_state_interface_is_announced(announce):
    announced = announce(*PORTS)
    announced.take()
    for direction, expected in [("output", (2, 2)), ("input", (3, 1))]:
        announced.service.call("SetDirection", GATE, direction)
        assert announced.take() == counts(*expected)


def test_direction_that_the_port_has_already_is_not_announced(announce):
    announced = announce(*PORTS)
    announced.take()
    for number, direction in [(GATE, "input"), (DOOR, "input"),
                              (LAMP, "output")]:
        announced.legacy.set(number, PORT, "Direction", direction)
    assert announced.take() == []


def test_direction_that_is_refused_is_not_announced(announce):
    announced = announce(*PORTS)
    announced.take()
    for number, word in [(DOOR, "output"), (LAMP, "input"),
                         (GATE, "sideways"), (77, "input")]:
        with pytest.raises(BusError):
            announced.legacy.set(number, PORT, "Direction", word)
    with expect_error(NOT_CONFIGURABLE):
        announced.service.call("SetDirection", DOOR, "output")
    assert announced.take() == []


def test_other_changes_are_not_announced(announce):
    announced = announce(*PORTS)
    announced.take()
    announced.legacy.set(DOOR, INPUT, "Name", "Back door")
    announced.legacy.set(DOOR, INPUT, "Trig", "open")
    announced.service.call("SetUsage", LAMP, "porch")
    announced.service.call("SetState", LAMP, True)
    assert announced.take() == []


def test_changes_are_announced_in_their_order(announce):
    announced = announce(*PORTS)
    announced.take()
    for _ in range(50):
        announced.legacy.set(GATE, PORT, "Direction", "output")
        announced.service.call("SetDirection", GATE, "input")
    assert announced.take() == [*counts(2, 2), *counts(3, 1)] * 50


# ---- resynchronisation ----

@pytest.fixture(name="resynchronised")
def fixture_resynchronised(announce):
    """A daemon with the lamp to drop and the door to keep, and what happens
    on the bus to the older system's interface, in order: each change of its
    name's owner, (old, new), and the arguments of each event."""
    announced = announce(port("door", "input", DOOR),
                         port("lamp", "output", LAMP, optional=True))
    announced.service.settle()
    assert announced.take() == counts(1, 1)
    happened = []

    def changed(*signal):
        name, *owners = signal[-1].unpack()
        if name == SERVICE:
            happened.append(tuple(owners))

    def counted(*signal):
        happened.append(signal[-1].unpack())

    announced.listener.subscribe(BUS, "NameOwnerChanged", BUS_PATH, changed)
    announced.listener.subscribe(CONFIGURATION_EVENTS, "Changed", OBJECT,
                                 counted)
    return announced, happened


def test_counts_are_announced_while_nobody_has_the_name(resynchronised):
    announced, happened = resynchronised
    daemon = owner(announced.service.client, STATE)
    for method, args, expected in [("DropIOPorts", [["lamp"]], (1, 0)),
                                   ("RefreshIOPorts", [], (1, 1))]:
        announced.service.call(method, *args)
        announced.listener.sync(STATE)
        assert happened == [(daemon, ""), *counts(*expected), ("", daemon)]
        happened.clear()


@pytest.mark.parametrize("method, args", [
    ("DropIOPorts", [["unknown"]]), ("DropIOPorts", [["door"]]),
    ("DropIOPorts", [["door", "unknown", ""]]), ("DropIOPorts", [[]]),
    ("RefreshIOPorts", []),
], ids=["unknown", "not optional", "several", "none", "nothing parked"])
def test_call_that_changes_no_port_leaves_everything_as_it_is(
        resynchronised, method, args):
    announced, happened = resynchronised
    before = files(announced.service.box)
    assert announced.service.call(method, *args) in ([], None)
    announced.listener.sync(STATE)
    assert happened == []
    assert files(announced.service.box) == before
    assert announced.service.names() == ["lamp", "door"]


# ---- on the bus ----

def owner(client, name):
    return client.call("GetNameOwner", "(s)", (name,), name=BUS,
                       path=BUS_PATH)[0]


def test_event_s_interface_is_described(announce):
    client = announce(*PORTS).service.client
    text, = client.call("Introspect", name=CONFIGURATION_EVENTS, path=OBJECT,
                        interface=INTROSPECTABLE)
    interface = Gio.DBusNodeInfo.new_for_xml(text).lookup_interface(
        CONFIGURATION_EVENTS)
    assert [(signal.name, "".join(arg.signature for arg in signal.args))
            for signal in interface.signals] == [("Changed", "ssssis")]
    assert interface.methods == [] and interface.properties == []
    text, = client.call("Introspect", name=CONFIGURATION_EVENTS,
                        path=os.path.dirname(OBJECT), interface=INTROSPECTABLE)
    assert [node.path for node in Gio.DBusNodeInfo.new_for_xml(text).nodes] \
        == ["orvad"]


def test_daemon_has_the_name_as_qel_and_sends_from_it(announce):
    announced = announce(*PORTS)
    client = announced.service.client
    assert owner(client, CONFIGURATION_EVENTS) == owner(client, STATE) \
        == owner(client, SERVICE)
    assert {signal.sender for signal in announced.events.signals} <= {
        owner(client, STATE)}
    assert client.call(
        "GetConnectionUnixUser", "(s)", (CONFIGURATION_EVENTS,), name=BUS,
        path=BUS_PATH) == (QEL_UID,)


def test_values_are_of_these_types(announce):
    announced = announce(*PORTS)
    types = []
    announced.listener.subscribe(
        CONFIGURATION_EVENTS, "Changed", OBJECT,
        lambda *args: types.append(args[-1].get_type_string()))
    announced.service.call("SetDirection", GATE, "output")
    announced.listener.sync(STATE)
    assert types == ["(ssssis)"] * 2


def test_name_goes_with_the_daemon(announce):
    announced = announce(*PORTS)
    announced.take()
    daemon = announced.service.daemon
    daemon.stop()
    for name in (CONFIGURATION_EVENTS, SERVICE, EVENTS):
        assert not announced.listener.has_owner(name)
    assert announced.events.signals == []
    assert complaints(daemon) == []


def test_daemon_lives_when_another_has_the_name(make_sandbox, connect):
    """The events are heard by their object."""
    box = make_sandbox(config=configuration(*PORTS))
    box.start_bus()
    other = connect(box)
    other.call("RequestName", "(su)", (CONFIGURATION_EVENTS, 0), name=BUS,
               path=BUS_PATH)
    events = other.record(interface=CONFIGURATION_EVENTS)
    service = Service(box, connect)
    service.call("SetDirection", GATE, "output")
    other.sync(STATE)
    assert events.args == [*counts(3, 1), *counts(2, 2)]
    assert complaints(service.daemon) == []


def test_without_the_older_system_nothing_is_announced(make_sandbox, connect):
    box = make_sandbox(config=configuration(*PORTS))
    box.start_bus()
    client = connect(box)
    events = client.record(interface=CONFIGURATION_EVENTS)
    daemon = box.start(WITHOUT_LEGACY)
    client.call("SetDirection", "(us)", (GATE, "output"))
    client.sync(STATE)
    assert events.signals == []
    for name in (CONFIGURATION_EVENTS, SERVICE, EVENTS):
        assert not client.has_owner(name)
    daemon.stop()
    assert events.signals == []
    assert complaints(daemon) == []
