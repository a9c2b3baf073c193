"""orvadctl declarations and settings."""

import json
import re

import pytest

from bus_client import CONFIGURATION_EVENTS, EVENTS
from mock_bus import Answer
from orvadctl_mock_support import (DESCRIPTION, ISO_TIME, QEL_PATH, TIME,
                                   VALUES, failure, fixture_bus,
                                   fixture_make_mock, fixture_run,
                                   fixture_start, output)
from orvadctl_support import fixture_program, fixture_start_on
from ports_support import event, fixture_serve, key, port
from test_orvadctl_methods import EVENTS_XML

CONFIGURATION_PATH = "/org/orvad/ConfigurationEvents1"
CHANGE = ("a.Source", "/source", "a.Target", "/target", 3, "A 1\nB \x1b[2J\n")
WITHDRAWN = Answer(error=("org.freedesktop.DBus.Error.InvalidArgs",
                          "There is no declaration 2."))
PRODUCED = {
    "ListDeclarations": Answer([(1, DESCRIPTION), (2, DESCRIPTION)]),
    "GetState": lambda number: Answer(VALUES) if number == 1 else WITHDRAWN,
}


def test_declarations_have_their_present_values(make_mock, run):
    make_mock(EVENTS, {QEL_PATH: (EVENTS_XML, PRODUCED)})
    assert output(run("declarations")).splitlines() == [
        "PRODUCER  ID  TOPIC                   VALUES",
        "qel       1   tns1:Device/tnsvexa:IO  port=2 state=true"]
    found, = json.loads(output(run("declarations", "-j")))["declarations"]
    assert (found["producer"], found["id"], found["topic"]) == (
        "qel", 1, "tns1:Device/tnsvexa:IO")
    assert found["keys"] == {"topic0": "Device", "topic1": "IO", "port": 2,
                             "state": True}
    assert found["tags"] == {"port": ["onvif-source"]}


def test_state_that_is_refused_is_told(make_mock, run):
    make_mock(EVENTS, {QEL_PATH: (EVENTS_XML, {
        **PRODUCED, "GetState": Answer(error=("a.B", "Not now."))})})
    assert failure(run("declarations")) == "Not now."


def test_state_of_another_type_is_told(make_mock, run):
    make_mock(EVENTS, {QEL_PATH: (EVENTS_XML, {
        **PRODUCED, "GetState": Answer(1, types="i")})})
    assert "(i)" in failure(run("declarations"))


@pytest.fixture(name="announcer")
def fixture_announcer(make_mock):
    """The service of configuration events, without objects."""
    return Announcer(make_mock(CONFIGURATION_EVENTS, {}))


class Announcer:
    """Announces changes of settings."""

    def __init__(self, service):
        self._service = service

    def announce(self, types, *values):
        self._service.emit(f"{CONFIGURATION_PATH}/orvad", CONFIGURATION_EVENTS,
                           "Changed", types, *values)

    def follow(self, client):
        """Waits until the client listens: it tells that the service has gone
        and come back."""
        self._service.vanish()
        assert re.search("not running|went away|false", client.line())
        self._service.appear()
        assert re.search("is there|true", client.line())


def test_settings_are_shown_as_they_change(announcer, start):
    client = start("settings", "--count", "1")
    announcer.follow(client)
    announcer.announce("(ssssis)", *CHANGE)
    assert re.fullmatch(
        TIME + r" orvad /target a\.Target: A 1, B \\x1b\[2J\n",
        client.finish())
    assert client.status == 0


def test_settings_as_json_have_everything(announcer, start):
    client = start("settings", "--json", "--count", "1")
    announcer.follow(client)
    announcer.announce("(ssssis)", *CHANGE)
    found = json.loads(client.finish())
    assert re.fullmatch(ISO_TIME, found.pop("time"))
    assert found == {
        "type": "setting", "producer": "orvad", "source_interface": "a.Source",
        "source_object": "/source", "target_interface": "a.Target",
        "target_object": "/target", "kind": 3, "change": CHANGE[-1]}


@pytest.mark.usefixtures("announcer")
def test_settings_ends_after_its_time(run):
    assert output(run("settings", "--for", "0.05")) == ""


def test_changes_of_another_type_are_left_out(announcer, start):
    client = start("settings", "--count", "1")
    announcer.follow(client)
    announcer.announce("(i)", 1)
    announcer.announce("(ssssis)", *CHANGE)
    assert client.finish().count("\n") == 1
    assert client.errors == ("orvadctl: ignored Changed with arguments of "
                             'type "(i)"\n')


def test_daemon_s_declarations_and_settings(serve, program, start_on):
    clients = []

    def prepare(box):
        box.start_bus()
        clients.append(start_on(box.bus_address, "settings", "--json"))
        assert json.loads(clients[0].line())["running"] is False
    service = serve(
        port("door", "input", 1, names={"input": "Door"}, events=[
            event("IOPort", key("port", 1, "int"),
                  key("state", "PORT_STATUS", "bool", is_property=True))]),
        port("gate", "io_ctrl", 2, defaults={"dir": "input"}),
        prepare=prepare)
    listed = json.loads(program.run(
        service.box.bus_address, "declarations", "--json").stdout)
    assert [entry["keys"]["port"] for entry in listed["declarations"]] == [1]
    service.call("SetDirection", 2, "output")
    while True:
        shown = json.loads(clients[0].line())
        if shown.get("change") == "NbrOfOutputs 1":
            break
    assert shown["producer"] == "orvad"
