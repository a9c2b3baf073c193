"""orvadctl against a mock daemon: what it prints, and what it makes of buses
and services that are missing, slow or wrong."""

import json
import os
import pty
import re

import pytest
from gi.repository import GLib

from bus_client import EVENTS, PRODUCER, STATE, STATE_PATH
from mock_bus import (EVENTS_PATH, PRODUCER_XML, STATE_XML, Answer, Mock,
                      PrivateBus)
from orvadctl_support import fixture_program, fixture_start_on
from waiting import DEADLINE

QEL_PATH = EVENTS_PATH + "/qel"
TIME = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}"
ISO_TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\+00:00"

# The daemon lists the port added last first.
PORTS = [
    ("manualtrigger1", 33, False, False, False, False, [("virtual", True)]),
    ("3", 4, False, True, True, False, [("ioport", True)]),
    ("lamp", 3, False, False, False, True,
     [("ioport", True), ("tampering", False)]),
    ("Tür\n\x1b[2J", 2, True, True, False, True,
     [("ioport", True), ("hidden", True)]),
    ("twin", 5, False, True, False, False, [("ioport", True)]),
    ("twin", 6, False, True, False, False, [("ioport", True)]),
    ("", -1, False, True, False, False, []),
]
STARTING = (b"orvadctl: the port daemon is just starting or ending; try again "
            b"in a moment\n")
NO_PORT = Answer(error=("com.vexa.IOControl.Error.No_port", "No such port."))
ANSWERS = {
    "GetPortProps": Answer(len(PORTS), PORTS),
    "GetNames": lambda port: {2: Answer("Front \n door", ""),
                              3: Answer("", "Lamp")}.get(port, NO_PORT),
    "GetActive": Answer("open", "closed"),
    "GetUsage": Answer("Door switch"),
    "SetState": lambda port, active: Answer() if port == 3 else Answer(
        error=("com.vexa.IOControl.Error.Not_output", "Port not output.")),
    "SetVirtual": Answer(),
    "StartActionSequence": Answer(),
}
DESCRIPTION = {
    "type": GLib.Variant("s", ""),
    "property": GLib.Variant("s", "state"),
    "keys": GLib.Variant("a{sv}", {
        "topic0": GLib.Variant("s", "Device"),
        "topic1": GLib.Variant("s", "IO"),
        "port": GLib.Variant("i", 2)}),
    "nice-names": GLib.Variant("a{s(ss)}", {"port": ("Port", "Front door")}),
    "namespaces": GLib.Variant("a{ss}", {"topic0": "tns1",
                                         "topic1": "tnsvexa"}),
    "tags": GLib.Variant("a{sas}", {"port": ["onvif-source"]}),
}
VALUES = {
    "topic0": GLib.Variant("s", "Device"),
    "topic1": GLib.Variant("s", "IO"),
    "port": GLib.Variant("i", 2),
    "state": GLib.Variant("b", True),
}


@pytest.fixture(name="bus")
def fixture_bus(tmp_path):
    bus = PrivateBus(tmp_path)
    yield bus
    bus.stop()


@pytest.fixture(name="make_mock")
def fixture_make_mock(bus):
    mocks = []

    def make(name, objects):
        mocks.append(Mock(bus.address, name, objects))
        return mocks[-1]
    yield make
    for mock in mocks:
        mock.stop()


@pytest.fixture(name="make_daemon")
def fixture_make_daemon(make_mock):
    """make_daemon(xml=..., Method=Answer(...)): a mock of the daemon."""
    def make(xml=STATE_XML, **answers):
        return make_mock(STATE, {STATE_PATH: (xml, {**ANSWERS, **answers})})
    return make


@pytest.fixture(name="make_events")
def fixture_make_events(make_mock):
    """make_events(answer): a mock of the event service, one producer."""
    def make(answer=Answer([(1, DESCRIPTION)]), xml=PRODUCER_XML):
        answers = {"ListDeclarations": answer}
        return make_mock(EVENTS, {QEL_PATH: (xml, answers)})
    return make


@pytest.fixture(name="run")
def fixture_run(bus, program):
    """run(words...): a whole run; its status, output and errors."""
    def execute(*words, address=bus.address, env=None):
        return program.run(address, *words, env=env)
    return execute


@pytest.fixture(name="start")
def fixture_start(bus, start_on):
    """start(words...): a run that goes on."""
    return lambda *words: start_on(bus.address, *words)


def output(result):
    """The output of a run that has to have succeeded."""
    assert (result.returncode, result.stderr) == (0, "")
    return result.stdout


def failure(result, status=1):
    """The one line of a run that has to have failed."""
    assert (result.returncode, result.stdout) == (status, "")
    assert re.fullmatch(r"orvadctl: [^\n]+\n", result.stderr), result.stderr
    return result.stderr[len("orvadctl: "):-1]


# The command line

def test_without_arguments_the_help_goes_to_standard_error(run):
    result = run()
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.startswith("Usage: orvadctl ")


@pytest.mark.parametrize("words", [["help"], ["--help"], ["-h"]])
def test_help_lists_every_command(run, words):
    text = output(run(*words))
    for command in ("list", "get", "set", "pulse", "watch", "events", "help"):
        assert f"\n  {command} " in text


@pytest.mark.parametrize("words", [["help", "set"], ["set", "--help"],
                                   ["set", "-h", "1"], ["--help", "set"]])
def test_help_on_a_command_tells_its_options_and_json(run, words):
    text = output(run(*words))
    assert text.startswith("Usage: orvadctl set PORT on|off")
    assert "--virtual" in text
    assert '"simulated"' in text


@pytest.mark.parametrize("words", [["--version"], ["list", "--version"]])
def test_version_is_told(run, words):
    assert re.fullmatch(r"orvadctl \d+\.\d+\.\d+\n", output(run(*words)))


@pytest.mark.parametrize("words, text", [
    (["lst"], 'there is no command "lst"'),
    (["help", "lst"], 'there is no command "lst"'),
    (["--frob"], "--frob"),
    (["list", "--virtual"], "--virtual"),
    (["list", "1"], "list: unexpected argument"),
    (["get"], "get: missing argument"),
    (["set", "1"], "set: missing argument"),
    (["set", "1", "on", "off"], "set: unexpected argument"),
    (["set", "1", "yes"], '"yes" is neither on nor off'),
    (["pulse", "1"], "pulse: missing argument"),
    (["pulse", "1", "2147484"], '"2147484" is no time in ms'),
    (["pulse", "1", "5", "1e3"], '"1e3" is no time in ms'),
    (["watch", "--count", "0"], "--count takes a number from 1"),
    (["--timeout", "0", "list"], "--timeout takes seconds"),
    (["a\nb"], r'there is no command "a\nb"'),
])
def test_wrong_command_line_is_told_in_one_line(run, words, text):
    message = failure(run(*words), status=2)
    assert text in message
    assert 'see "orvadctl help' in message


# list and get

def test_list_is_one_call_and_a_table(make_daemon, run):
    daemon = make_daemon()
    assert output(run("list")).splitlines() == [
        "NAME            NUMBER  KIND          DIRECTION  STATE     "
        "ACTIVE-LEVEL  PROPERTIES",
        "manualtrigger1  33      virtual       output     inactive  "
        "closed        virtual",
        "3               4       configurable  input      inactive  "
        "closed        ioport",
        "lamp            3       output        output     inactive  "
        "open          ioport",
        r"Tür\n\x1b[2J    2       input         input      active    "
        "open          ioport hidden",
        "twin            5       input         input      inactive  "
        "closed        ioport",
        "twin            6       input         input      inactive  "
        "closed        ioport",
        "-               -       input         input      inactive  "
        "closed",
    ]
    assert [method for method, _ in daemon.calls] == ["GetPortProps"]


def test_list_with_names_asks_for_those_of_real_ports(make_daemon, run):
    daemon = make_daemon()
    lines = output(run("list", "--names")).splitlines()
    assert r"Front \n door" in lines[4]
    assert "Lamp" in lines[3]
    assert daemon.arguments("GetNames") == [(4,), (3,), (2,), (5,), (6,)]


def test_list_as_json_is_one_document(make_daemon, run):
    make_daemon()
    ports = json.loads(output(run("list", "--json")))["ports"]
    assert len(ports) == len(PORTS)
    assert ports[3] == {
        "number": 2, "name": "Tür\n\x1b[2J", "kind": "input",
        "direction": "input", "active": True, "active_level": "open",
        "properties": {"ioport": True, "hidden": True}}
    assert (ports[-1]["number"], ports[-1]["name"]) == (-1, None)


def test_list_of_no_ports_is_the_heading(make_daemon, run):
    make_daemon(GetPortProps=Answer(0, []))
    assert output(run("list")).startswith("NAME  NUMBER")
    assert json.loads(output(run("-j", "list"))) == {"ports": []}


def test_get_shows_state_and_settings(make_daemon, run):
    make_daemon()
    assert output(run("get", "2")).splitlines() == [
        r"Name:             Tür\n\x1b[2J",
        "Number:           2",
        "Kind:             input",
        "Direction:        input",
        "State:            active",
        "Active level:     open",
        r"Input name:       Front \n door",
        "Output name:",
        "Level as input:   open",
        "Level as output:  closed",
        "Usage:            Door switch",
        "Properties:       ioport hidden",
    ]


def test_get_as_json_has_the_settings(make_daemon, run):
    make_daemon()
    port = json.loads(output(run("get", "lamp", "--json")))
    assert (port["number"], port["kind"]) == (3, "output")
    assert (port["input_name"], port["output_name"]) == ("", "Lamp")
    assert (port["input_active_level"], port["output_active_level"],
            port["usage"]) == ("open", "closed", "Door switch")


def test_get_of_a_virtual_port_asks_for_nothing_that_it_lacks(make_daemon, run):
    daemon = make_daemon()
    port = json.loads(output(run("get", "manualtrigger1", "--json")))
    assert port["kind"] == "virtual"
    assert port["usage"] is None
    assert [method for method, _ in daemon.calls] == ["GetPortProps"]


def test_number_wins_over_a_name(make_daemon, run):
    make_daemon()
    assert json.loads(output(run("get", "3", "--json")))["name"] == "lamp"
    assert json.loads(output(run("get", "4", "--json")))["name"] == "3"


@pytest.mark.parametrize("port, text", [
    ("99", 'there is no port "99"'),
    ("4294967298", 'there is no port "4294967298"'),
    ("x\x1b[2J", r'there is no port "x\x1b[2J"'),
    ("twin", 'several ports are named "twin"'),
])
def test_unknown_or_ambiguous_port_is_told(make_daemon, run, port, text):
    make_daemon()
    assert text in failure(run("get", port))


# set

def test_set_drives_an_output(make_daemon, run):
    daemon = make_daemon()
    assert output(run("set", "lamp", "on")) == "port 3 (lamp): active\n"
    assert output(run("set", "3", "0")) == "port 3 (lamp): inactive\n"
    assert daemon.arguments("SetState") == [(3, True), (3, False)]


def test_set_simulates_on_a_virtual_port(make_daemon, run):
    daemon = make_daemon()
    assert json.loads(output(run("set", "33", "active", "-j"))) == {
        "number": 33, "name": "manualtrigger1", "active": True,
        "simulated": True}
    assert daemon.arguments("SetVirtual") == [(33, True)]


def test_set_simulates_on_any_port_when_asked_to(make_daemon, run):
    daemon = make_daemon()
    assert output(run("set", "--virtual", "4", "off")) == \
        "port 4 (3): inactive (simulated)\n"
    assert daemon.arguments("SetVirtual") == [(4, False)]
    assert daemon.count("SetState") == 0


def test_daemons_refusal_is_told_in_its_words(make_daemon, run):
    make_daemon()
    assert failure(run("set", "4", "on")) == "port 4 (3): Port not output."


def test_refusal_with_line_breaks_stays_one_line(make_daemon, run):
    make_daemon(SetState=Answer(error=("a.B", "first\nsecond\x1b[2J")))
    assert failure(run("set", "3", "on")) == \
        r"port 3 (lamp): first\nsecond\x1b[2J"


def test_port_that_cannot_be_found_by_number_is_not_driven(make_daemon, run):
    daemon = make_daemon(GetPortProps=Answer(2, [
        ("first", 1, False, False, False, False, [("ioport", True)]),
        ("second", 1, False, False, False, False, [("ioport", True)])]),
        SetState=Answer())
    assert "leads to another port" in failure(run("set", "first", "on"))
    assert daemon.count("SetState") == 0
    output(run("set", "second", "on"))
    assert daemon.arguments("SetState") == [(1, True)]


# pulse

def test_pulse_waits_for_the_end(make_daemon, start):
    daemon = make_daemon()
    client = start("pulse", "lamp", "500", "250", "100")
    daemon.wait_for_calls("StartActionSequence")
    daemon.sequence_done(4)
    daemon.sequence_done(3)
    rest = client.finish()
    assert client.status == 0
    assert rest == "port 3 (lamp): sequence done\n"
    assert daemon.arguments("StartActionSequence") == [
        (3, False, [(True, 500), (False, 250), (True, 100), (False, 0)])]


def done_before_the_answer(number):
    """StartActionSequence's answer, behind the end of a sequence."""
    return Answer(before=lambda mock: mock.sequence_done(number))


def test_end_on_another_port_is_not_the_end(make_daemon, run):
    make_daemon(StartActionSequence=done_before_the_answer(4))
    assert "has not announced its end" in failure(
        run("pulse", "3", "0", "--timeout", "1"))


def test_end_of_the_sequence_before_is_not_the_end(make_daemon, start):
    daemon = make_daemon(StartActionSequence=done_before_the_answer(3))
    client = start("pulse", "3", "2000000")
    daemon.wait_for_answer("StartActionSequence")
    daemon.vanish()
    assert client.finish() == ""
    assert client.status == 1
    assert "went away before the sequence had ended" in client.errors


def test_end_that_overtakes_the_answer_counts(make_daemon, run):
    make_daemon(StartActionSequence=done_before_the_answer(3))
    assert output(run("pulse", "3", "0")) == "port 3 (lamp): sequence done\n"


def test_end_that_is_never_announced_is_told(make_daemon, run):
    make_daemon()
    assert failure(run("pulse", "3", "1", "--timeout", "1")) == (
        "port 3 (lamp): the sequence was started, but the daemon has not "
        "announced its end")


def test_pulse_does_not_wait_when_told_not_to(make_daemon, run):
    daemon = make_daemon()
    assert json.loads(output(run("pulse", "3", "10", "20", "--no-wait",
                                 "--json"))) == {
        "number": 3, "name": "lamp", "simulated": False,
        "steps": [{"active": True, "ms": 10}, {"active": False, "ms": 20}],
        "done": False}
    assert daemon.count("StartActionSequence") == 1


@pytest.mark.parametrize("words, number", [
    (["manualtrigger1"], 33), (["--virtual", "4"], 4)])
def test_pulse_simulates_like_set(make_daemon, run, words, number):
    daemon = make_daemon()
    output(run("pulse", *words, "10", "--no-wait"))
    assert daemon.arguments("StartActionSequence") == [
        (number, True, [(True, 10), (False, 0)])]


def test_busy_port_is_told(make_daemon, run):
    make_daemon(StartActionSequence=Answer(
        error=("com.vexa.IOControl.Error.Busy", "The port is busy.")))
    assert failure(run("pulse", "3", "10")) == \
        "port 3 (lamp): The port is busy."


def test_daemon_that_ends_during_a_sequence_is_told(make_daemon, start):
    daemon = make_daemon()
    client = start("pulse", "3", "10000")
    daemon.wait_for_calls("StartActionSequence")
    daemon.vanish()
    assert client.finish() == ""
    assert client.status == 1
    assert client.errors == ("orvadctl: the port daemon went away before the "
                             "sequence had ended\n")


# watch

def watching(daemon, start, *words):
    """A watch that has asked for the ports, hence listens."""
    before = daemon.count("GetPortProps")
    client = start("watch", *words)
    daemon.wait_for_calls("GetPortProps", before + 1)
    return client


def test_watch_shows_changes_until_interrupted(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start)
    daemon.port_changed(3, True)
    daemon.sequence_done(3)
    daemon.port_changed(77, False)
    assert re.fullmatch(TIME + r" port 3 \(lamp\): active, input, active level "
                        "open", client.line())
    assert re.fullmatch(TIME + r" port 3 \(lamp\): sequence done",
                        client.line())
    assert re.fullmatch(TIME + " port 77: inactive, input, active level open",
                        client.line())
    assert (client.interrupt(), client.errors) == (0, "")


def test_watch_shows_the_ports_asked_for(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start, "lamp", "4", "--count", "2")
    for number in (2, 3, 5, 4):
        daemon.port_changed(number, True)
    rest = client.finish()
    assert client.status == 0
    assert re.findall(r"port (\d)", rest) == ["3", "4"]


def test_watch_as_json_has_a_line_for_each_change(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start, "--json", "--count", "2")
    daemon.port_changed(2, True)
    daemon.sequence_done(3)
    rest = client.finish()
    assert client.status == 0
    first, second = map(json.loads, rest.splitlines())
    assert re.fullmatch(ISO_TIME, first.pop("time"))
    assert re.fullmatch(ISO_TIME, second.pop("time"))
    assert first == {
        "type": "changed", "number": 2, "name": "Tür\n\x1b[2J", "active": True,
        "direction": "input", "active_level": "open", "simulated": False,
        "virtual": False, "hidden": False}
    assert second == {"type": "sequence-done", "number": 3, "name": "lamp"}


def changes_before_the_answer(*numbers):
    """GetPortProps' answer, behind changes of those ports."""
    def change(mock):
        for number in numbers:
            mock.port_changed(number, True)
    return Answer(len(PORTS), PORTS, before=change)


def test_changes_that_overtake_the_listing_are_shown_by_it(make_daemon, start):
    make_daemon(GetPortProps=changes_before_the_answer(2, 3))
    client = start("watch", "lamp", "--count", "1")
    assert "port 3 (lamp): active" in client.finish()
    assert client.status == 0


def test_watch_ends_exactly_at_the_count(make_daemon, start):
    make_daemon(GetPortProps=changes_before_the_answer(3, 3, 3, 3, 3))
    client = start("watch", "--count", "3")
    assert client.finish().count("\n") == 3
    assert client.status == 0


def test_watch_survives_the_daemon(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start)
    daemon.vanish()
    assert re.fullmatch(TIME + " the port daemon went away", client.line())
    daemon.appear()
    assert re.fullmatch(TIME + " the port daemon is there", client.line())
    daemon.port_changed(3, True)
    assert "port 3 (lamp)" in client.line()
    assert client.interrupt() == 0


def test_watch_waits_for_the_daemon(make_daemon, start):
    client = start("watch", "--json", "lamp")
    waiting = json.loads(client.line())
    daemon = make_daemon()
    there = json.loads(client.line())
    daemon.wait_for_calls("GetPortProps")
    daemon.port_changed(3, True)
    change = json.loads(client.line())
    assert (waiting["type"], waiting["running"]) == ("presence", False)
    assert (there["type"], there["running"]) == ("presence", True)
    assert (change["type"], change["name"]) == ("changed", "lamp")
    assert client.interrupt() == 0


def test_watch_of_an_unknown_port_ends(make_daemon, run):
    make_daemon()
    assert 'there is no port "99"' in failure(run("watch", "99"))


def test_watch_outlives_a_daemon_that_is_just_starting(make_mock, make_daemon,
                                                       start):
    starting = make_mock(STATE, {})
    client = start("watch", "lamp")
    assert client.process.stderr.readline() == STARTING
    starting.vanish()
    assert "went away" in client.line()
    daemon = make_daemon()
    assert "is there" in client.line()
    daemon.wait_for_calls("GetPortProps")
    daemon.port_changed(3, True)
    assert "port 3 (lamp): active" in client.line()
    assert client.interrupt() == 0


def test_watched_port_may_be_missing_for_a_while(make_daemon, start):
    lists = [[PORTS[2]], [], []]
    daemon = make_daemon(
        GetPortProps=lambda: Answer(len(lists[0]), lists.pop(0)))
    client = watching(daemon, start, "lamp")
    daemon.vanish()
    client.line()
    daemon.appear()
    client.line()
    daemon.wait_for_calls("GetPortProps", 2)
    daemon.port_changed(3, True)
    assert "port 3: active" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")


def test_watch_ignores_signals_of_another_type(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start, "--count", "1")
    daemon.emit(STATE_PATH, STATE, "PortChanged", "(s)", "x")
    daemon.emit(STATE_PATH, STATE, "ActionSequenceDone", "(u)", 3)
    daemon.emit(STATE_PATH, STATE, "Unheard", "(u)", 3)
    daemon.port_changed(3, True)
    rest = client.finish()
    assert client.status == 0
    assert "port 3 (lamp): active" in rest
    assert client.errors == (
        'orvadctl: ignored PortChanged with arguments of type "(s)"\n'
        'orvadctl: ignored ActionSequenceDone with arguments of type "(u)"\n')


def test_watch_ignores_signals_of_strangers(make_daemon, make_mock, start):
    daemon = make_daemon()
    stranger = make_mock("org.example.Stranger", {})
    client = watching(daemon, start, "--count", "1")
    stranger.port_changed(2, True)
    # The bus has passed that on once it has answered the stranger.
    stranger.vanish()
    daemon.port_changed(3, True)
    rest = client.finish()
    assert client.status == 0
    assert "port 3 (lamp)" in rest


def test_watch_ends_when_its_reader_is_gone(make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start)
    client.process.stdout.close()
    assert client.process.wait(DEADLINE) == 0
    assert client.process.stderr.read() == b""


def test_bus_that_goes_away_is_told(bus, make_daemon, start):
    daemon = make_daemon()
    client = watching(daemon, start)
    bus.stop()
    assert client.finish() == ""
    assert client.status == 1
    assert client.errors == ("orvadctl: the system bus went away; try again "
                             "once it is back\n")


# events

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


# What is missing, slow or wrong

COMMANDS = [["list"], ["get", "2"], ["set", "3", "on"], ["pulse", "3", "10"]]


@pytest.mark.parametrize("words", [*COMMANDS, ["watch"], ["events"]])
def test_missing_bus_is_told(tmp_path, run, words):
    message = failure(run(*words, address=f"unix:path={tmp_path}/none"))
    assert message.startswith("cannot reach the system bus: ")


@pytest.mark.parametrize("words", COMMANDS)
def test_missing_daemon_is_told(run, words):
    assert failure(run(*words)) == (
        'the port daemon is not running; start it with '
        '"systemctl start orvad"')


@pytest.mark.parametrize("words", COMMANDS)
def test_daemon_that_is_just_starting_is_told(make_mock, run, words):
    make_mock(STATE, {})
    assert failure(run(*words)) == (
        "the port daemon is just starting or ending; try again in a moment")


@pytest.mark.parametrize("words", [*COMMANDS, ["watch"]])
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


@pytest.mark.parametrize("words", [*COMMANDS, ["watch"]])
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
    head, tail = STATE_XML.split(f'<method name="{method}">', 1)
    body, rest = tail.split("</method>", 1)
    body = re.sub('<arg [^>]*direction="out"/>', "", body)
    xml = (f'{head}<method name="{method}">{body}'
           '<arg name="odd" type="d" direction="out"/></method>' + rest)
    make_daemon(xml, **{method: Answer(0.5)})
    assert "(d)" in failure(run(*words))


def test_access_denied_by_the_bus_is_told(tmp_path, program):
    bus = PrivateBus(tmp_path, policy=(
        f'<deny send_interface="{STATE}" send_member="GetPortProps"/>'))
    daemon = Mock(bus.address, STATE, {STATE_PATH: (STATE_XML, ANSWERS)})
    try:
        message = failure(program.run(bus.address, "list"))
        assert message == ("the bus does not let this user do that; run it as "
                           "root")
    finally:
        daemon.stop()
        bus.stop()


# Output

def test_full_device_is_told(make_daemon, bus, program):
    make_daemon()
    with open("/dev/full", "w", encoding="utf-8") as full:
        result = program.run(bus.address, "list", stdout=full)
    assert (result.returncode, result.stderr) == (
        1, "orvadctl: cannot write: No space left on device\n")


def test_closed_pipe_is_a_quiet_end(make_daemon, bus, program):
    make_daemon()
    reader, writer = os.pipe()
    os.close(reader)
    result = program.run(bus.address, "list", stdout=writer)
    os.close(writer)
    assert (result.returncode, result.stderr) == (0, "")


@pytest.fixture(name="on_terminal")
def fixture_on_terminal(bus, program):
    """on_terminal(words...): what a terminal gets from a run."""
    def execute(*words, env=None):
        terminal, end = pty.openpty()
        process = program.popen(bus.address, *words, stdout=end, env=env)
        os.close(end)
        received = b""
        try:
            while chunk := os.read(terminal, 4096):
                received += chunk
        except OSError:
            pass  # How a terminal tells that nobody holds its other end.
        os.close(terminal)
        assert process.wait(DEADLINE) == 0
        return received.decode()
    return execute


def test_terminal_gets_colours(on_terminal, make_daemon):
    make_daemon()
    text = on_terminal("list")
    assert "\x1b[32mactive\x1b[0m" in text
    assert "\x1b[2J" not in text


def test_no_color_turns_colours_off(on_terminal, make_daemon):
    make_daemon()
    assert "\x1b" not in on_terminal("list", env={"NO_COLOR": "1"})


def test_json_on_a_terminal_cannot_steer_it(on_terminal, make_daemon):
    make_daemon(GetPortProps=Answer(1, [
        ("a\x1b[2J\x9b", 1, False, False, False, False, [])]))
    text = on_terminal("list", "--json")
    assert "\x1b" not in text and "\x9b" not in text
    assert json.loads(text)["ports"][0]["name"] == "a\x1b[2J\x9b"
