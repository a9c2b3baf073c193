"""The ports' events, as the event library shows them on the bus."""

import os

import pytest
from gi.repository import Gio

from bus_client import EVENTS, PRODUCER, PRODUCER_PATH
from events_support import (ALARM, ALARM_TYPE, IOPORT_EVENT, PORT_ANY, Events,
                            alarm, described, fixture_serve_types, happened,
                            port, sent)
from lifecycle_support import WITHOUT_LEGACY
from ports_support import (changed, configuration, event, expect_error,
                           fixture_serve, key, port as port_without_names,
                           sysfs_port)
from waiting import wait_until


# ---- declarations ----

def test_producer_s_object_is_described(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT]))
    text, = service.client.call(
        "Introspect", name=EVENTS, path=PRODUCER_PATH,
        interface="org.freedesktop.DBus.Introspectable")
    interface = Gio.DBusNodeInfo.new_for_xml(text).lookup_interface(PRODUCER)
    assert {method.name: ([arg.signature for arg in method.in_args],
                          [arg.signature for arg in method.out_args])
            for method in interface.methods} == \
        {"ListDeclarations": ([], ["a(ua{sv})"]), "GetState": (["u"],
                                                               ["a{sv}"])}
    assert {signal.name: [arg.signature for arg in signal.args]
            for signal in interface.signals} == \
        {"Declared": ["u", "a{sv}"], "Undeclared": ["u"],
         "Event": ["u", "a{sv}"]}


def test_port_is_declared(serve):
    service = serve(
        port("in", "input", 3, names={"input": "Door"}, events=[IOPORT_EVENT]))
    assert service.declarations() == {1: described(3, "Door")}


def test_declaration_s_values_are_of_the_library_s_types(serve):
    service = serve(port("in", "input", 3, events=[IOPORT_EVENT]))
    reply = service.client.connection.call_sync(
        EVENTS, PRODUCER_PATH, PRODUCER, "ListDeclarations", None, None,
        Gio.DBusCallFlags.NO_AUTO_START, -1, None)
    description = reply.get_child_value(0).get_child_value(0) \
        .get_child_value(1)

    def entries(dictionary):
        return {dictionary.get_child_value(i).get_child_value(0).get_string():
                dictionary.get_child_value(i).get_child_value(1).get_variant()
                for i in range(dictionary.n_children())}
    parts = entries(description)
    assert {name: part.get_type_string() for name, part in parts.items()} == {
        "type": "s", "property": "s", "keys": "a{sv}",
        "nice-names": "a{s(ss)}", "namespaces": "a{ss}", "tags": "a{sas}"}
    assert {name: value.get_type_string()
            for name, value in entries(parts["keys"]).items()} == \
        {"port": "i", "topic0": "s", "topic1": "s", "topic2": "s"}


@pytest.mark.parametrize("kind, defaults, name", [
    ("input", {}, "In"), ("output", {}, "Out"),
    ("io_ctrl", {}, "In"), ("io_ctrl", {"dir": "output"}, "Out")])
def test_declaration_carries_the_present_side_s_name(serve, kind, defaults,
                                                     name):
    service = serve(port("p", kind, 0, names={"input": "In", "output": "Out"},
                         defaults=defaults, events=[IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, name)}


def test_declaration_of_an_unnamed_port_has_no_name(serve):
    service = serve(
        port_without_names("far", "input", 17, events=[IOPORT_EVENT]))
    assert service.declarations() == {1: described(17, "")}


def test_ports_that_are_given_a_name_at_the_start_are_declared_first(serve):
    service = serve(
        port_without_names("a", "input", 0, events=[PORT_ANY, IOPORT_EVENT]),
        port_without_names("b", "output", 1, events=[IOPORT_EVENT]),
        port("c", "input", 2, events=[IOPORT_EVENT]))
    assert service.declarations() == {
        1: described(0, "Input 1"), 2: described(1, "Output 1"),
        3: described(2, "In"), 4: described(-1, "Any")}


def test_any_port_is_declared_once_for_all(serve):
    service = serve(*[port(f"p{number}", "input", number, events=[PORT_ANY])
                      for number in range(3)])
    assert service.declarations() == {1: described(-1, "Any")}


def test_ports_are_declared_the_newest_first_and_their_last_event_first(serve):
    service = serve(
        port("a", "input", 0, events=[IOPORT_EVENT, PORT_ANY]),
        port("b", "input", 1, events=[PORT_ANY, IOPORT_EVENT]))
    assert {number: description["keys"]["port"]
            for number, description in service.declarations().items()} == \
        {1: 1, 2: -1, 3: 0}


@pytest.mark.parametrize("kind, attributes, declared", [
    ("input", {"input": "true", "output": "false"}, True),
    ("input", {"input": "FALSE"}, False),
    ("input", {"output": "false"}, True),
    ("output", {"input": "true", "output": "false"}, False),
    ("output", {"input": "false"}, True),
    # Another text leaves the default.
    ("input", {"input": "no"}, True),
    # There is no supervision here.
    ("input", {"input": "false", "supervised_input": "true"}, False),
])
def test_event_is_declared_where_it_applies(serve, kind, attributes, declared):
    service = serve(port("p", kind, 0, events=[event("IOPort", **attributes)]),
                    port("other", "input", 1, events=[IOPORT_EVENT]))
    numbers = [description["keys"]["port"]
               for description in service.declarations().values()]
    assert numbers == ([1, 0] if declared else [1])


# ---- events ----

def test_write_is_sent(serve):
    service = serve(port("out", "output", 0, events=[IOPORT_EVENT, PORT_ANY]))
    events = Events(service)
    for state in (True, False):
        assert events.take(("SetState", 0, state)) == [
            happened(1, sent(-1, state)), happened(2, sent(0, state))]
    assert events.take(("SetState", 0, False)) == []


def test_simulated_change_is_sent_each_time(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT]))
    assert Events(service).take(*[("SetVirtual", 0, True)] * 3) == \
        [happened(1, sent(0, True))] * 3


@pytest.mark.parametrize("kind, is_input", [("input", True),
                                            ("output", False)])
def test_changed_level_is_sent(serve, kind, is_input):
    service = serve(port("p", kind, 0, events=[IOPORT_EVENT]))
    events = Events(service)
    # An input's state turns, an output keeps its own.
    assert events.take(("SetActive", 0, is_input, "open")) == \
        [happened(1, sent(0, is_input))]
    assert events.take(("SetActive", 0, is_input, "open")) == []


def test_change_of_a_file_is_sent(serve):
    def prepare(box):
        (box.sys / "level").write_text("0")
    service = serve(sysfs_port("file", 0, "/sys/level", events=[IOPORT_EVENT]),
                    prepare=prepare)
    events = Events(service)
    (service.box.sys / "level").write_text("1")
    events.wait_for(*happened(1, sent(0, True)))
    assert service.state_of(1) == sent(0, True)


def test_every_step_of_a_sequence_is_sent(serve):
    service = serve(port("out", "output", 0, events=[IOPORT_EVENT]))
    events = Events(service)
    recorder = service.record()
    service.start_sequence(0, (True, 1), (False, 1), (True, 0))
    recorder.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert events.take() == [happened(1, sent(0, state))
                             for state in (True, False, True)]


def test_event_is_sent_before_the_change_is_announced(serve):
    service = serve(port("out", "output", 0, events=[IOPORT_EVENT]))
    recorder = service.client.record(interface=None)
    service.call("SetState", 0, True)
    recorder.wait_for(lambda signal: signal.member == "PortChanged")
    assert [(signal.member, signal.args) for signal in recorder.signals] == [
        happened(1, sent(0, True)), ("PortChanged", changed(0, True))]


def test_event_of_any_port_carries_the_port_s_own_state(serve):
    service = serve(*[port(f"out{number}", "output", number, events=[PORT_ANY])
                      for number in range(2)])
    events = Events(service)
    assert events.take(("SetState", 0, True), ("SetState", 1, True),
                       ("SetState", 0, False)) == \
        [happened(1, sent(-1, state)) for state in (True, True, False)]
    assert service.state_of(1) == sent(-1, True)
    service.call("SetState", 1, False)
    assert service.state_of(1) == sent(-1, False)


# ---- present states ----

def test_present_state_is_the_port_s_whatever_was_sent(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT, PORT_ANY]))
    assert service.state_of(2) == sent(0, False)
    service.call("SetVirtual", 0, True)
    assert service.state_of(2) == sent(0, False)
    assert service.state_of(1) == sent(-1, False)
    service.call("SetActive", 0, True, "open")
    assert service.state_of(2) == sent(0, True)
    assert service.state_of(1) == sent(-1, True)


def test_any_port_s_state_counts_every_port_that_has_the_event(serve):
    service = serve(
        port("out", "output", 0, events=[event("PortAny", output="false")]),
        port("in", "input", 1, events=[PORT_ANY]),
        port("without", "output", 2, events=[IOPORT_EVENT]))
    any_port = service.declaration_of(-1)[0]
    service.call("SetState", 2, True)
    assert service.state_of(any_port) == sent(-1, False)
    service.call("SetState", 0, True)
    assert service.state_of(any_port) == sent(-1, True)


def test_state_of_a_declaration_that_is_not_live_is_refused(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT]))
    for number in (0, 2, 4294967295):
        with expect_error(("org.freedesktop.DBus.Error.InvalidArgs",
                           "There is no declaration with the id "
                           f"{number}")):
            service.state_of(number)


# ---- names ----

def test_new_name_is_declared_under_a_new_id(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT, PORT_ANY]))
    events = Events(service)
    assert events.take(("SetName", 0, True, "Door")) == [
        ("Undeclared", (2,)), ("Declared", (3, described(0, "Door")))]
    assert service.declarations() == {1: described(-1, "Any"),
                                      3: described(0, "Door")}
    assert events.take(("SetName", 0, True, "Door")) == []
    assert events.take(("SetVirtual", 0, True)) == [
        happened(1, sent(-1, True)), happened(3, sent(0, True))]


def test_every_event_of_the_port_is_declared_again(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[
            IOPORT_EVENT, PORT_ANY,
            alarm(key("on", "PORT_STATUS", "bool", True))]))
    events = Events(service)
    seen = events.take(("SetName", 0, True, "Door"))
    declared = {args[0]: args[1] for member, args in seen
                if member == "Declared"}
    assert [(member, args[0]) for member, args in seen] == [
        ("Undeclared", 1), ("Declared", 4), ("Event", 4),
        ("Undeclared", 3), ("Declared", 5)]
    assert declared[4]["type"] == ALARM
    assert declared[5] == described(0, "Door")


@pytest.mark.parametrize("direction, is_input", [("input", False),
                                                 ("output", True)])
def test_name_of_the_other_side_waits_for_the_next_declaration(
        serve, direction, is_input):
    service = serve(port("conf", "io_ctrl", 0, defaults={"dir": direction},
                         names={"input": "Old", "output": "Old"},
                         events=[IOPORT_EVENT]))
    events = Events(service)
    assert events.take(("SetName", 0, is_input, "New")) == []
    assert service.declarations() == {1: described(0, "Old")}


def test_event_that_stays_declared_keeps_its_name(serve):
    service = serve(port("conf", "io_ctrl", 0,
                         names={"input": "In", "output": "Out"},
                         events=[IOPORT_EVENT]))
    service.call("SetDirection", 0, "output")
    assert service.declarations() == {1: described(0, "In")}
    service.call("SetName", 0, False, "New")
    assert service.declarations() == {2: described(0, "New")}


# ---- direction ----

def test_direction_changes_what_is_declared(serve):
    service = serve(port("conf", "io_ctrl", 0, events=[
        event("IOPort", output="false"), PORT_ANY]))
    events = Events(service)
    assert events.take(("SetDirection", 0, "output")) == [
        ("Undeclared", (2,)), happened(1, sent(-1, False))]
    assert service.declarations() == {1: described(-1, "Any")}
    assert events.take(("SetState", 0, True)) == [
        happened(1, sent(-1, True))]
    assert events.take(("SetDirection", 0, "input")) == [
        ("Declared", (3, described(0, "In"))),
        happened(1, sent(-1, True)), happened(3, sent(0, True))]


def test_input_s_event_makes_way_for_the_output_s(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("conf", "io_ctrl", 0, events=[
            event("IOPort", output="false"),
            alarm(key("on", "PORT_STATUS", "bool", True), input="false")]))
    events = Events(service)
    assert [description["type"]
            for description in service.declarations().values()] == [""]
    seen = events.take(("SetDirection", 0, "output"))
    # Its own initial state, then the one that the change announces.
    assert [(member, args[0]) for member, args in seen] == [
        ("Declared", 2), ("Event", 2), ("Undeclared", 1), ("Event", 2)]
    seen = events.take(("SetDirection", 0, "input"))
    assert [(member, args[0]) for member, args in seen] == [
        ("Undeclared", 2), ("Declared", 3), ("Event", 3)]


def test_any_port_stays_declared_where_it_does_not_apply(serve):
    service = serve(port("conf", "io_ctrl", 0, events=[
        event("PortAny", output="false")]))
    events = Events(service)
    assert events.take(("SetDirection", 0, "output"),
                       ("SetState", 0, True)) == []
    assert service.declarations() == {1: described(-1, "Any")}
    assert service.state_of(1) == sent(-1, True)


def producers(client):
    """The names of the producers on the bus."""
    wait_until(lambda: client.has_owner(EVENTS), f"{EVENTS} on the bus")
    text, = client.call(
        "Introspect", name=EVENTS, path=os.path.dirname(PRODUCER_PATH),
        interface="org.freedesktop.DBus.Introspectable")
    return sorted(
        node.path for node in Gio.DBusNodeInfo.new_for_xml(text).nodes)


def test_ports_without_events_have_no_producer(serve):
    """The older configuration system has one of its own."""
    service = serve(port("in", "input", 0))
    service.call("SetVirtual", 0, True)
    assert producers(service.client) == ["orvad"]


def test_ports_with_events_have_a_producer_of_their_own(serve):
    service = serve(port("in", "input", 0, events=[IOPORT_EVENT]))
    assert producers(service.client) == ["orvad", "qel"]


def test_without_events_and_older_system_there_is_no_producer(make_sandbox,
                                                              connect):
    box = make_sandbox(config=configuration(port("in", "input", 0)))
    box.start(WITHOUT_LEGACY)
    client = connect(box)
    client.call("SetVirtual", "(ub)", (0, True))
    assert not client.has_owner(EVENTS)
