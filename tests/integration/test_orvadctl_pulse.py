"""orvadctl pulse."""

import json

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (failure, fixture_bus, fixture_make_daemon,
                                   fixture_make_mock, fixture_run,
                                   fixture_start, output)
from orvadctl_support import fixture_program, fixture_start_on


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


def test_steps_with_states_are_played_as_they_are(make_daemon, run):
    daemon = make_daemon()
    output(run("pulse", "lamp", "off:200", "off:0", "on:5", "on", "--no-wait"))
    assert daemon.arguments("StartActionSequence") == [
        (3, False, [(False, 200), (False, 0), (True, 5), (True, 0)])]


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
