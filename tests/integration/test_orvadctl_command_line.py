"""orvadctl: its words and options, its help, and where its output goes."""

import json
import os
import re

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (failure, fixture_bus, fixture_make_daemon,
                                   fixture_make_mock, fixture_run,
                                   fixture_start_on_terminal, output)
from orvadctl_support import fixture_program


@pytest.mark.parametrize("words", [[], ["--json"], ["--"]])
def test_missing_command_is_told_in_one_line(run, words):
    assert failure(run(*words), status=2) == (
        'missing command; see "orvadctl help"')


@pytest.mark.parametrize("words", [["help", "frob"], ["help", "--frob"],
                                   ["help", "list", "get"]])
def test_wrong_words_of_help_lead_to_the_help(run, words):
    assert failure(run(*words), status=2).endswith('; see "orvadctl help"')


@pytest.mark.parametrize("words", [["help"], ["--help"], ["-h"]])
def test_help_lists_every_command(run, words):
    text = output(run(*words))
    for command in ("list", "get", "set", "state", "pulse", "direction",
                    "polarity", "name", "usage", "count", "watch", "events",
                    "declarations", "settings", "supervise", "ranges", "readout", "triggers",
                    "connectors", "snmp", "legacy", "drop", "refresh", "help"):
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
    (["pulse", "1", "on:5", "up:5"], '"up:5" is no time in ms'),
    (["pulse", "1", "on:5", "5"], "either every step has a state, or none"),
    (["watch", "--count", "0"], "--count takes a number from 1"),
    (["supervise", "1"], "supervise: missing argument"),
    (["supervise", "1", "yes"], '"yes" is neither on nor off'),
    (["supervise", "1", "on", "off"], "supervise: unexpected argument"),
    (["ranges"], "ranges: missing argument"),
    (["ranges", "1", "open"], "ranges: a range takes STATE, LOWER and UPPER"),
    (["ranges", "1", "open", "0"], "ranges: a range takes"),
    (["ranges", "1", "open", "0", "1", "2"], "ranges: unexpected argument"),
    (["ranges", "1", "open", "4294967296", "1"],
     '"4294967296" is no level, 0 to 4294967295'),
    (["ranges", "1", "open", "0", "0x100000000"], '"0x100000000" is no level'),
    (["ranges", "1", "open", "--", "0", "-1"], '"-1" is no level'),
    (["ranges", "1", b"\xff", "0", "1"], r'"\xff" is no state'),
    (["readout"], "readout: missing argument"),
    (["readout", "1", "2"], "readout: unexpected argument"),
    (["readout", "1", "--count", "2"], "--count goes with --live"),
    (["readout", "1", "--for", "2"], "--for goes with --live"),
    (["triggers", "1"], "triggers: unexpected argument"),
    (["connectors", "Video"], '"Video" is neither video nor audio'),
    (["connectors", "video", "audio"], "connectors: unexpected argument"),
    (["drop"], "drop: missing argument"),
    (["refresh", "lamp"], "refresh: unexpected argument"),
    (["--timeout", "0", "list"], "--timeout takes seconds"),
    (["a\nb"], r'there is no command "a\nb"'),
])
def test_wrong_command_line_is_told_in_one_line(run, words, text):
    message = failure(run(*words), status=2)
    assert text in message
    assert 'see "orvadctl help' in message


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
def fixture_on_terminal(start_on_terminal):
    """on_terminal(words...): what a terminal gets from a run."""
    def execute(*words, env=None):
        terminal = start_on_terminal(*words, env=env)
        assert terminal.wait() == 0
        return terminal.text
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
