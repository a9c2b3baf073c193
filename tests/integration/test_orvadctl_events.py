"""orvadctl events."""

import json
import re

from gi.repository import GLib

from bus_client import EVENTS, PRODUCER
from mock_bus import EVENTS_PATH, PRODUCER_XML, Answer
from orvadctl_mock_support import (DESCRIPTION, ISO_TIME, QEL_PATH, TIME,
                                   VALUES, failure, fixture_bus,
                                   fixture_make_events, fixture_make_mock,
                                   fixture_run, fixture_start)
from orvadctl_support import fixture_program, fixture_start_on


def following(events, start, *words):
    """An events command that has asked for the declarations."""
    client = start("events", *words)
    events.wait_for_calls("ListDeclarations")
    return client


def test_events_shows_live_declarations_then_what_happens(make_events, start):
    events = make_events()
    client = following(events, start)
    assert re.fullmatch(
        TIME + r' qel #1 live tns1:Device/tnsvexa:IO port=2 \(Front door\) '
        r'\[state: state\]', client.line())
    events.emit(QEL_PATH, PRODUCER, "Event", "(ua{sv})", 1, VALUES)
    assert re.fullmatch(TIME + " qel #1 event tns1:Device/tnsvexa:IO port=2 "
                        "state=true", client.line())
    events.emit(QEL_PATH, PRODUCER, "Undeclared", "(u)", 1)
    assert re.fullmatch(TIME + " qel #1 undeclared tns1:Device/tnsvexa:IO",
                        client.line())
    events.emit(QEL_PATH, PRODUCER, "Declared", "(ua{sv})", 2, DESCRIPTION)
    assert " qel #2 declared tns1:Device/tnsvexa:IO port=2" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")


def test_events_as_json_has_everything(make_events, start):
    events = make_events()
    client = following(events, start, "--json", "--count", "1")
    events.emit(QEL_PATH, PRODUCER, "Event", "(ua{sv})", 1, VALUES)
    rest = client.finish()
    assert client.status == 0
    live, event = map(json.loads, rest.splitlines())
    assert re.fullmatch(ISO_TIME, live.pop("time"))
    assert re.fullmatch(ISO_TIME, event.pop("time"))
    assert live == {
        "type": "live", "producer": "qel", "id": 1,
        "topic": "tns1:Device/tnsvexa:IO", "event_type": "",
        "property": "state",
        "keys": {"topic0": "Device", "topic1": "IO", "port": 2},
        "nice_names": {"port": {"key": "Port", "value": "Front door"}},
        "namespaces": {"topic0": "tns1", "topic1": "tnsvexa"},
        "tags": {"port": ["onvif-source"]}}
    assert event == {
        "type": "event", "producer": "qel", "id": 1,
        "topic": "tns1:Device/tnsvexa:IO",
        "keys": {"topic0": "Device", "topic1": "IO", "port": 2, "state": True}}


def test_events_of_every_producer_are_shown(make_mock, start):
    listed = {"ListDeclarations": Answer([(1, DESCRIPTION)])}
    events = make_mock(EVENTS, {QEL_PATH: (PRODUCER_XML, listed),
                                EVENTS_PATH + "/b": (PRODUCER_XML, listed)})
    client = start("events")
    live = {client.line().split()[2] for _ in range(2)}
    assert live == {"qel", "b"}
    events.emit(EVENTS_PATH + "/late", PRODUCER, "Event", "(ua{sv})", 9,
                VALUES)
    assert " late #9 event Device/IO port=2 state=true" in client.line()
    events.emit("/elsewhere", PRODUCER, "Event", "(ua{sv})", 9, VALUES)
    events.emit(QEL_PATH, PRODUCER, "Event", "(ua{sv})", 1, VALUES)
    assert " qel #1 event " in client.line()


def test_declaration_that_was_listed_is_not_shown_again(make_events, start):
    events = make_events(Answer(
        [(1, DESCRIPTION)], before=lambda mock: mock.emit(
            QEL_PATH, PRODUCER, "Declared", "(ua{sv})", 1, DESCRIPTION)))
    client = following(events, start)
    assert " qel #1 live " in client.line()
    events.emit(QEL_PATH, PRODUCER, "Undeclared", "(u)", 1)
    assert " qel #1 undeclared " in client.line()


def test_events_survives_the_service(make_events, start):
    events = make_events()
    client = following(events, start)
    assert " live " in client.line()
    events.vanish()
    assert re.fullmatch(TIME + " the event service went away", client.line())
    events.appear()
    assert re.fullmatch(TIME + " the event service is there", client.line())
    assert " live " in client.line()
    assert client.interrupt() == 0


def test_events_waits_for_the_service(make_events, start):
    client = start("events")
    assert re.fullmatch(TIME + " the event service is not running; waiting for "
                        "it", client.line())
    make_events()
    assert re.fullmatch(TIME + " the event service is there", client.line())
    assert " live " in client.line()


def test_events_ends_after_its_time(make_events, run):
    make_events()
    result = run("events", "--for", "0.2")
    assert (result.returncode, result.stderr) == (0, "")


def test_events_ignores_what_has_another_type(make_events, start):
    events = make_events(Answer([(7, {"type": GLib.Variant("i", 1)})]))
    client = following(events, start, "--count", "1")
    events.emit(QEL_PATH, PRODUCER, "Event", "(us)", 1, "x")
    events.emit(QEL_PATH, PRODUCER, "Declared", "(u)", 1)
    events.emit(QEL_PATH, PRODUCER, "Undeclared", "()")
    events.emit(QEL_PATH, PRODUCER, "Event", "(ua{sv})", 1, {})
    rest = client.finish()
    assert client.status == 0
    assert re.fullmatch(TIME + " qel #1 event -\n", rest)
    assert client.errors == (
        'orvadctl: "type" of an event\'s description is "i"\n'
        'orvadctl: ignored Event with arguments of type "(us)"\n'
        'orvadctl: ignored Declared with arguments of type "(u)"\n'
        'orvadctl: ignored Undeclared with arguments of type "()"\n')


def test_declarations_of_another_type_end_events(make_events, run):
    make_events(Answer("x"), PRODUCER_XML.replace("a(ua{sv})", "s"))
    assert "(s)" in failure(run("events"))
