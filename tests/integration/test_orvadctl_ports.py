"""orvadctl list, get and set."""

import json

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (PORTS, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_run, output)
from orvadctl_support import fixture_program


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


def test_list_shows_negative_numbers_but_for_that_of_none(make_daemon, run):
    numbers = [-7, -2147483648, -1]
    make_daemon(GetPortProps=Answer(len(numbers), [
        (f"port{number}", number, False, True, False, False, [])
        for number in numbers]))
    lines = output(run("list")).splitlines()[1:]
    assert [line.split()[1] for line in lines] == ["-7", "-2147483648", "-"]
    ports = json.loads(output(run("list", "--json")))["ports"]
    assert [port["number"] for port in ports] == numbers


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
