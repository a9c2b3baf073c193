"""orvadctl watch."""

import json
import re

from bus_client import STATE, STATE_PATH
from mock_bus import Answer
from orvadctl_mock_support import (ISO_TIME, PORTS, STARTING, TIME, failure,
                                   fixture_bus, fixture_make_daemon,
                                   fixture_make_mock, fixture_run,
                                   fixture_start)
from orvadctl_support import fixture_program, fixture_start_on
from waiting import DEADLINE


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


def test_watch_ends_after_its_time(make_daemon, run):
    make_daemon()
    result = run("watch", "--for", "0.05")
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")


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
