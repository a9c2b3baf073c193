"""orvadctl state, direction, polarity, name, usage, count and the list of
supervise."""

import json

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (CONNECTOR, CONNECTOR_ANSWERS,
                                   CONNECTOR_PATH, CONNECTOR_XML, NO_PORT,
                                   NO_SUPERVISED_PORT, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_make_supervised, fixture_run,
                                   output)
from orvadctl_support import fixture_program

LAMP = "port 3 (lamp): "
NAME = "Tür\n\x1b[2J"
# What shows a setting, and what it shows: as a line, and the last members of
# the JSON object.
SHOWN = [
    (["state", "2"], r"port 2 (Tür\n\x1b[2J): active", {"active": True}),
    (["state", "lamp"], LAMP + "inactive", {"active": False}),
    (["direction", "4"], "port 4 (3): input, configurable",
     {"direction": "input", "configurable": True}),
    (["direction", "lamp"], LAMP + "output",
     {"direction": "output", "configurable": False}),
    (["polarity", "lamp"],
     LAMP + "active when open as input, when closed as output",
     {"input_active_level": "open", "output_active_level": "closed"}),
    (["name", "lamp"], LAMP + 'no name as input, "Lamp" as output',
     {"input_name": "", "output_name": "Lamp"}),
    (["name", "2"],
     r'port 2 (Tür\n\x1b[2J): "Front \n door" as input, no name as output',
     {"input_name": "Front \n door", "output_name": ""}),
    (["usage", "lamp"], LAMP + "Door switch", {"usage": "Door switch"}),
]
# What changes a setting, the call and its arguments.
CHANGES = [
    (["direction", "4", "output"], "SetDirection", (4, "output")),
    (["polarity", "lamp", "output", "open"], "SetActive", (3, False, "open")),
    (["polarity", "lamp", "input", "closed"], "SetActive",
     (3, True, "closed")),
    (["name", "lamp", "output", "Lämp"], "SetName", (3, False, "Lämp")),
    (["name", "lamp", "input", ""], "SetName", (3, True, "")),
    (["usage", "lamp", "--", "--a b"], "SetUsage", (3, "--a b")),
]


def test_setting_is_shown_as_a_line_or_as_json(make_daemon, run):
    make_daemon()
    for words, text, members in SHOWN:
        assert output(run(*words)) == text + "\n"
        shown = json.loads(output(run(*words, "--json")))
        assert set(shown) - set(members) == {"number", "name"}
        assert members.items() <= shown.items()


def test_change_is_one_call_and_shows_what_is_then(make_daemon, run):
    daemon = make_daemon()
    for words, method, arguments in CHANGES:
        daemon.calls.clear()
        changed = output(run(*words))
        assert daemon.arguments(method) == [arguments]
        assert changed == output(run(*words[:2]))
        assert daemon.count(method) == 1


@pytest.mark.parametrize("words, method", [
    (["state", "2"], "GetState"), (["direction", "2"], "GetDirection"),
    (["direction", "2"], "IsConfigurable"), (["polarity", "2"], "GetActive"),
    (["usage", "2"], "GetUsage"), (["direction", "2", "input"],
                                   "SetDirection"),
    (["polarity", "2", "input", "open"], "SetActive"),
    (["name", "2", "input", "x"], "SetName"),
    (["usage", "2", "x"], "SetUsage")])
def test_refusal_is_told_in_the_daemon_s_words(make_daemon, run, words,
                                              method):
    make_daemon(**{method: NO_PORT})
    assert failure(run(*words)) == r"port 2 (Tür\n\x1b[2J): No such port."


def test_port_that_is_not_real_has_no_names(make_daemon, run):
    make_daemon()
    assert failure(run("name", "33")) == (
        "port 33 (manualtrigger1): only real I/O ports have names")


@pytest.mark.parametrize("words, text", [
    (["direction", "4", "both"], '"both" is neither input nor output'),
    (["polarity", "4", "open"], '"open" is neither input nor output'),
    (["polarity", "4", "input"], "LEVEL is missing"),
    (["polarity", "4", "input", "high"], '"high" is neither open nor closed'),
    (["name", "4", "input"], "TEXT is missing"),
    (["name", "4", "input", b"\xff"], r'"\xff" is no text in UTF-8'),
    (["usage", "4", b"\xff"], r'"\xff" is no text in UTF-8'),
    (["usage", "4", "a", "b"], "usage: unexpected argument"),
    (["state"], "state: missing argument"),
    (["snmp", "1", "on"], '"on" is no number of 32 bits'),
])
def test_wrong_words_are_told_before_anything_is_asked(make_daemon, run,
                                                       words, text):
    daemon = make_daemon()
    assert text in failure(run(*words), status=2)
    assert daemon.calls == []


def test_counts_are_of_ports_and_connectors(make_daemon, make_mock, run):
    make_daemon()
    connectors = make_mock(CONNECTOR, {
        CONNECTOR_PATH: (CONNECTOR_XML, CONNECTOR_ANSWERS)})
    assert output(run("count")).splitlines() == [
        "Inputs:            4", "Outputs:           1",
        "Video connectors:  2", "Audio connectors:  1"]
    connectors.vanish()
    assert "Audio connectors:  -" in output(run("count"))
    assert json.loads(output(run("count", "-j"))) == {
        "inputs": 4, "outputs": 1, "video_connectors": None,
        "audio_connectors": None}


def test_supervise_lists_what_can_be_supervised(make_daemon, make_supervised,
                                                run):
    make_daemon()
    make_supervised(GetSupervisedPortNumbers=Answer([5, 2, 4000000000, 6]),
                    GetSupervised=lambda port: NO_SUPERVISED_PORT if port == 6
                    else Answer(port == 2))
    assert output(run("supervise")).splitlines() == [
        "NAME          NUMBER      SUPERVISED",
        "twin          5           no",
        r"Tür\n\x1b[2J  2           yes",
        "-             -294967296  no",
        "3 of 5 ports can be supervised, 1 is"]
    listed = json.loads(output(run("supervise", "--json")))
    assert (listed["inputs"], listed["outputs"]) == (4, 1)
    assert listed["ports"][1] == {"number": 2, "name": NAME,
                                  "supervised": True}


def test_daemon_without_supervised_inputs_has_no_list(make_daemon, run):
    make_daemon()
    assert failure(run("supervise")) == (
        "the port daemon does not serve supervised inputs")
