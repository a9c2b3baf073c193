"""An IO box whose monitor fails, lies, is late, or comes and goes."""

import contextlib
import dataclasses
import signal

import pytest
from gi.repository import GLib

from bus_client import STATE, BusError, Client
from iobox_support import (BOTH, BOTH_OUT, CLOSED, CONNECTED, GET_STATE,
                           INPUT, NO_PROXY, OUTPUT, SET_MODE, STATUS,
                           UNCONNECTED_BOX, UNKNOWN_STATE, UNKNOWN_STATUS,
                           Reports, box_port, every_kind, failed_call,
                           fixture_serve_box, removed, unrecognized)
from lifecycle_support import complaints, listed_names, log_lines, settle
from peer import BUS, NEVER, Reply, in_turn
from peers import IOBox, fixture_offer
from ports_support import HOUR, changed, configuration, post
from usage_support import usage
from waiting import wait_until

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


def held(client, daemon):
    """What the daemon holds; GLib's own threads come and go."""
    return dataclasses.replace(usage(client, daemon.pid), threads=0)


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
def test_monitor_that_never_answers_is_given_up_after_25_seconds(
        make_sandbox, connect, offer):
    sandbox = make_sandbox(config=configuration(
        box_port(INPUT, optional=True)))
    sandbox.start_bus()
    iobox = offer(sandbox, IOBox, {INPUT: "closed"})
    iobox.answers[CONNECTED] = NEVER
    daemon = sandbox.start_daemon()
    sandbox.wait_for_name(STATE, PATIENCE)
    client = connect(sandbox)
    assert listed_names(client) == []
    assert complaints(daemon) == [
        failed_call(CONNECTED, "Timeout was reached"), UNCONNECTED_BOX]
    iobox.answers.clear()
    client.call("RefreshIOPorts")
    assert listed_names(client) == [f"box{INPUT}"]


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
    before = held(client, daemon)
    iobox = offer(sandbox, IOBox, CLOSED)
    client.call("RefreshIOPorts")
    assert len(listed_names(client)) == 4
    assert complaints(daemon)[19:] == []
    assert held(client, daemon) == before
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
    before = held(service.client, service.daemon)
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
    assert held(service.client, service.daemon) == before
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
    daemon = sandbox.start()
    daemon.wait_for_output("Cannot reach the system bus: ")
    assert daemon.stop() == 0
    lines = complaints(daemon)
    assert lines[:6] == [*[NO_PROXY] * 5, removed(4)]
    assert len(lines) == 7


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


# ---- signals ----

WRONG_SIGNALS = [
    ("()",), ("(i)", INPUT), ("(s)", "open"), ("(si)", "open", INPUT),
    ("(us)", INPUT, "open"), ("(isi)", INPUT, "open", 0),
    ("(iv)", INPUT, GLib.Variant("s", "open")), ("((is))", (INPUT, "open"))]


def test_signals_of_another_kind_are_ignored(serve_box):
    """Those of another type with a warning of each."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    iobox = service.iobox
    for member in ("IOStateChange", "iostatechanged", "StateChanged"):
        iobox.emit(member, "(is)", INPUT, "open")
    iobox.emit("IOStateChanged", "(is)", INPUT, "open",
               path="/com/vexa/IOBoxMonitor/1")
    iobox.emit("IOStateChanged", "(is)", INPUT, "open",
               interface="com.vexa.IOBox")
    assert service.complaints() == []
    for wrong in WRONG_SIGNALS:
        iobox.emit("IOStateChanged", *wrong)
    assert reports.take() == []
    assert service.call("GetState", INPUT) is True
    # Every port has a proxy of its own.
    assert sorted(service.complaints()) == sorted(
        4 * [f"WARNING Ignoring IOStateChanged of type {signature}"
             for signature, *_ in WRONG_SIGNALS])
    iobox.change(INPUT, "open")
    assert reports.take() == [(INPUT, False)]


@pytest.mark.parametrize("wrong, complaint", [
    (("(s)", "open"), "WARNING Ignoring IOStateChanged of type (s)"),
    (("(is)", INPUT, "ajar"), unrecognized("ajar"))],
    ids=["type", "word"])
def test_flood_is_complained_of_once_a_second(serve_box, wrong, complaint):
    service = serve_box({INPUT: "ajar"}, box_port(INPUT))
    for _ in range(300):
        service.iobox.emit("IOStateChanged", *wrong)
    service.settle()
    assert service.call("GetState", INPUT) is False
    seen = [line for line in service.complaints() if complaint in line]
    # Slow machines take more than a second.
    assert 1 <= len(seen) < 30
    assert complaint in seen[-1]


def test_strangers_are_not_believed(serve_box):
    """Whether everybody hears them or the daemon alone, with the monitor there
    and without it."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    with contextlib.closing(Client(service.box.bus_address)) as stranger:
        def lie():
            for to in (None, STATE):
                service.iobox.emit("IOStateChanged", "(is)", INPUT, "open",
                                   by=stranger, to=to)
        lie()
        assert reports.take() == []
        service.iobox.vanish()
        service.settle()
        lie()
        assert reports.take() == []
        assert service.call("GetState", INPUT) is True
        service.iobox.appear()
        lie()
        assert reports.take() == []
    # The monitor itself may tell the daemon alone.
    service.iobox.emit("IOStateChanged", "(is)", INPUT, "open", to=STATE)
    assert reports.take() == [(INPUT, False)]


def test_words_of_any_length_are_survived(serve_box):
    long = "ä%n%s" * 20000
    service = serve_box({INPUT: "closed"}, box_port(INPUT))
    reports = Reports(service)
    service.iobox.change(INPUT, long)
    assert reports.take() == [(INPUT, False)]
    assert service.complaints() == [unrecognized(long)]


# ---- sequences ----

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
