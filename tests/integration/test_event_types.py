"""Events of configured types: their declarations, values and faults."""

import signal

import pytest

from events_support import (ALARM, ALARM_TYPE, IOPORT_EVENT, MANUAL_TRIGGER,
                            NAMESPACES, TAGS, Events, alarm, described,
                            fixture_serve_types, happened, port, sent,
                            warnings)
from ports_support import event, fixture_serve, key


# ---- what is declared and sent ----

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
    box.start_bus()
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert "event.c" in daemon.stderr()
    assert complaint in daemon.stderr()
