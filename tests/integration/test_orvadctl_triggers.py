"""orvadctl triggers."""

import json

import pytest
from gi.repository import GLib

from bus_client import EVENTS, PRODUCER
from mock_bus import EVENTS_PATH, PRODUCER_XML, Answer
from orvadctl_mock_support import (DESCRIPTION, QEL_PATH, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_events,
                                   fixture_make_mock, fixture_run,
                                   fixture_start, output)
from orvadctl_support import fixture_program, fixture_start_on

TYPE = "com.vexa.Event.Qel.ManualTrigger"
HEADING = "CHANNEL  NUMBER  ENABLED  STATE"


def trigger(channel, number, active=False):
    """A record of GetPortProps."""
    return (f"manualtrigger{channel}", number, active, False, False, False,
            [("virtual", True)])


# The daemon lists the port added last first.
PORTS = [
    trigger(10, 42),
    ("lamp", 3, True, False, False, True, [("ioport", True)]),
    ("manualtrigger3", 7, True, False, False, False, [("ioport", True)]),
    ("manualtriggers\x1b[2J", 8, True, False, False, False,
     [("virtual", True)]),
    trigger(2, 34),
    trigger(1, 33, active=True),
]


def declared(*channels, event_type=TYPE):
    """Declarations of manual triggers' events, as a producer lists them."""
    return [(number, {
        "type": GLib.Variant("s", event_type),
        "property": GLib.Variant("s", "state"),
        "keys": GLib.Variant("a{sv}", {"port": GLib.Variant("i", channel)}),
    }) for number, channel in enumerate(channels, 1)]


@pytest.fixture(name="daemon")
def fixture_daemon(make_daemon):
    return make_daemon(GetPortProps=Answer(len(PORTS), PORTS))


def enabled(text):
    """channel -> whether it is enabled, of a JSON document."""
    return {found["channel"]: found["enabled"]
            for found in json.loads(text)["triggers"]}


def test_triggers_are_a_table_by_channel(daemon, make_events, run):
    events = make_events(Answer(declared(10, 1)))
    assert output(run("triggers")).splitlines() == [
        HEADING,
        "1        33      yes      active",
        "2        34      no       inactive",
        "10       42      yes      inactive",
    ]
    assert daemon.calls == [("GetPortProps", ())]
    assert events.calls == [("ListDeclarations", ())]


def test_triggers_as_json_are_one_document(daemon, make_events, run):
    make_events(Answer(declared(2)))
    assert json.loads(output(run("triggers", "--json"))) == {"triggers": [
        {"channel": 1, "number": 33, "enabled": False, "active": True},
        {"channel": 2, "number": 34, "enabled": True, "active": False},
        {"channel": 10, "number": 42, "enabled": False, "active": False}]}


def test_other_events_enable_no_trigger(daemon, make_events, run):
    # A port's own event has the key, too.
    make_events(Answer([*declared(1, event_type=""), (9, DESCRIPTION)]))
    assert enabled(output(run("triggers", "-j"))) == {
        1: False, 2: False, 10: False}


def test_any_producer_may_have_declared_the_event(daemon, make_mock, run):
    make_mock(EVENTS, {
        QEL_PATH: (PRODUCER_XML, {"ListDeclarations": Answer(declared(1))}),
        EVENTS_PATH + "/b": (PRODUCER_XML, {
            "ListDeclarations": Answer(declared(10))})})
    assert enabled(output(run("triggers", "-j"))) == {
        1: True, 2: False, 10: True}


def test_enabled_is_unknown_without_the_event_service(daemon, run):
    assert output(run("triggers")).splitlines()[1:] == [
        "1        33      -        active",
        "2        34      -        inactive",
        "10       42      -        inactive",
    ]
    assert enabled(output(run("triggers", "-j"))) == {
        1: None, 2: None, 10: None}


def test_producer_that_is_just_starting_leaves_enabled_unknown(
        daemon, make_events, run):
    make_events(xml=PRODUCER_XML.replace(PRODUCER, "com.example.Other"))
    assert enabled(output(run("triggers", "-j"))) == {
        1: None, 2: None, 10: None}


def test_no_trigger_is_enabled_without_producers(daemon, make_mock, run):
    make_mock(EVENTS, {})
    assert enabled(output(run("triggers", "-j"))) == {
        1: False, 2: False, 10: False}


def test_enabled_is_unknown_once_the_event_service_is_gone(daemon, make_events,
                                                           start):
    events = make_events(None)
    client = start("triggers", "-j")
    events.wait_for_calls("ListDeclarations")
    events.disconnect()
    assert enabled(client.finish()) == {1: None, 2: None, 10: None}
    assert (client.status, client.errors) == (0, "")


def test_no_triggers_are_the_heading(make_daemon, make_events, run):
    make_daemon(GetPortProps=Answer(0, []))
    events = make_events()
    assert output(run("triggers")) == HEADING + "\n"
    assert json.loads(output(run("triggers", "-j"))) == {"triggers": []}
    assert events.calls == []


def test_declaration_that_cannot_be_read_is_told_and_left_out(
        daemon, make_events, run):
    make_events(Answer([(7, {"type": GLib.Variant("i", 1)}), *declared(1)]))
    result = run("triggers", "-j")
    assert enabled(result.stdout)[1] is True
    assert (result.returncode, result.stderr) == (
        0, 'orvadctl: "type" of an event\'s description is "i"\n')


def test_declarations_of_another_type_are_told(daemon, make_events, run):
    make_events(Answer("x"), PRODUCER_XML.replace("a(ua{sv})", "s"))
    assert "(s)" in failure(run("triggers"))


def test_event_service_that_never_answers_is_told(daemon, make_events, run):
    make_events(None)
    assert "does not answer" in failure(run("triggers", "--timeout", "1"))
