"""Sequences of an IO box's ports, whose monitor is late, or comes and goes."""

import signal

import pytest

from iobox_support import (BOTH_OUT, CLOSED, INPUT, OUTPUT, SET_MODE,
                           every_kind, fixture_serve_box)
from lifecycle_support import log_lines
from peers import fixture_offer
from ports_support import HOUR, changed, post
from waiting import wait_until


def test_late_monitor_holds_up_a_sequence_only(serve_box):
    service = serve_box(CLOSED, *every_kind())
    recorder = service.record()
    service.modes()
    service.iobox.hold(SET_MODE)
    service.start_sequence(OUTPUT, (True, 0), (False, 0))
    service.iobox.wait_for_calls(SET_MODE)
    assert service.call("GetNbrPorts") == (2, 2)
    assert service.call("GetState", INPUT) is True
    service.iobox.change(INPUT, "open")
    recorder.wait_for_count(1)
    service.iobox.release(SET_MODE)
    recorder.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert recorder.args == [
        changed(INPUT, False, is_input=True), changed(OUTPUT, True),
        changed(OUTPUT, False), (OUTPUT,)]
    assert service.modes() == [(OUTPUT, 1, "out"), (OUTPUT, 0, "out")]


@pytest.mark.parametrize("end", ["release", "disconnect"])
def test_termination_waits_for_a_sequence_s_call(serve_box, end):
    """Until it is answered, or nobody is there to answer it."""
    service = serve_box(CLOSED, *every_kind())
    service.iobox.hold(SET_MODE)
    service.start_sequence(OUTPUT, (True, HOUR))
    service.iobox.wait_for_calls(SET_MODE, 3)
    daemon = service.daemon
    daemon.send(signal.SIGTERM)
    wait_until(lambda: "Got SIGTERM" in log_lines(daemon, "INFO"),
               "the signal in the log")
    if end == "release":
        service.iobox.release(SET_MODE)
    else:
        service.iobox.disconnect()
    assert daemon.wait() == 0


def test_termination_during_a_client_s_call(serve_box):
    service = serve_box(CLOSED, *every_kind())
    service.iobox.hold(SET_MODE)
    post(service.client, "SetState", (OUTPUT, True))
    service.iobox.wait_for_calls(SET_MODE, 3)
    service.daemon.send(signal.SIGTERM)
    service.iobox.release(SET_MODE)
    assert service.daemon.wait() == 0


def test_port_is_dropped_while_its_sequence_waits_for_the_monitor(serve_box):
    service = serve_box(CLOSED, *every_kind(optional=True))
    recorder = service.client.record("ActionSequenceDone")
    for count in range(1, 4):
        service.asked()
        service.iobox.hold(SET_MODE)
        service.start_sequence(OUTPUT, (True, HOUR))
        service.iobox.wait_for_calls(SET_MODE)
        post(service.client, "DropIOPorts", ([f"box{OUTPUT}"],))
        service.iobox.release(SET_MODE)
        recorder.wait_for_count(count)
        assert f"box{OUTPUT}" not in service.names()
        service.call("RefreshIOPorts")
        assert service.modes()[-1] == (OUTPUT, 0, "out")


@pytest.mark.threaded
def test_monitor_restarts_beside_sequences(serve_box):
    """What it misses is told."""
    service = serve_box(CLOSED, *every_kind())
    ends = service.client.record("ActionSequenceDone")
    steps = [(n % 2 == 0, n % 3 - 1) for n in range(60)]
    for number in (OUTPUT, BOTH_OUT):
        service.start_sequence(number, *steps)
    for _ in range(10):
        service.iobox.restart()
        service.iobox.change(INPUT, "open")
        service.iobox.change(INPUT, "closed")
    ends.wait_for_count(2)
    assert {line.split(":")[0] for line in service.complaints()} <= {
        "USER iobox_dbus_call@44"}
    service.settle()
    service.modes()
    service.call("SetState", OUTPUT, True)
    assert service.modes() == [(OUTPUT, 1, "out")]
