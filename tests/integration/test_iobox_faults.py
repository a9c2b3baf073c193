"""An IO box whose monitor fails, lies, is late, or comes and goes."""

import signal

import pytest
from gi.repository import GLib

from bus_client import CONFIGURATION_EVENTS, EVENTS, STATE, BusError
from iobox_support import (BOTH, CLOSED, CONNECTED, GET_STATE, INPUT, NO_PROXY,
                           OUTPUT, SET_MODE, STATUS, UNCONNECTED_BOX,
                           UNKNOWN_STATE, UNKNOWN_STATUS, Reports, box_port,
                           every_kind, failed_call, fixture_serve_box, removed)
from lifecycle_support import (WITHOUT_LEGACY, complaints,
                               ends_for_want_of_a_bus, listed_names,
                               log_lines, settle)
from peer import BUS, NEVER, Reply, in_turn
from peers import IOBox, fixture_offer
from ports_support import HOUR, changed, configuration, post
from supervised_support import SUPERVISED
from usage_support import held
from waiting import wait_until

CONNECTOR = "com.vexa.QEL.Connector"
BROKEN = BusError("com.example.Error", "broken")
BROKEN_REASON = "GDBus.Error:com.example.Error: broken"
ABSENT_REASON = (f"GDBus.Error:{BUS}.Error.ServiceUnknown: The name "
                 f"{IOBox.NAME} was not provided by any .service files")
GONE_REASON = (f"GDBus.Error:{BUS}.Error.NoReply: Message recipient "
               "disconnected from message bus without replying")
PATIENCE = 40
"""Seconds, of a test that lets a call take its time."""

# What a port's set-up asks for, and what is said when there is no answer.
STEPS = [(CONNECTED, UNCONNECTED_BOX), (STATUS, UNKNOWN_STATUS),
         (GET_STATE, UNKNOWN_STATE)]


def unexpected(signature):
    return f"Unexpected reply of type {signature}"


def answering(answers):
    """For serve_box(): the box gives these answers from the beginning."""
    return lambda iobox: iobox.answers.update(answers)


def cure(service, reports, number=INPUT):
    """The port, which is optional and closed, comes into service after all,
    and is followed."""
    service.iobox.answers.clear()
    service.iobox.before.clear()
    service.iobox.state[number] = "closed"
    service.call("RefreshIOPorts")
    assert service.names() == [f"box{number}"]
    assert service.call("GetState", number) is True
    service.iobox.change(number, "open")
    assert reports.take() == [(number, False)]


# ---- answers ----

@pytest.mark.parametrize("method, said", STEPS)
def test_error_ends_the_set_up(serve_box, method, said):
    service = serve_box(
        {INPUT: "closed", 4: "closed"}, box_port(4),
        box_port(INPUT, optional=True), prepare=answering({method: BROKEN}))
    failure = [failed_call(method, BROKEN_REASON), said]
    assert service.names() == []
    assert service.complaints() == [*failure, *failure, removed(4)]
    asked = [step for step, _ in STEPS]
    each = asked[:asked.index(method) + 1]
    assert [call[0] for call in service.asked()] == 2 * each
    reports = Reports(service)
    service.iobox.change(INPUT, "open")
    assert reports.take() == []
    service.call("RefreshIOPorts")
    # What is gone does not come back.
    assert service.complaints()[5:] == failure
    cure(service, reports)


WRONG = {
    CONNECTED: [Reply(), Reply("(s)", "true"), Reply("(i)", 1),
                Reply("(bb)", True, True),
                Reply("(v)", GLib.Variant("b", True))],
    STATUS: [Reply(), Reply("(b)", True), Reply("(as)", ["enabled"]),
             Reply("(o)", "/enabled"), Reply("(ss)", "enabled", "")],
    GET_STATE: [Reply(), Reply("(i)", 1), Reply("(ay)", b"closed\0"),
                Reply("(v)", GLib.Variant("s", "closed")),
                Reply("((s))", ("closed",))],
}


@pytest.mark.parametrize("method, said", STEPS)
def test_answer_of_another_type_is_an_error(serve_box, method, said):
    wrong = WRONG[method]
    service = serve_box(
        {INPUT: "closed"}, box_port(INPUT, optional=True),
        prepare=answering({method: in_turn(*wrong)}))
    reports = Reports(service)
    for _ in wrong[1:]:
        service.call("RefreshIOPorts")
        assert service.names() == []
    lines = service.complaints()
    assert lines[::2] == [
        failed_call(method, unexpected(reply.body.get_type_string()))
        for reply in wrong]
    assert lines[1::2] == [said] * len(wrong)
    cure(service, reports)


def test_mode_s_answer_does_not_matter(serve_box):
    """Whatever its type; an error is told and otherwise ignored."""
    answers = [Reply(), Reply("(b)", False), Reply("(sv)", "", GLib.Variant(
        "as", [])), Reply("(ay)", bytes(100000)), BROKEN]
    service = serve_box(CLOSED, *every_kind(), prepare=answering(
        {SET_MODE: in_turn(BROKEN, BROKEN)}))
    failure = failed_call(SET_MODE, BROKEN_REASON)
    assert service.complaints() == [failure] * 2
    reports = Reports(service)
    expected = []
    for active, answer in zip([True, False] * 3, answers):
        service.iobox.answers[SET_MODE] = in_turn(answer)
        service.call("SetState", OUTPUT, active)
        assert service.call("GetState", OUTPUT) is active
        expected.append((OUTPUT, active))
    assert reports.take() == expected
    assert service.complaints() == [failure] * 3
    service.iobox.answers[SET_MODE] = BROKEN
    service.call("SetDirection", BOTH, "output")
    service.supervise(INPUT)
    service.call("SetActive", OUTPUT, False, "open")
    assert service.complaints() == [failure] * 6
    assert service.call("GetDirection", BOTH) == "output"
    assert service.ask("GetSupervised", INPUT) is True
    assert service.call("GetActive", OUTPUT)[-1] == "open"


@pytest.mark.build("plain")
def test_monitor_that_never_answers_is_given_up_after_25_seconds(serve_box):
    """A set-up ends with that, and a sequence goes on. Both wait at once: a
    sequence has a thread of its own."""
    service = serve_box(CLOSED, box_port(OUTPUT, "output"),
                        box_port(INPUT, optional=True))
    service.call("DropIOPorts", [f"box{INPUT}"])
    recorder = service.record()
    service.asked()
    service.iobox.answers.update({CONNECTED: NEVER, SET_MODE: NEVER})
    service.start_sequence(OUTPUT, (True, 0))
    service.iobox.wait_for_calls(SET_MODE)
    post(service.client, "RefreshIOPorts", ())
    service.daemon.wait_for_output(UNCONNECTED_BOX, PATIENCE)
    recorder.wait_for(
        lambda signal: signal.member == "ActionSequenceDone", PATIENCE)
    assert recorder.args == [changed(OUTPUT, True), (OUTPUT,)]
    timed_out = "Timeout was reached"
    assert sorted(service.complaints()) == sorted([
        failed_call(SET_MODE, timed_out), failed_call(CONNECTED, timed_out),
        UNCONNECTED_BOX])
    assert service.names() == [f"box{OUTPUT}"]
    service.iobox.answers.clear()
    service.call("RefreshIOPorts")
    assert service.names() == [f"box{INPUT}", f"box{OUTPUT}"]
    service.call("SetState", OUTPUT, False)
    assert service.modes()[-1] == (OUTPUT, 0, "out")


def test_late_monitor_delays_the_start(make_sandbox, connect, offer):
    """A signal to end that comes meanwhile is kept."""
    sandbox = make_sandbox(config=configuration(box_port(INPUT)))
    sandbox.start_bus()
    iobox = offer(sandbox, IOBox, {INPUT: "closed"})
    iobox.hold(GET_STATE)
    daemon = sandbox.start_daemon()
    iobox.wait_for_calls(GET_STATE)
    assert not connect(sandbox).has_owner(STATE)
    iobox.release(GET_STATE)
    sandbox.wait_for_name(STATE)
    assert listed_names(connect(sandbox)) == [f"box{INPUT}"]
    daemon.stop()
    iobox.hold(STATUS)
    again = sandbox.start_daemon()
    iobox.wait_for_calls(STATUS, 2)
    again.send(signal.SIGTERM)
    iobox.release(STATUS)
    assert again.wait() == 0
    assert log_lines(again, "INFO")[-1] == "Got SIGTERM"


def test_late_monitor_is_not_asked_twice(serve_box):
    """What it says meanwhile comes after what it answered."""
    service = serve_box({INPUT: "closed"}, box_port(INPUT, optional=True))
    reports = Reports(service)
    service.call("DropIOPorts", [f"box{INPUT}"])
    service.iobox.hold(GET_STATE)
    service.asked()
    post(service.client, "RefreshIOPorts", ())
    service.iobox.wait_for_calls(GET_STATE)
    service.iobox.change(INPUT, "short")
    service.iobox.change(INPUT, "open")
    service.iobox.release(GET_STATE)
    assert reports.take() == [(INPUT, True), (INPUT, False)]
    assert service.call("GetState", INPUT) is False
    assert service.iobox.count(GET_STATE) == 1


# ---- a monitor that comes and goes ----

def test_absent_monitor_has_no_ports(make_sandbox, connect, offer):
    sandbox = make_sandbox(config=configuration(
        box_port(4), *every_kind(optional=True)))
    daemon = sandbox.start()
    client = connect(sandbox)
    changes = client.record("PortChanged")
    absent = [failed_call(CONNECTED, ABSENT_REASON), UNCONNECTED_BOX]
    assert listed_names(client) == []
    assert complaints(daemon) == [*absent * 5, removed(4)]
    client.call("RefreshIOPorts")
    assert complaints(daemon)[11:] == absent * 4
    before = held(client, daemon.pid)
    iobox = offer(sandbox, IOBox, CLOSED)
    client.call("RefreshIOPorts")
    assert len(listed_names(client)) == 4
    assert complaints(daemon)[19:] == []
    assert held(client, daemon.pid) == before
    iobox.change(INPUT, "open")
    settle(client)
    client.sync()
    assert changes.args == [changed(INPUT, False, is_input=True)]


def test_monitor_gone_meanwhile(serve_box):
    """The ports stay, and know what they knew; an output is what was asked of
    it."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    service.iobox.vanish()
    service.call("SetState", OUTPUT, True)
    service.call("SetDirection", BOTH, "output")
    assert service.complaints() == [failed_call(SET_MODE, ABSENT_REASON)] * 2
    assert reports.take() == [(OUTPUT, True), (BOTH, True)]
    assert service.call("GetState", INPUT) is True
    service.iobox.appear()
    service.modes()
    service.call("SetState", OUTPUT, False)
    assert service.modes() == [(OUTPUT, 0, "out")]


@pytest.mark.parametrize("come_back", [
    IOBox.reappear, IOBox.restart, IOBox.take_over,
    lambda iobox: (iobox.disconnect(), iobox.appear())],
    ids=["reappear", "restart", "take over", "crash"])
def test_monitor_that_came_back_is_followed(serve_box, come_back):
    service = serve_box(CLOSED, *every_kind())
    # The daemon takes its names one after the other.
    for name in (SUPERVISED, CONNECTOR, EVENTS, CONFIGURATION_EVENTS):
        wait_until(lambda: service.client.has_owner(name), f"{name} on the bus")
    before = held(service.client, service.daemon.pid)
    reports = Reports(service)
    for active in (True, False, True):
        come_back(service.iobox)
        service.settle()
        service.modes()
        service.call("SetState", OUTPUT, active)
        assert service.modes() == [(OUTPUT, int(active), "out")]
        word = "open" if active else "closed"
        service.iobox.change(INPUT, word)
        assert reports.take() == [(OUTPUT, active), (INPUT, not active)]
    assert held(service.client, service.daemon.pid) == before
    assert service.complaints() == []


def test_replaced_monitor_is_not_believed(serve_box, offer):
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    second = offer(service.box, IOBox, CLOSED, appear=False)
    second.appear(replace=True)
    service.iobox.change(INPUT, "open")
    service.iobox.emit("IOStateChanged", "(is)", INPUT, "open",
                       to=STATE)
    assert reports.take() == []
    second.change(INPUT, "cut")
    service.call("SetState", OUTPUT, True)
    assert reports.take() == [(INPUT, False), (OUTPUT, True)]
    assert second.modes == [(OUTPUT, 1, "out")]


@pytest.mark.parametrize("method, said", STEPS)
@pytest.mark.parametrize("leave, reason", [
    (IOBox.disconnect, GONE_REASON), (IOBox.restart, GONE_REASON),
    (IOBox.take_over, GONE_REASON)],
    ids=["disconnect", "restart", "take over"])
def test_monitor_vanishes_in_mid_call(serve_box, leave, reason, method, said):
    """The port is parked, and nothing more is asked."""
    service = serve_box({INPUT: "closed"}, box_port(INPUT, optional=True))
    reports = Reports(service)
    service.call("DropIOPorts", [f"box{INPUT}"])
    done = []

    def leave_once(iobox):
        if not done:
            leave(iobox)
            done.append(True)
    service.iobox.before[method] = leave_once
    service.asked()
    service.call("RefreshIOPorts")
    assert service.names() == []
    assert service.asked()[-1][0] == method
    assert service.complaints() == [failed_call(method, reason), said]
    wait_until(lambda: done, "the monitor to have left")
    if leave is IOBox.disconnect:
        service.iobox.appear()
    cure(service, reports)


def test_monitor_changes_between_two_calls_of_a_set_up(serve_box):
    """A name that was given up leaves the service reachable for as long as it
    is there; a new one is found by the next set-up."""
    service = serve_box({INPUT: "closed"}, box_port(INPUT, optional=True))
    reports = Reports(service)
    service.call("DropIOPorts", [f"box{INPUT}"])
    service.iobox.before[CONNECTED] = IOBox.vanish
    service.call("RefreshIOPorts")
    assert service.names() == [f"box{INPUT}"]
    assert service.complaints() == []
    service.iobox.before.clear()
    service.iobox.appear()
    service.call("DropIOPorts", [f"box{INPUT}"])
    service.iobox.status[INPUT] = "disabled"
    service.call("RefreshIOPorts")
    service.iobox.restart()
    service.iobox.status[INPUT] = "enabled"
    cure(service, reports)


def test_daemon_lives_without_a_bus(make_sandbox):
    sandbox = make_sandbox(with_bus=False, config=configuration(
        box_port(4), *every_kind(optional=True)))
    daemon = sandbox.start(WITHOUT_LEGACY)
    daemon.wait_for_output("Cannot reach the system bus: ")
    assert daemon.stop() == 0
    lines = complaints(daemon)
    assert lines[:6] == [*[NO_PROXY] * 5, removed(4)]
    assert len(lines) == 7


def test_missing_box_is_not_what_ends_a_daemon_without_a_bus(make_sandbox):
    sandbox = make_sandbox(with_bus=False, config=configuration(
        box_port(4), *every_kind(optional=True)))
    assert ends_for_want_of_a_bus(sandbox.start()) == [
        *[NO_PROXY] * 5, removed(4)]


@pytest.mark.parametrize("busy", [False, True])
def test_bus_that_goes_away_ends_the_daemon_in_order(serve_box, busy):
    """busy: in the middle of a call."""
    service = serve_box(CLOSED, *every_kind())
    if busy:
        service.iobox.hold(SET_MODE)
        service.start_sequence(OUTPUT, (True, HOUR))
        service.iobox.wait_for_calls(SET_MODE, 3)
    service.box.stop_bus()
    assert service.daemon.wait() == 0
    assert "WARNING The system bus went away" in service.complaints()
    # It has nobody left to answer.
    service.iobox.answers[SET_MODE] = NEVER
