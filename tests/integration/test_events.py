"""The ports' events, as the event library shows them on the bus."""

import signal

import pytest
from gi.repository import Gio

from bus_client import EVENTS, PRODUCER, PRODUCER_PATH
from ports_support import (changed, event, expect_error, fixture_serve, key,
                           port as port_without_names, sysfs_port)

MANUAL_TRIGGER = "com.vexa.Event.Qel.ManualTrigger"
IOPORT_EVENT = event("IOPort")
PORT_ANY = event("PortAny")

TOPICS = {"topic0": "Device", "topic1": "IO", "topic2": "Port"}
NAMESPACES = {"topic0": "tns1", "topic1": "tnsvexa", "topic2": "tnsvexa"}
TAGS = {"port": ["onvif-source"], "state": ["onvif-data"]}

# An event type of the tests' own, with a key of every kind.
ALARM = "com.example.Alarm"
ALARM_TYPE = f"""
[Event Type]
Name={ALARM}
[Key topic0]
Type=string
Value=Alarms
Namespace=tns1
KeyNiceName=Topic
ValueNiceName=All alarms
[Key number]
Type=int
Tags=source;index
[Key level]
Type=double
[Key on]
Type=bool
Tags=data
[Key text]
Type=string
"""


def port(*args, **options):
    """As in ports_support, but with names: a name that is made up during the
    start has the events declared earlier."""
    return port_without_names(
        *args, **{"names": {"input": "In", "output": "Out"}, **options})


def described(number, name):
    """The description of a digital port's declaration."""
    return {
        "type": "", "property": "state", "keys": {"port": number, **TOPICS},
        "nice-names": {"port": ("Port", name), "state": ("Active", ""),
                       "topic0": ("", ""), "topic1": ("", "Input ports"),
                       "topic2": ("", "Digital input port")},
        "namespaces": NAMESPACES, "tags": TAGS,
    }


def sent(number, state):
    """The values of a digital port's event."""
    return {"port": number, "state": state, **TOPICS}


class Events:
    """The event library's signals from now on, as (member, arguments)."""

    def __init__(self, service):
        self._service = service
        self._recorder = service.record_events()

    def take(self, *calls):
        """The signals that those calls, (method, argument, ...) each, cause.
        """
        for method, *args in calls:
            self._service.call(method, *args)
        self._service.settle_events()
        taken = [(signal.member, signal.args)
                 for signal in self._recorder.signals]
        self._recorder.signals.clear()
        return taken

    def wait_for(self, *signal):
        self._recorder.wait_for(
            lambda seen: (seen.member, seen.args) == signal)


def happened(declaration, values):
    return ("Event", (declaration, values))


def warnings(service):
    return [line.removeprefix("WARNING ")
            for line in service.log().splitlines()
            if line.startswith("WARNING ")]


@pytest.fixture(name="serve_types")
def fixture_serve_types(serve):
    """serve_types({type: definition}, port, ...): as serve(), with those event
    types."""
    def serve_types(types, *ports):
        def prepare(box):
            for name, text in types.items():
                (box.share / f"event-types/{name}.conf").write_text(text)
        return serve(*ports, prepare=prepare)
    return serve_types


def alarm(*keys, **attributes):
    return event(ALARM, *keys, **attributes)


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


def test_manual_trigger_is_declared_from_the_type_that_ships(serve):
    service = serve(
        port("trigger", "output", 5, backend="virtual",
             properties={"virtual": "true"},
             events=[event(MANUAL_TRIGGER, key("port", "1", "int"),
                           key("state", "PORT_STATUS", "bool", True))]))
    topics = {"topic0": "Device", "topic1": "IO", "topic2": "VirtualPort"}
    assert service.declarations() == {1: {
        "type": MANUAL_TRIGGER, "property": "state",
        "keys": {"port": 1, **topics},
        "nice-names": {"port": ("Port", ""), "state": ("Active", ""),
                       "topic0": ("", ""), "topic1": ("", "Input ports"),
                       "topic2": ("", "Manual trigger")},
        "namespaces": NAMESPACES, "tags": TAGS,
    }}
    events = Events(service)
    for state in (True, False):
        assert events.take(("SetVirtual", 5, state)) == [
            happened(1, {"port": 1, "state": state, **topics})]
        assert service.state_of(1) == {"port": 1, "state": state, **topics}


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


# ---- events of configured types ----

def test_configured_event_is_declared_with_its_values_and_names(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, names={"input": "Door"}, events=[alarm(
            key("number", "-7", "int", key_nice_name="Index",
                value_nice_name="PORT_NAME"),
            key("level", "1.5", "double", key_nice_name="PORT_NAME"),
            key("on", "PORT_ACTIVE", "bool", True, value_nice_name="Ringing"),
            key("text", "some text", "string"),
            key("topic0", "Own", "string"))]))
    assert service.declarations() == {1: {
        "type": ALARM, "property": "on",
        "keys": {"topic0": "Own", "number": -7, "level": 1.5,
                 "text": "some text"},
        "nice-names": {"topic0": ("Topic", "All alarms"),
                       "number": ("Index", "Door"), "level": ("Door", ""),
                       "on": ("", "Ringing"), "text": ("", "")},
        "namespaces": {"topic0": "tns1"},
        "tags": {"number": ["source", "index"], "on": ["data"]},
    }}


@pytest.mark.parametrize("placeholder, kind, name, inactive, active", [
    ("PORT_STATUS", "int", "number", 0, 1),
    ("PORT_STATUS", "bool", "on", False, True),
    ("PORT_STATUS", "string", "text", "false", "true"),
    ("PORT_ACTIVE", "int", "number", 0, 1),
    ("PORT_ACTIVE", "bool", "on", False, True),
    ("PORT_ACTIVE", "string", "text", "inactive", "active"),
])
def test_placeholder_is_the_port_s_state(serve_types, placeholder, kind, name,
                                         inactive, active):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(
            key(name, placeholder, kind, True))]))
    common = {"topic0": "Alarms"}
    # The state was sent with the declaration.
    assert service.state_of(1) == {**common, name: inactive}
    events = Events(service)
    assert events.take(("SetState", 0, True)) == \
        [happened(1, {**common, name: active})]
    assert service.state_of(1) == {**common, name: active}
    assert events.take(("SetState", 0, False)) == \
        [happened(1, {**common, name: inactive})]


@pytest.mark.parametrize("text, expected", [
    ("true", True), ("1", True), ("TRUE", False), ("yes", False),
    ("false", False), ("", False)])
def test_literal_truth_is_true_or_1(serve_types, text, expected):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[alarm(key("on", text, "bool"))]))
    assert service.declarations()[1]["keys"]["on"] is expected


def test_value_that_is_no_state_stays_as_it_was_declared(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(
            key("text", "PORT_ACTIVE", "string"),
            key("on", "PORT_STATUS", "bool", True))]))
    assert Events(service).take(("SetState", 0, True)) == [
        happened(1, {"topic0": "Alarms", "text": "inactive", "on": True})]


def test_of_two_state_keys_the_first_configured_is_the_property(serve_types):
    # Keys, too, are taken the last one first, and the last taken counts.
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(
            key("on", "PORT_STATUS", "bool", True),
            key("text", "PORT_ACTIVE", "string", True))]))
    assert service.declarations()[1]["property"] == "on"
    assert Events(service).take(("SetState", 0, True)) == [
        happened(1, {"topic0": "Alarms", "text": "active", "on": True})]


def test_property_of_the_type_is_kept(serve_types):
    definition = ALARM_TYPE.replace("[Key", "Property=number\n[Key", 1)
    service = serve_types(
        {ALARM: definition},
        port("out", "output", 0, events=[alarm(
            key("on", "PORT_STATUS", "bool", True))]))
    assert service.declarations()[1]["property"] == "number"


def test_event_without_a_state_sends_none_at_first(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(key("number", "4", "int"))]))
    assert service.declarations()[1]["property"] == ""
    events = Events(service)
    assert [member for member, _ in
            events.take(("SetName", 0, False, "Door"))] == \
        ["Undeclared", "Declared"]
    assert events.take(("SetState", 0, True)) == [
        happened(2, {"topic0": "Alarms", "number": 4})]


def test_simulated_change_sends_the_real_state_of_a_configured_event(
        serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[
            IOPORT_EVENT, alarm(key("on", "PORT_STATUS", "bool", True))]))
    assert Events(service).take(("SetVirtual", 0, True)) == [
        happened(1, {"topic0": "Alarms", "on": False}),
        happened(2, sent(0, True))]


def test_declared_only_event_is_never_sent(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(
            key("on", "PORT_STATUS", "bool", True, key_nice_name="PORT_NAME"),
            declare_only="true")]))
    description = service.declarations()[1]
    assert description["property"] == "on"
    assert description["nice-names"]["on"] == ("Out", "")
    assert service.state_of(1) == {"topic0": "Alarms"}
    events = Events(service)
    assert [member for member, _ in events.take(
        ("SetState", 0, True), ("SetVirtual", 0, False),
        ("SetName", 0, False, "Door"))] == ["Undeclared", "Declared"]


def test_nice_names_follow_the_port_s_name(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[alarm(
            key("on", "PORT_STATUS", "bool", True,
                value_nice_name="PORT_NAME"))]))
    service.call("SetName", 0, True, "Door")
    assert service.declarations()[2]["nice-names"]["on"] == ("", "Door")


# ---- what cannot be declared ----

BROKEN = {
    "empty": "",
    "no key file": "what is this",
    "no name": "[Event Type]\n[Key a]\nType=int\n",
    "unknown type": f"[Event Type]\nName={ALARM}\n[Key a]\nType=float\n",
    "no type": f"[Event Type]\nName={ALARM}\n[Key a]\nValue=1\n",
    "wrong value": f"[Event Type]\nName={ALARM}\n[Key a]\nType=int\n"
                   "Value=one\n",
    "unknown property": f"[Event Type]\nName={ALARM}\nProperty=a\n",
}


def test_event_of_an_unknown_type_is_not_declared(serve):
    service = serve(port("in", "input", 4, events=[IOPORT_EVENT,
                                                   event("no.such.Type")]))
    assert service.declarations() == {1: described(4, "In")}
    assert ("WARNING Failed to create event declaration: no.such.Type for "
            "port 4\n") in service.log()
    assert Events(service).take(("SetVirtual", 4, True)) == [
        happened(1, sent(4, True))]


def test_unknown_type_is_asked_for_at_each_declaration(serve):
    service = serve(port("in", "input", 0, events=[event("no.such.Type"),
                                                   IOPORT_EVENT]))
    service.call("SetName", 0, True, "Door")
    assert service.log().count("Failed to create event declaration") == 2


@pytest.mark.parametrize("text", BROKEN.values(), ids=BROKEN)
def test_event_of_a_broken_type_is_not_declared(serve_types, text):
    service = serve_types(
        {ALARM: text},
        port("in", "input", 0, events=[
            alarm(key("on", "PORT_STATUS", "bool", True)), IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, "In")}
    assert (f"WARNING Failed to create event declaration: {ALARM} for port 0\n"
            in service.log())


@pytest.mark.parametrize("name", ["../conf", "..", "", "/etc/passwd",
                                  "a\nb"])
def test_type_s_name_leads_nowhere_else(serve, name):
    service = serve(port("in", "input", 0, events=[event(name),
                                                   IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, "In")}
    assert f"Failed to create event declaration: {name} for port 0\n" in \
        service.log()


def test_event_without_a_name_is_ignored_with_a_warning(serve):
    service = serve(port("in", "input", 0, events=[
        "<event output='true'/>", IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, "In")}
    assert "WARNING Ignoring an event without a name on port 0\n" in \
        service.log()


@pytest.mark.parametrize("keys, complaints", [
    ([key("absent", "1", "int")],
     ["populating event key value failed - Key: absent Val: 1 Type: int",
      "Failed to populate event declaration!"]),
    ([key("number", "one", "int")],
     ["populating event key value failed - Key: number Val: one Type: int",
      "Failed to populate event declaration!"]),
    ([key("number", "1", "string")],
     ["populating event key value failed - Key: number Val: 1 Type: string",
      "Failed to populate event declaration!"]),
    ([key("absent", "1", "int", key_nice_name="KN", value_nice_name="VN")],
     ["Failed to set value nice name. Key: KN KNN: KN VNN: VN",
      "Failed to populate event declaration!"]),
    ([key("absent", "PORT_STATUS", "bool", True)],
     ["Failed to set event property: absent"]),
], ids=["unknown key", "wrong value", "wrong type", "unknown key's name",
        "unknown property"])
def test_event_that_does_not_fit_its_type_is_not_declared(serve_types, keys,
                                                          complaints):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[alarm(*keys), IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, "In")}
    assert warnings(service) == complaints


def test_state_that_does_not_fit_is_declared_and_not_sent(serve_types):
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("out", "output", 0, events=[alarm(
            key("on", "PORT_STATUS", "int", True))]))
    failure = ["populating event key value failed - Key: on Val: 0 Type: int",
               "Failed to populate event values"]
    assert warnings(service) == [
        *failure,
        f"Failed to send initial state of event {ALARM} for port 0"]
    events = Events(service)
    assert events.take(("SetState", 0, True)) == []
    assert warnings(service)[3:] == [failure[0].replace("Val: 0", "Val: 1"),
                                     failure[1]]
    assert list(service.declarations()) == [1]


def test_long_and_odd_texts_come_through(serve_types):
    name = "Tür \"门\" <&> \n" + "x" * 10000
    text = "'\"<&>%s%n"
    service = serve_types(
        {ALARM: ALARM_TYPE},
        port("in", "input", 0, events=[
            alarm(key("text", text, "string", key_nice_name="PORT_NAME")),
            IOPORT_EVENT]))
    service.call("SetName", 0, True, name)
    digital, configured = service.declarations().values()
    assert digital == described(0, name)
    assert configured["nice-names"]["text"] == (name, "")
    assert configured["keys"]["text"] == text


# ---- programming errors of a configuration ----

@pytest.mark.parametrize("bad, complaint", [
    (key("on", "true", "truth", True), "code should not be reached"),
    (key("level", "PORT_STATUS", "double"), "assertion failed"),
    (key("level", "PORT_ACTIVE", "double", True), "assertion failed"),
], ids=["unknown type", "placeholder", "state"])
def test_impossible_key_stops_the_daemon(make_sandbox, bad, complaint):
    box = make_sandbox(config=f"<p>{port('in', 'input', 0, events=[alarm(bad)])}"
                              "</p>")
    (box.share / f"event-types/{ALARM}.conf").write_text(ALARM_TYPE)
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert "event.c" in daemon.stderr()
    assert complaint in daemon.stderr()


def test_ports_without_events_have_no_producer(serve):
    service = serve(port("in", "input", 0))
    service.call("SetVirtual", 0, True)
    assert not service.client.has_owner(EVENTS)
