"""What orvadctl makes of a bus or service that is missing, slow or wrong."""

import re
import socket

import pytest

from bus_client import STATE, STATE_PATH
from mock_bus import STATE_XML, Answer, Mock, PrivateBus, retyped
from orvadctl_mock_support import (ANSWERS, DENIED, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_run, fixture_start)
from orvadctl_support import fixture_program, fixture_start_on

COMMANDS = [["list"], ["get", "2"], ["set", "3", "on"], ["pulse", "3", "10"],
            ["supervise", "2", "on"], ["ranges", "2"],
            ["ranges", "2", "open", "0", "9"], ["readout", "2"],
            ["triggers"], ["connectors"], ["refresh"], ["state", "2"],
            ["direction", "2"], ["polarity", "2"], ["name", "2"],
            ["usage", "2"], ["supervise"]]
WITHOUT_LISTING = [["drop", "lamp"], ["count"]]


@pytest.mark.parametrize("words", [*COMMANDS, *WITHOUT_LISTING, ["watch"],
                                   ["events"], ["settings"],
                                   ["declarations"], ["snmp", "1", "0"],
                                   ["readout", "2", "--live"],
                                   ["record", "-"]])
def test_missing_bus_is_told(tmp_path, run, words):
    message = failure(run(*words, address=f"unix:path={tmp_path}/none"))
    assert message.startswith("cannot reach the system bus: ")
    assert message.endswith("; correct DBUS_SYSTEM_BUS_ADDRESS, or unset it")


@pytest.mark.parametrize("words", [["list"], ["record", "-"]])
def test_connection_that_is_refused_is_told(tmp_path, run, words):
    path = tmp_path / "deaf"
    with socket.socket(socket.AF_UNIX) as deaf:
        deaf.bind(str(path))
    message = failure(run(*words, address=f"unix:path={path}"))
    assert "Connection refused; correct DBUS_SYSTEM_BUS_ADDRESS" in message


def test_missing_event_service_is_told(run):
    assert failure(run("declarations")) == (
        'the event service is not there; start the port daemon with '
        '"systemctl start orvad"')


@pytest.mark.parametrize("words", [*COMMANDS, *WITHOUT_LISTING])
def test_missing_daemon_is_told(run, words):
    assert failure(run(*words)) == (
        'the port daemon is not running; start it with '
        '"systemctl start orvad"')


@pytest.mark.parametrize("words", [*COMMANDS, *WITHOUT_LISTING])
def test_daemon_that_is_just_starting_is_told(make_mock, run, words):
    make_mock(STATE, {})
    assert failure(run(*words)) == (
        "the port daemon is just starting or ending; try again in a moment")


@pytest.mark.parametrize("words", [*COMMANDS, ["watch"], ["record", "-"],
                                   ["readout", "2", "--live"]])
def test_daemon_that_never_answers_is_told(make_daemon, run, words):
    make_daemon(GetPortProps=None)
    assert "does not answer" in failure(run(*words, "--timeout", "0.05"))


@pytest.mark.parametrize("method, words", [
    ("GetNames", ["get", "2"]), ("GetActive", ["get", "2"]),
    ("GetUsage", ["get", "2"]), ("GetNames", ["list", "--names"]),
    ("SetState", ["set", "3", "on"]), ("SetVirtual", ["set", "33", "on"]),
    ("StartActionSequence", ["pulse", "3", "10"])])
def test_later_call_without_answer_is_told(make_daemon, run, method, words):
    make_daemon(**{method: None})
    assert re.fullmatch(r"port \d+ \(.*\): the port daemon does not answer.*",
                        failure(run(*words, "--timeout", "1")))


@pytest.mark.parametrize("words", COMMANDS)
def test_daemon_that_ends_without_an_answer_is_told(make_daemon, start, words):
    daemon = make_daemon(GetPortProps=None)
    client = start(*words)
    daemon.wait_for_calls("GetPortProps")
    daemon.disconnect()
    assert client.finish() == ""
    assert client.status == 1
    assert client.errors == ("orvadctl: the port daemon went away without an "
                             "answer; try again once it is back\n")


@pytest.mark.parametrize("words", [*COMMANDS, ["watch"], ["record", "-"],
                                   ["readout", "2", "--live"]])
def test_listing_of_another_type_is_told(make_daemon, run, words):
    make_daemon(STATE_XML.replace("a(sibbbba(sb))", "as"),
                GetPortProps=Answer(1, ["x"]))
    assert "(ias)" in failure(run(*words))


@pytest.mark.parametrize("method, words", [
    ("GetNames", ["get", "2"]), ("GetActive", ["get", "2"]),
    ("GetUsage", ["get", "2"]), ("SetState", ["set", "3", "on"]),
    ("SetVirtual", ["set", "33", "on"]),
    ("StartActionSequence", ["pulse", "3", "10"])])
def test_answer_of_another_type_is_told(make_daemon, run, method, words):
    make_daemon(retyped(STATE_XML, method), **{method: Answer(0.5)})
    assert "(d)" in failure(run(*words))


def test_access_denied_by_the_bus_is_told(tmp_path, program):
    bus = PrivateBus(tmp_path, policy=(
        f'<deny send_interface="{STATE}" send_member="GetPortProps"/>'))
    daemon = Mock(bus.address, STATE, {STATE_PATH: (STATE_XML, ANSWERS)})
    try:
        assert failure(program.run(bus.address, "list")) == DENIED
    finally:
        daemon.stop()
        bus.stop()
