"""orvadctl connectors."""

import json

import pytest

from bus_client import STATE, STATE_PATH
from mock_bus import STATE_XML, Answer, Mock, PrivateBus, retyped
from orvadctl_mock_support import (ANSWERS, CONNECTOR, CONNECTOR_PATH,
                                   CONNECTOR_XML, DENIED, failure, fixture_bus,
                                   fixture_make_connector, fixture_make_daemon,
                                   fixture_make_mock, fixture_run,
                                   fixture_start, output)
from orvadctl_support import fixture_program, fixture_start_on

VIDEO, AUDIO = ("video_connector", True), ("audio_connector", True)
NOT_SERVED = "the port daemon does not serve connectors"


def port(name, number, *properties):
    """A record of GetPortProps."""
    return (name, number, False, True, False, False, list(properties))


PORTS = [
    port("speaker\x1b[2J", 4, AUDIO),
    port("door", 3, ("ioport", True), ("video_connector", False)),
    port("hdmi", 2, AUDIO, VIDEO),
    port("", -1, VIDEO),
]
# As the daemon answers for these ports.
STATES = {"*": [1, 0, 1], "video connector": [0, 1], "audio connector": [1, 0]}


@pytest.fixture(name="daemon")
def fixture_daemon(make_daemon):
    return make_daemon(GetPortProps=Answer(len(PORTS), PORTS))


@pytest.fixture(name="connector")
def fixture_connector(daemon, make_connector):
    del daemon
    return make_connector(lambda descr: Answer(STATES[descr]))


def test_connectors_are_a_table_in_the_daemons_order(connector, run):
    assert output(run("connectors")).splitlines() == [
        "KIND   NAME            NUMBER  STATE",
        r"audio  speaker\x1b[2J  4       in use",
        "video  hdmi            2       not in use",
        "video  -               -       in use",
        "3 connectors, 2 in use",
    ]
    assert connector.calls == [("GetConnectorStates", ("*",))]


@pytest.mark.parametrize("word, descr, rows", [
    ("video", "video connector", ["video  hdmi  2       not in use",
                                  "video  -     -       in use"]),
    ("audio", "audio connector", [r"audio  speaker\x1b[2J  4       in use",
                                  "audio  hdmi            2       not in use"]),
])
def test_connectors_of_one_kind(connector, run, word, descr, rows):
    assert output(run("connectors", word)).splitlines()[1:] == [
        *rows, "2 connectors, 1 in use"]
    assert connector.calls == [("GetConnectorStates", (descr,))]


def test_connectors_as_json_are_one_document(connector, run):
    assert json.loads(output(run("connectors", "--json"))) == {
        "count": 3, "in_use": 2, "connectors": [
            {"kind": "audio", "number": 4, "name": "speaker\x1b[2J",
             "in_use": True},
            {"kind": "video", "number": 2, "name": "hdmi", "in_use": False},
            {"kind": "video", "number": -1, "name": None, "in_use": True}]}
    assert connector.count("GetConnectorStates") == 1


def test_connectors_that_come_between_the_calls_have_states_only(
        daemon, make_connector, run):
    make_connector(Answer([0, 1, 0, 1]))
    assert output(run("connectors")).splitlines() == [
        "KIND  NAME  NUMBER  STATE",
        "-     -     -       not in use",
        "-     -     -       in use",
        "-     -     -       not in use",
        "-     -     -       in use",
        "4 connectors, 2 in use",
    ]
    document = json.loads(output(run("connectors", "audio", "-j")))
    assert (document["count"], document["in_use"]) == (4, 2)
    assert document["connectors"][1] == {
        "kind": "audio", "number": None, "name": None, "in_use": True}


def test_no_connectors_are_the_heading(make_daemon, make_connector, run):
    make_daemon()
    make_connector(Answer([]))
    assert output(run("connectors")) == ("KIND  NAME  NUMBER  STATE\n"
                                         "0 connectors, 0 in use\n")
    assert json.loads(output(run("connectors", "-j"))) == {
        "count": 0, "in_use": 0, "connectors": []}


def test_daemon_without_connectors_is_told(daemon, run):
    assert failure(run("connectors")) == NOT_SERVED


def test_daemon_that_is_just_starting_serves_no_connectors(daemon, make_mock,
                                                           run):
    make_mock(CONNECTOR, {})
    assert failure(run("connectors")) == NOT_SERVED


def test_connectors_without_an_answer_are_told(daemon, make_connector, run):
    make_connector(None)
    assert "does not answer" in failure(run("connectors", "--timeout", "1"))


def test_daemon_that_ends_in_the_call_is_told(daemon, make_connector, start):
    connector = make_connector(None)
    client = start("connectors")
    connector.wait_for_calls("GetConnectorStates")
    connector.disconnect()
    assert client.finish() == ""
    assert (client.status, client.errors) == (
        1, "orvadctl: the port daemon went away without an answer; try again "
           "once it is back\n")


@pytest.mark.parametrize("xml, answer, told", [
    (retyped(CONNECTOR_XML, "GetConnectorStates"), Answer(0.5), "(d)"),
    (CONNECTOR_XML.replace('type="ai"', 'type="au"'), Answer([1]), "(au)"),
    (CONNECTOR_XML.replace('type="ai"', 'type="ab"'), Answer([True]), "(ab)"),
])
def test_states_of_another_type_are_told(daemon, make_connector, run, xml,
                                         answer, told):
    make_connector(answer, xml)
    assert told in failure(run("connectors"))


def test_access_denied_to_connectors_is_told(tmp_path, program):
    bus = PrivateBus(tmp_path, policy=(
        f'<deny send_interface="{CONNECTOR}"/>'))
    mocks = [Mock(bus.address, STATE, {STATE_PATH: (STATE_XML, ANSWERS)}),
             Mock(bus.address, CONNECTOR, {
                 CONNECTOR_PATH: (CONNECTOR_XML, {})})]
    try:
        assert failure(program.run(bus.address, "connectors")) == DENIED
    finally:
        for mock in mocks:
            mock.stop()
        bus.stop()
